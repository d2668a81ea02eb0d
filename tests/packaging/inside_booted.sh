#!/bin/sh
# inside_booted.sh: runs as a service of a booted clean Debian that has raidwatch installed, and
# writes what it finds to /result. The last line is "all good" when all is.
# The newer packages lie in /new.
exec >/result 2>&1
failures=0
fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}
shows() { systemctl show -p "$1" --value raidwatch; }

# wait_for SECONDS COMMAND...: until the command succeeds.
wait_for() {
    tries=$(($1 * 5))
    shift
    until "$@" >/dev/null 2>&1; do
        tries=$((tries - 1))
        [ $tries -gt 0 ] || return 1
        sleep 0.2
    done
}

# Sooner than in the unit, so that both can be seen: that polls feed the watchdog, and that it bites.
drop_in=/etc/systemd/system/raidwatch.service.d
mkdir -p $drop_in
printf '[Service]\nWatchdogSec=9\nRestartSec=1\nTimeoutAbortSec=3\n' >$drop_in/watchdog.conf
systemctl daemon-reload
systemctl restart raidwatch || fail "restart: $(systemctl status raidwatch)"
started=$(date +%s)

[ "$(systemctl is-enabled raidwatch)" = enabled ] || fail "the unit is not enabled"
wait_for 30 systemctl -q is-active raidwatch || fail "the unit is $(shows ActiveState)"
wait_for 15 test -s /var/lib/raidwatch/QELVANTConfig.xml || fail "no snapshot in /var/lib/raidwatch"
[ -e /var/log/raidwatch/QELVANTDebug.log ] || fail "no log in /var/log/raidwatch"
ls /StorLock0QEL-* >/dev/null || fail "the engine could not make its lock file"
[ -n "$(ipcs -s | awk '$1 == "0x0000d431"')" ] || fail "the engine has no machine-wide lock"
[ "$(shows NRestarts)" = 0 ] || fail "the unit was restarted $(shows NRestarts) times"
[ "$(stat -c '%a %U %G' /var/lib/raidwatch)" = "750 root raidwatch" ] ||
    fail "/var/lib/raidwatch: $(stat -c '%a %U %G' /var/lib/raidwatch)"
[ "$(stat -c '%a %U %G' /run/raidwatch)" = "755 root raidwatch" ] ||
    fail "/run/raidwatch: $(stat -c '%a %U %G' /run/raidwatch)"

! journalctl -b -u raidwatch | grep -i 'cannot write' || fail "it thinks that it cannot write"

# The sandbox lets it write where its own files are, and nowhere else.
pid=$(shows MainPID)
in_sandbox() { nsenter --target "$pid" --mount -- "$@" 2>/dev/null; }
for place in /var/lib/raidwatch /var/log/raidwatch /run/raidwatch /tmp; do
    in_sandbox touch "$place/probe" || fail "cannot write to $place"
    in_sandbox rm -f "$place/probe"
done
for place in /usr /etc /etc/raidwatch /boot /var/lib /var/spool /run /root /srv; do
    ! in_sandbox touch "$place/probe" || fail "can write to $place"
done
grep -q '^CapBnd:[[:space:]]*00000000000200c0$' "/proc/$pid/status" ||
    fail "capabilities: $(grep CapBnd "/proc/$pid/status")"
grep -q '^NoNewPrivs:[[:space:]]*1$' "/proc/$pid/status" || fail "may gain privileges"

# Notify: systemd was told that it is ready, and what it watches.
[ "$(shows Type)" = notify ] || fail "Type=$(shows Type)"
[ -n "$(shows StatusText)" ] || fail "systemd was told no status"
systemctl reload raidwatch || fail "reload"
[ "$(shows MainPID)" = "$pid" ] || fail "reload ended the daemon"
raidwatch status >/status 2>&1
[ $? -le 2 ] || fail "status: $(cat /status)"
# Everybody may look; only root and the group may change something.
as_nobody() { setpriv --reuid=nobody --regid=nogroup --clear-groups "$@"; }
as_nobody raidwatch status >/status 2>&1
[ $? -le 2 ] || fail "status for nobody: $(cat /status)"
! as_nobody raidwatch test --wait 1 >/status 2>&1 || fail "nobody may send tests"
for file in control.sock=660,raidwatch read.sock=666,raidwatch state.json=644,raidwatch; do
    have=$(stat -c %n=%a,%G "/run/raidwatch/${file%%=*}")
    [ "$have" = "/run/raidwatch/$file" ] || fail "$have instead of $file"
done
setpriv --reuid=raidwatch --regid=raidwatch --clear-groups raidwatch test journal --wait 20 \
    >/status 2>&1 || fail "a test by the group raidwatch: $(cat /status)"
journalctl -b -t raidwatch RAIDWATCH_ORIGIN=test -o export >/journal
for field in RAIDWATCH_ID RAIDWATCH_KIND RAIDWATCH_SEVERITY RAIDWATCH_TIME MESSAGE_ID; do
    grep -a -q "^$field=." /journal || fail "the journal got no $field"
