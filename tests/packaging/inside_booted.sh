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

if raidwatch --help | grep -q '^  run '; then
    daemon=yes
else
    # A build without the daemon: its sandbox is tried with "watch", which keeps the same files.
    echo "NOTE: this raidwatch has no verb run; the unit runs watch instead"
    daemon=
    mkdir -p /etc/systemd/system/raidwatch.service.d
    printf '[Service]\nType=exec\nWatchdogSec=0\nExecStart=\nExecStart=/usr/bin/raidwatch watch\n' \
        >/etc/systemd/system/raidwatch.service.d/watch.conf
    systemctl daemon-reload
    systemctl reset-failed raidwatch
    systemctl restart raidwatch
fi

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

if [ -n "$daemon" ]; then
    systemctl reload raidwatch || fail "reload"
    sleep 1
    [ "$(shows MainPID)" = "$pid" ] || fail "reload ended the daemon"
    raidwatch status >/status 2>&1
    [ $? -le 2 ] || fail "status: $(cat /status)"
    # Everybody may look; only root and the group may change something.
    setpriv --reuid=nobody --regid=nogroup --clear-groups raidwatch status >/status 2>&1
    [ $? -le 2 ] || fail "status for nobody: $(cat /status)"
    [ "$(stat -c '%a %G' /run/raidwatch/control.sock)" = "660 raidwatch" ] ||
        fail "control.sock: $(stat -c '%a %G' /run/raidwatch/control.sock)"
    [ "$(stat -c %a /run/raidwatch/read.sock)" = 666 ] ||
        fail "read.sock: $(stat -c %a /run/raidwatch/read.sock)"
fi
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
rm -rf /etc/systemd/system/raidwatch.service.d
dpkg --purge raidwatch >/purge.log 2>&1 || fail "purge: $(cat /purge.log)"
[ ! -e /var/lib/raidwatch ] || fail "purge left the state"
[ "$(systemctl --failed --no-legend | wc -l)" -eq 0 ] || fail "failed: $(systemctl --failed)"

if [ $failures -eq 0 ]; then
    echo "all good"
else
    journalctl -b -u raidwatch --no-pager | tail -n 30
fi
