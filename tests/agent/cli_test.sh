#!/bin/bash
# cli_test.sh RAIDWATCH: the built program from outside: every verb, wrong flags, exit codes,
# signals, closed pipes, valid JSON.
set -u
raidwatch=$1
recordings=$(cd "$(dirname "$0")/../recordings" && pwd)
scenarios=$(cd "$(dirname "$0")/../../storlib/sources/scenarios" && pwd)
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work/tmp
mkdir "$TMPDIR"
failures=0

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    failures=$((failures + 1))
}

# expect CODE WORDS...: runs raidwatch; output in $work/out, errors in $work/err.
expect() {
    local code=$1
    shift
    "$raidwatch" "$@" >"$work/out" 2>"$work/err"
    local got=$?
    [ "$got" -eq "$code" ] || fail "raidwatch $*: exit code $got, not $code: $(cat "$work/err")"
}

one_error_line() {
    [ "$(wc -l <"$work/err")" -eq 1 ] || fail "not one line: $(cat "$work/err")"
    [ -s "$work/out" ] && fail "something on standard output: $(head -1 "$work/out")"
}

# --- help, version, bad use -----------------------------------------------------------------------
expect 0 --version
grep -q '^raidwatch [0-9]' "$work/out" || fail "version: $(cat "$work/out")"
for verb in "" watch replay capture list scenario "scenario check" "scenario play" explain \
    run show events incidents ack unack "silence add" "silence list" "silence rm" diff locate doctor \
    test drill "config check" "config show" "config schema" status check; do
    expect 0 $verb --help
    grep -q 'Exit codes' "$work/out" || fail "no exit codes in the help of '$verb'"
    [ "$(wc -L <"$work/out")" -le 80 ] || fail "the help of '$verb' is wider than 80 columns"
done
expect 2; one_error_line
expect 2 wotch; one_error_line
expect 2 watch --wrong; one_error_line
expect 2 watch --source tape; one_error_line
expect 2 list --source linux:/no/such/root; one_error_line
expect 2 list --source replay:/no/such/path; one_error_line
expect 2 replay; one_error_line
expect 2 replay "$work/none"; one_error_line
expect 2 replay "$work"; one_error_line
expect 2 capture "$work/rec" --root "$work/none"; one_error_line
: >"$work/file"
expect 2 watch --state "$work/file" --once; one_error_line
expect 2 capture "$work/file"; one_error_line
expect 2 capture ""; one_error_line
expect 2 replay ""; one_error_line
expect 2 scenario; one_error_line
expect 2 scenario wotch; one_error_line
expect 2 scenario check "$work/none"; one_error_line
expect 2 scenario check "$work"; one_error_line
expect 2 scenario check "$work/file"; one_error_line
expect 2 scenario play "$scenarios/whole-story.json" --lang xx; one_error_line
expect 2 scenario play "$scenarios/whole-story.json" --pace soon; one_error_line
expect 2 explain; one_error_line
expect 2 explain 9999; one_error_line

# --- the daemon, and the verbs that ask it ---------------------------------------------------------
mkdir -p "$work/machine" "$work/daemon/state" "$work/daemon/run" "$work/daemon/engine"
tar xJf "$recordings/raid1-spare/02-member-failed.tar.xz" -C "$work/machine"
cat >"$work/raidwatch.toml" <<TOML
[monitor]
source = "linux:$work/machine"
[paths]
state = "$work/daemon/state"
run = "$work/daemon/run"
engine = "$work/daemon/engine"
[sink.journal]
enabled = false
[sink.file]
type = "file"
path = "$work/daemon/told.jsonl"
TOML
ask() {
    local code=$1
    shift
    expect "$code" "$@" --config "$work/raidwatch.toml"
}
is_json() {
    python3 -m json.tool "$work/out" >/dev/null 2>&1 ||
        python3 -m json.tool --json-lines "$work/out" >/dev/null 2>&1 || fail "no JSON: $*"
}
is_narrow() { [ "$(wc -L <"$work/out")" -le 80 ] || fail "$* is wider than 80 columns"; }
says() { grep -q -- "$1" "$work/out" || fail "no '$1' in: $(cat "$work/out" "$work/err")"; }

# Without a daemon. The exit code of status and check says how the storage is; 2 would be CRITICAL.
ask 3 status; says 'raidwatch is not running'
ask 3 status --wrong; one_error_line
ask 3 status --source tape; one_error_line
for wrong in "--wrong" "--stale-after soon" "--source tape"; do
    ask 3 check $wrong; says '^RAID UNKNOWN - '
done
ask 1 events; one_error_line
ask 1 test; one_error_line
ask 2 list nonsense; one_error_line
ask 2 show nonsense; one_error_line

"$raidwatch" run --config "$work/raidwatch.toml" 2>"$work/daemon/err" &
daemon=$!
for _ in $(seq 200); do
    "$raidwatch" incidents --config "$work/raidwatch.toml" 2>/dev/null | grep -q md0 && break
    sleep 0.1
