#!/bin/sh
# Tests scripts/check-catalogue, then checks the shipped catalogues with it.
#
# Each tests/fixtures/catalogue/NAME.properties is checked against the small key table of that
# folder; the findings must be exactly the lines of NAME.expected, without the file name. An empty
# NAME.expected stands for a catalogue without a fault.
#
#   tests/check_catalogue_test.sh            run from anywhere; exit status 0 when all is well
set -eu
export LC_ALL=C.UTF-8 PYTHONDONTWRITEBYTECODE=1

root=$(cd "$(dirname "$0")/.." && pwd)
check=$root/scripts/check-catalogue
fixtures=$root/tests/fixtures/catalogue
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failed=0

fail() {
    echo "FAILED: $*"
    failed=1
}

# expect_status WANTED COMMAND...: what it writes is left in $scratch/out.
expect_status() {
    wanted=$1
    shift
    status=0
    "$@" >"$scratch/out" 2>&1 || status=$?
    [ "$status" -eq "$wanted" ] || fail "exit status $status instead of $wanted: $*"
}

cases=0
for file in "$fixtures"/*.properties; do
    name=$(basename "$file" .properties)
    expected=$fixtures/$name.expected
    [ -f "$expected" ] || { fail "$name has no .expected"; continue; }
    outcome=0
    [ ! -s "$expected" ] || outcome=1
    expect_status "$outcome" "$check" --keys "$fixtures/keys.txt" \
        --english "$fixtures/RaidNLS.properties" "$file"
    sed "s|^$file:||" "$scratch/out" | diff -u "$expected" - || fail "findings in $name"
    cases=$((cases + 1))
done
[ "$cases" -ge 40 ] || fail "only $cases catalogues were checked"

# Every finding names its file, also among several.
expect_status 1 "$check" --keys "$fixtures/keys.txt" --english "$fixtures/RaidNLS.properties" \
    "$fixtures/too-long.xx.properties" "$fixtures/good.xx.properties" \
    "$fixtures/no-text.xx.properties"
grep -q "^$fixtures/too-long.xx.properties:4: 201 " "$scratch/out" || fail "first of three files"
grep -q "^$fixtures/no-text.xx.properties:4: notice " "$scratch/out" || fail "last of three files"
[ "$(wc -l <"$scratch/out")" -eq 2 ] || fail "findings in three files"

# What cannot be checked is not passed.
expect_status 2 "$check"
expect_status 2 "$check" "$scratch/absent.properties"
expect_status 2 "$check" --keys "$scratch/absent.txt" "$fixtures/good.xx.properties"
for table in "greeting" "greeting x name" "greeting 2 name" "greeting 0 name" "greeting 11 name"; do
    printf '%s\n' "$table" >"$scratch/keys.txt"
    expect_status 2 "$check" --keys "$scratch/keys.txt" "$fixtures/good.xx.properties"
    grep -q "keys.txt:1: " "$scratch/out" || fail "no line named for key table \"$table\""
done
printf 'notice 0\nnotice 0\n' >"$scratch/keys.txt"
expect_status 2 "$check" --keys "$scratch/keys.txt" "$fixtures/good.xx.properties"
grep -q "keys.txt:2: notice is listed twice" "$scratch/out" || fail "key listed twice"

# Explanations of the events: one good entry, then one fault each.
entry='"when": "A.", "meaning": "B.", "cause": "C.", "risk": "D.", "action": "E."'
head='"key": "agentEventX", "code": 201, "eventId": "E"'
printf 'agentEventX 0\nphrase 0\n' >"$scratch/keys.txt"
# expect_meanings WANTED JSON: "" for none, else a part of the only finding.
expect_meanings() {
    printf '%s\n' "$2" >"$scratch/meanings.json"
    outcome=0
    [ -z "$1" ] || outcome=1
    expect_status "$outcome" "$check" --keys "$scratch/keys.txt" --meanings "$scratch/meanings.json"
    [ -z "$1" ] || [ "$(grep -c "meanings.json:1: $1" "$scratch/out")" -eq 1 ] ||
        fail "no finding \"$1\" for $2: $(cat "$scratch/out")"
}
expect_meanings '' "[{$head, $entry}]"
expect_meanings '.* comes twice' "[{$head, $entry}, {$head, $entry}]"
expect_meanings 'agentEventX 201: "risk" is no sentence' \
    "[{$head, $(echo "$entry" | sed 's/D\./D/')}]"
expect_meanings 'agentEventX 201: "cause" is no sentence' \
    "[{$head, $(echo "$entry" | sed 's/"cause": "C.", //')}]"
expect_meanings 'no key "agentEventY"' \
    "[{$head, $entry}, {$(echo "$head" | sed 's/X/Y/'), $entry}]"
expect_meanings 'no line has' "[{\"code\": 201, \"key\": \"agentEventX\", \"eventId\": \"E\", $entry}]"
printf '[]\n' >"$scratch/meanings.json"
expect_status 1 "$check" --keys "$scratch/keys.txt" --meanings "$scratch/meanings.json"
grep -q "agentEventX is not explained" "$scratch/out" || fail "missing explanation"

# What is shipped.
expect_status 0 "$check" "$root"/catalogue/*.properties
cat "$scratch/out"
expect_status 0 "$check" --meanings "$root/catalogue/meanings.json"
cat "$scratch/out"
for language in de es fr ja zh_CN; do
    [ -f "$root/catalogue/RaidNLS.$language.properties" ] || fail "no catalogue for $language"
done

[ "$failed" -eq 0 ] && echo "$cases catalogues with known findings, and the shipped ones: all well"
exit "$failed"
