# What the scripts of boots/ are written with (busybox sh).
set -e
trap '[ $? -eq 0 ] || echo "lab: story \"$STORY\" ended early" >&2' EXIT
STORY=start
TOLD=/state/told.jsonl
PACE=0.1

# --- the daemon

# polls: how many polls the daemon has completed.
polls() { sed -n 's/.*"polls": *\([0-9][0-9]*\).*/\1/p' /run/raidwatch/state.json 2>/dev/null; }
polled() { [ "$(polls || true)" -ge "$1" ] 2>/dev/null; }

start_daemon() {
	cat > /etc/raidwatch/conf.d/lab.toml <<-EOF
		[incidents]
		flap_window = "1m"
		flap_changes = 1000
		[sink.journal]
		enabled = false
		[sink.records]
		type = "file"
		path = "$TOLD"
		send = "both"
	EOF
	echo "$STORY $(cat /state/last 2>/dev/null || echo 0)" >> /out/marks
	raidwatch run --pace $PACE >> /out/daemon.log 2>&1 &
	DAEMON=$!
	wait_for 60 polled 1
}

stop_daemon() {
	settle
	collect
	kill "$DAEMON"
	wait "$DAEMON"
}

# collect: every record up to now, for the comparison.
collect() {
	raidwatch events --json --all > /out/records.new
	mv /out/records.new /out/records.jsonl
	cp "$TOLD" /out/told.jsonl
	tail -n 1 /out/records.jsonl | sed 's/.*"id": *"[^":]*:\([0-9]*\)".*/\1/' > /state/last
	sync
}

# settle: until the daemon has seen and told what happened up to now.
settle() {
	local seen size
	seen=$(polls)
	wait_for 120 polled $((seen + 3))
	size=-1
	while [ "$size" != "$(wc -c < "$TOLD")" ]; do
		size=$(wc -c < "$TOLD")
		usleep 1200000
	done
}

# story NAME: what follows belongs to this story; what came before is told.
story() {
	kill -0 "$DAEMON"
	settle
	collect
	STORY=$1
	echo "$STORY $(cat /state/last)" >> /out/marks
	echo "$(cut -d' ' -f1 /proc/uptime) $STORY" >> /out/times
}

# --- waiting

# wait_for SECONDS COMMAND...: until the command succeeds.
wait_for() {
	local end=$(($(date +%s) + $1))
	shift
	while ! "$@" >/dev/null 2>&1; do
		[ "$(date +%s)" -lt $end ] || { echo "lab: never came true: $*" >&2; return 1; }
		usleep 50000
	done
}
gone() { [ ! -e "$1" ]; }
there() { [ -e "$1" ]; }
reads() { [ "$(cat "$1" 2>/dev/null)" = "$2" ]; }
# told NOTICE OBJECT [COUNT]: as many notices ("resolved") about an object by name were written.
told() { [ "$(grep "\"objectName\":\"$2\"" "$TOLD" | grep -c "\"notice\":\"$1\"")" -ge "${3:-1}" ]; }

# --- drives

# disk NAME: the kernel's name (sda, nvme0n1) of a drive, found by its serial number.
disk() {
	local want block got
	want=$(echo "$1" | tr a-z A-Z)
	for block in /sys/block/sd* /sys/block/nvme*n*; do
		[ -e "$block" ] || continue
		got=
		[ -e "$block/device/serial" ] && got=$(tr -d ' \n' < "$block/device/serial")
		[ -z "$got" ] && [ -e "$block/device/vpd_pg80" ] &&
			got=$(tail -c +5 "$block/device/vpd_pg80" | tr -d ' \n\000')
		[ "$got" = "$want" ] && echo "${block##*/}" && return 0
	done
	return 1
}
# dev NAME...: the same as device files.
dev() {
	local name
	for name in "$@"; do echo "/dev/$(disk "$name")"; done
}

# --- md

# array MD LEVEL [mdadm's words...]: a new array without a first synchronization.
array() {
	local md=$1 level=$2
	shift 2
	mdadm --create "/dev/$md" --run --level="$level" --assume-clean --bitmap=none "$@" 2>/dev/null
}
# throttle KIB: how fast md may synchronize, for each second.
throttle() {
	echo "$1" > /proc/sys/dev/raid/speed_limit_max
	echo "$1" > /proc/sys/dev/raid/speed_limit_min
}
unthrottle() {
	echo 2000000 > /proc/sys/dev/raid/speed_limit_max
	echo 1000000 > /proc/sys/dev/raid/speed_limit_min
}
doing() { reads "/sys/block/$1/md/sync_action" "$2"; }
wait_idle() { wait_for 90 doing "$1" idle; }
# percent MD: of the task under way; fails when none is.
percent() {
	local done slash total
	read -r done slash total < "/sys/block/$1/md/sync_completed" || return 1
	[ -n "$total" ] && echo $((done * 100 / total))
}
past() { [ "$(percent "$1")" -ge "$2" ]; }
# fail MD DRIVE: marks a member faulty, also where mdadm refuses because the array would break.
fail() {
	(echo faulty > "/sys/block/$1/md/dev-$2/state") 2>/dev/null || true
	grep -q faulty "/sys/block/$1/md/dev-$2/state"
}