done
ask 1 status; is_narrow status
says '^WARNING: 1 array rebuilding: md0 survives no further'
says 'port 1 .* failed .* KL7A201'
grep -q $'\x1b' "$work/out" && fail "colours although it is no terminal"
ask 1 status --json; is_json status
ask 1 check; says '^RAID WARNING - .* | arrays=1 .*survives=0'
ask 1 check --json; is_json check
for kind in "" controllers arrays drives enclosures phys tasks; do
    ask 0 list $kind; is_narrow "list $kind"
    ask 0 list $kind --json; is_json "list $kind"
done
for name in md0 ld0 array:0:0 sdb /dev/sdb KL7A201 drive:KL7A201 5001122300000200 1:1:0 c1 \
    "controller 1"; do
    ask 0 show $name
    ask 0 show $name --json; is_json "show $name"
done
ask 0 show md0; says '^  #1  rebuilding since .*; raidwatch ack 1$'; says '^Last events$'
ask 0 incidents; is_narrow incidents
ask 0 ack 1 --comment 'a drive is ordered'; says '^incident 1 (md0 rebuilding) is acknowledged$'
ask 0 ack 1 --json; says '"object":"array:0:0"'
ask 0 unack 1
ask 1 ack 99; one_error_line
ask 2 ack first; one_error_line
ask 0 silence add --object md0 --for 1h --reason $'a \x1b[31m trial' --json; says '"id":1,'
ask 0 silence list; is_narrow "silence list"
grep -q $'\x1b' "$work/out" && fail "a reason is not escaped"
ask 0 silence rm 1 --json; says '^{"id":1}$'
ask 1 silence rm 1; one_error_line
ask 0 events --object md0 --limit 1; says ' array 0 '
ask 0 events --json; is_json events
for wrong in "--since soon" "--severity loud" "--code x" "--object nonsense"; do
    ask 2 events $wrong; one_error_line
done
ask 0 diff
ask 0 diff --json; is_json diff
ask 2 diff --since soon; one_error_line
ask 0 test file; is_narrow test
ask 2 test nobody; one_error_line
ask 2 drill "$work/none"; one_error_line
ask 0 config check
ask 0 config show --json; is_json "config show"
ask 0 config schema --json; is_json "config schema"

# A monitoring system gives its plugin ten seconds; a daemon that hangs must not cost it more.
kill -STOP "$daemon"
begin=$(date +%s)
ask 1 check; says '^RAID WARNING - '
ask 1 status; says 'does not answer'
[ $(($(date +%s) - begin)) -lt 20 ] || fail "a daemon that hangs holds up check and status"
kill -CONT "$daemon"
kill "$daemon"
wait "$daemon" || fail "the daemon ended with $?: $(cat "$work/daemon/err")"

# --- replay ---------------------------------------------------------------------------------------
for recording in raid1-spare raid5-pull sas-raid10; do
    expect 0 replay "$recordings/$recording" --json
    python3 - "$work/out" <<'PYTHON' || fail "replay --json of $recording"
import json, sys
members = ["time", "code", "severity", "eventId", "text", "objectType", "location", "detail",
           "value1", "value2", "value3", "adapterSerial", "extra1", "extra2", "flags", "step"]
lines = open(sys.argv[1], encoding="utf-8").read().splitlines()
assert len(lines) > 15, len(lines)
steps = []
for line in lines:
    event = json.loads(line)
    assert list(event) == members, line
    assert all(0 <= value < 0x7fffffff for value in event["location"].values()), line
    if event["step"] not in steps:
        steps.append(event["step"])
assert steps == sorted(steps) and len(steps) > 4, steps
PYTHON
    expect 0 replay "$recordings/$recording"
    [ "$(grep -c '^== ' "$work/out")" -eq "$(ls "$recordings/$recording"/*.tar.xz | wc -l)" ] ||
        fail "step headers of $recording"
    grep -q $'\x1b' "$work/out" && fail "colours although it is no terminal"
done
expect 0 replay "$recordings/raid1-spare"
grep -q ' 406 ' "$work/out" && fail "406 is shown"
grep -q '4 events 406' "$work/err" || fail "the events left out are not counted: $(cat "$work/err")"
expect 0 replay "$recordings/raid1-spare" --all
[ "$(grep -c ' 406 ' "$work/out")" -eq 4 ] || fail "--all does not show 406"
[ -z "$(ls "$TMPDIR")" ] || fail "replay leaves files behind: $(ls "$TMPDIR")"

mkdir "$work/bad"
echo "no archive" >"$work/bad/01-a.tar.xz"
expect 1 replay "$work/bad"; one_error_line
[ -z "$(ls "$TMPDIR")" ] || fail "a failed replay leaves files behind"

