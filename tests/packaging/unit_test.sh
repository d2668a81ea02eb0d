#!/bin/sh
# unit_test.sh: how exposed is the daemon by its unit, as systemd-analyze judges? Prints the score
# and what costs points; 2.5 and more is a failure. Also tries the logrotate file on a log that is
# being written.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
status=0

if systemd-analyze security --help 2>/dev/null | grep -q -- --offline; then
    cp "$root/packaging/systemd/raidwatch.service" "$folder/"
    # The limit is in tenths, and the last value that passes.
    if systemd-analyze security --no-pager --offline=yes --threshold=24 \
        "$folder/raidwatch.service" >"$folder/report" 2>&1; then answer=good; else answer=bad; fi
    grep -v '✓' "$folder/report"
    grep -q 'Overall exposure level' "$folder/report" || { echo "no score" >&2; status=1; }
    [ $answer = good ] || { echo "the unit is exposed too much" >&2; status=1; }
else
    echo "SKIPPED: no systemd-analyze that judges unit files (package systemd); no score"
fi

if command -v logrotate >/dev/null; then
    logs=$folder/logs
    mkdir "$logs"
    chmod 755 "$folder" "$logs"
    sed "s,/var/log/raidwatch,$logs," "$root/packaging/raidwatch.logrotate" >"$folder/conf"
    grep -q "$logs" "$folder/conf"
    chmod 644 "$folder/conf"
    exec 9>>"$logs/QELVANTDebug.log"
    echo before >&9
    logrotate --force --state "$folder/state" "$folder/conf"
    echo after >&9
    [ "$(cat "$logs/QELVANTDebug.log")" = after ] &&
        [ "$(cat "$logs/QELVANTDebug.log.1")" = before ] ||
        { echo "logrotate lost lines of a log that is open:" >&2; ls -l "$logs" >&2; status=1; }
    echo "logrotate empties a log that is open and keeps its lines"
else
    echo "SKIPPED: logrotate is not installed"
fi
exit $status