done
journalctl -b -x -t raidwatch --no-pager | grep -q 'Subject: A test of the alerts' ||
    fail "journalctl -x does not explain a test"

# Hooks run as raidwatch, without capabilities, and are ended in time with all that they started.
mkdir /etc/raidwatch/slow
cat >/etc/raidwatch/hooks.d/note <<'HOOK'
#!/bin/sh
[ "$RAIDWATCH_ORIGIN" = test ] || exit 0
{ id -un; id -Gn; sed -n 's/^CapEff:[[:space:]]*//p' /proc/self/status
  cat; } >/var/lib/raidwatch/hooks/note
HOOK
cat >/etc/raidwatch/slow/sleep <<'HOOK'
#!/bin/sh
trap '' TERM
sleep 298 &
echo "$$ $!" >/var/lib/raidwatch/hooks/slow
sleep 299
HOOK
chmod +x /etc/raidwatch/hooks.d/note /etc/raidwatch/slow/sleep
cat >/etc/raidwatch/conf.d/hooks.toml <<'CONF'
[sink.hooks]
type = "exec"
dir = "/etc/raidwatch/hooks.d"
[sink.slow]
type = "exec"
dir = "/etc/raidwatch/slow"
timeout = "1s"
first_retry = "1d"
longest_retry = "1d"
CONF
raidwatch config check >/status 2>&1 || fail "config check: $(cat /status)"
systemctl reload raidwatch || fail "reload with hooks"
[ "$(shows MainPID)" = "$pid" ] || fail "the reload ended the daemon"
raidwatch test hooks --wait 20 >/status 2>&1 || fail "test of the hooks: $(cat /status)"
hooks=/var/lib/raidwatch/hooks
[ "$(head -3 $hooks/note)" = "raidwatch
raidwatch
0000000000000000" ] || fail "the hook ran as: $(cat $hooks/note)"
tail -n +4 $hooks/note | grep -q '"origin":"test"' || fail "the hook got: $(cat $hooks/note)"
raidwatch test slow --wait 1 >/status 2>&1
wait_for 10 test -s $hooks/slow || fail "the slow hook did not start: $(cat /status)"
for process in $(cat $hooks/slow); do
    gone() { ! grep -q '^State:[[:space:]]*[^Z]' "/proc/$process/status"; }
    wait_for 15 gone || fail "a hook that takes too long runs on: $(ps -o pid,user,args "$process")"
done

# Completed polls feed the watchdog: it would have bitten after nine seconds.
while [ $(($(date +%s) - started)) -lt 12 ]; do sleep 0.5; done
[ "$(shows MainPID)" = "$pid" ] && [ "$(shows NRestarts)" = 0 ] || fail "the watchdog was not fed"
kill -STOP "$pid"
another() { [ "$(shows MainPID)" != "$pid" ] && systemctl -q is-active raidwatch; }
wait_for 40 another || fail "nobody noticed that the daemon hangs: $(systemctl status raidwatch)"
pid=$(shows MainPID)
knows() { raidwatch status >/status 2>&1; [ $? -le 2 ]; }
wait_for 15 knows || fail "status after the watchdog: $(cat /status)"
systemd-analyze security --no-pager raidwatch.service | tail -1
systemd-analyze verify --man=no /lib/systemd/system/raidwatch.service || fail "verify"

# An upgrade goes on with the new program and the old state.
dpkg -i /new/libqel0_*.deb /new/raidwatch_*.deb >/upgrade.log 2>&1 || fail "upgrade: $(cat /upgrade.log)"
wait_for 30 systemctl -q is-active raidwatch || fail "after the upgrade the unit is $(shows ActiveState)"
[ "$(shows MainPID)" != "$pid" ] || fail "the upgrade left the old program running"
[ -s /var/lib/raidwatch/QELVANTConfig.xml ] || fail "the upgrade took the snapshot"

dpkg --remove raidwatch >/remove.log 2>&1 || fail "remove: $(cat /remove.log)"
! systemctl -q is-active raidwatch || fail "it runs on after it was removed"
[ -s /var/lib/raidwatch/QELVANTConfig.xml ] || fail "remove took the snapshot"
rm -rf $drop_in /etc/raidwatch/slow /etc/raidwatch/conf.d/hooks.toml /etc/raidwatch/hooks.d/note
dpkg --purge raidwatch >/purge.log 2>&1 || fail "purge: $(cat /purge.log)"
[ ! -e /var/lib/raidwatch ] || fail "purge left the state"
[ "$(systemctl --failed --no-legend | wc -l)" -eq 0 ] || fail "failed: $(systemctl --failed)"

if [ $failures -eq 0 ]; then
    echo "all good"
else
    journalctl -b -u raidwatch --no-pager | tail -n 30
fi