# --- scenario, explain, --lang ----------------------------------------------------------------------
for scenario in "$scenarios"/*.json; do
    expect 0 scenario check "$scenario"
    grep -q ': in order; ".*", [0-9]* steps*$' "$work/out" || fail "check: $(cat "$work/out")"
done
expect 0 scenario play "$scenarios/whole-story.json" --json
python3 -c 'import json,sys; assert len([json.loads(x) for x in open(sys.argv[1])]) > 30' "$work/out" ||
    fail "scenario play --json"
expect 0 scenario play "$scenarios/fan-fails-and-is-replaced.json" --lang de
grep -q 'Controller hinzugefügt: ' "$work/out" || fail "--lang de: $(head -3 "$work/out")"
[ -z "$(ls "$TMPDIR")" ] || fail "scenario play leaves files behind: $(ls "$TMPDIR")"
expect 0 explain 401
grep -q '^What to do  ' "$work/out" || fail "explain: $(cat "$work/out")"
expect 0 explain --all --json
python3 - "$work/out" <<'PYTHON' || fail "explain --all --json"
import json
import sys

lines = [json.loads(line) for line in open(sys.argv[1], encoding="utf-8")]
assert len(lines) > 80, len(lines)
for line in lines:
    for member in ("key", "code", "severity", "eventId", "text", "cause", "action"):
        assert member in line, line
PYTHON

# --- list, capture, watch --once over an unpacked step --------------------------------------------
mkdir "$work/step"
tar xJf "$recordings/raid1-spare/02-member-failed.tar.xz" -C "$work/step"
expect 0 list --source "linux:$work/step"
grep -q 'KL7A201 .* FAILED' "$work/out" || fail "list: $(cat "$work/out")"
[ "$(wc -L <"$work/out")" -le 80 ] || fail "list is wider than 80 columns"
expect 0 list --json --source "linux:$work/step"
python3 -c 'import json,sys; assert len(json.load(open(sys.argv[1]))["adapters"]) == 2' "$work/out" ||
    fail "list --json"
expect 0 capture "$work/rec" --root "$work/step"
[ -d "$work/rec/01-step" ] || fail "capture wrote no step"
"$raidwatch" list --source "linux:$work/step" >"$work/a"
"$raidwatch" list --source "linux:$work/rec/01-step" >"$work/b"
cmp -s "$work/a" "$work/b" || fail "a captured step differs from what was captured"

expect 0 watch --once --source "linux:$work/step" --state "$work/state"
grep -q ' 207 ' "$work/out" || fail "watch --once: $(cat "$work/out")"
[ -s "$work/state/QELVANTConfig.xml" ] || fail "no snapshot in the state folder"
expect 0 watch --once --source "linux:$work/step" --state "$work/state" --json
[ -s "$work/out" ] && fail "something changed since a moment ago: $(cat "$work/out")"
printf '<System x=1>' >"$work/state/QELVANTConfig.xml"
expect 0 watch --once --source "linux:$work/step" --state "$work/state"
grep -q 'damaged' "$work/err" || fail "a damaged snapshot is not reported"
ls "$work/state" | grep -q 'damaged-' || fail "a damaged snapshot is not set aside"

# --- watch: events as they come, signals ----------------------------------------------------------
for signal in TERM INT HUP; do
    : >"$work/out"
    rm -rf "$work/state"
    "$raidwatch" watch --json --source "linux:$work/step" --state "$work/state" \
        >"$work/out" 2>"$work/err" &
    pid=$!
    for _ in $(seq 100); do
        [ -s "$work/out" ] && break
        sleep 0.1
    done
    [ -s "$work/out" ] || fail "watch shows nothing"
    begin=$(date +%s%N)
    # A shell without job control starts background programs with SIGINT ignored; it is blocked and
    # taken by a thread all the same.
    kill -s "$signal" "$pid"
    wait "$pid"
    code=$?
    took=$((($(date +%s%N) - begin) / 1000000))
    [ "$code" -eq 0 ] || fail "exit code $code after SIG$signal"
    [ "$took" -lt 2500 ] || fail "SIG$signal took $took ms"
done

# --- a reader that goes -----------------------------------------------------------------------------
rm -rf "$work/state"
{ timeout 20 "$raidwatch" watch --source "linux:$work/step" --state "$work/state" 2>"$work/err"
  echo $? >"$work/code"; } | head -1 >"$work/out"
[ "$(cat "$work/code")" = 0 ] || fail "exit code $(cat "$work/code") when the reader goes"
[ -s "$work/err" ] && fail "a reader that goes is reported: $(cat "$work/err")"
"$raidwatch" list --source "linux:$work/step" >/dev/full 2>"$work/err"
[ $? -eq 1 ] || fail "a full device is no failure"

# --- an unwritable place ----------------------------------------------------------------------------
if [ "$(id -u)" -ne 0 ]; then
    mkdir -m 0500 "$work/readonly"
    expect 0 watch --once --source "linux:$work/step" --state "$work/readonly"
    grep -q 'cannot write to' "$work/err" || fail "an unwritable folder is not reported"
    expect 2 watch --once --source "linux:$work/step" --state "$work/readonly/below"
fi

[ "$failures" -eq 0 ] && echo "all as expected"
exit "$((failures != 0))"
