#!/bin/sh
# Checks the shipped scenarios, and the example of the page, against docs/formats/scenario.schema.json,
# and that the schema refuses what the parser refuses.
#
#   tests/scenario_schema_test.sh            run from anywhere; exit status 0 when all is well
set -eu
export LC_ALL=C.UTF-8 PYTHONDONTWRITEBYTECODE=1

root=$(cd "$(dirname "$0")/.." && pwd)
python3 -c 'import jsonschema' 2>/dev/null || {
    echo "NOT TESTED: install the package python3-jsonschema" >&2
    exit 1
}

exec python3 - "$root" <<'PYTHON'
import copy, json, pathlib, re, sys
from jsonschema import Draft202012Validator

root = pathlib.Path(sys.argv[1])
schema = json.loads((root / "docs/formats/scenario.schema.json").read_text())
Draft202012Validator.check_schema(schema)
validator = Draft202012Validator(schema)
failed = 0

def expect(good, what, document):
    global failed
    errors = [e.json_path + ": " + e.message[:200] for e in validator.iter_errors(document)]
    if good == (not errors):
        return
    failed += 1
    print("FAILED:", what, "is refused:" if good else "is accepted", *errors, sep="\n    ")

scenarios = sorted((root / "storlib/sources/scenarios").glob("*.json"))
for file in scenarios:
    expect(True, file.name, json.loads(file.read_text()))

page = (root / "docs/formats/scenario.md").read_text()
examples = re.findall(r"```json\n(.*?)```", page, re.S)
for example in examples:
    expect(True, "the example of the page", json.loads(example))

good = {
    "scenario": 1, "title": "t",
    "controllers": [{"id": "c", "channels": [{"drives": [{"id": "d", "device": 1, "state": 17}]}]}],
    "steps": [{"changes": [{"set": "d", "to": {"state": "failed"}}]}],
}
expect(True, "a small scenario", good)

def drive(document):
    return document["controllers"][0]["channels"][0]["drives"][0]

def change(document, new):
    document["steps"][0]["changes"][0] = new

rejects = {
    "another version": lambda d: d.update(scenario=2),
    "no title": lambda d: d.pop("title"),
    "an unknown key": lambda d: d.update(comment="x"),
    "a drive without a device number": lambda d: drive(d).pop("device"),
    "a word that is unknown": lambda d: drive(d).update(state="sleeping"),
    "a number beyond 32 bits": lambda d: drive(d).update(state=2147483648),
    "a text that is too long": lambda d: drive(d).update(vendor="x" * 32),
    "a world-wide name of 15 digits": lambda d: drive(d).update(wwn="5000C5001234567"),
    "a field of another kind": lambda d: drive(d).update(level="RAID1"),
    "an empty id": lambda d: drive(d).update(id=""),
    "a step after no poll": lambda d: d["steps"][0].update(after=0),
    "a change that does nothing": lambda d: change(d, {}),
    "a change that does two things": lambda d: change(d, {"remove": "d", "restore": "d"}),
    "a set of nothing": lambda d: change(d, {"set": "d", "to": {}}),
    "a set of an unknown field": lambda d: change(d, {"set": "d", "to": {"sate": 1}}),
    "an add of two lists": lambda d: change(
        d, {"add": {"drives": {"device": 2}, "phys": {}}, "in": "c"}),
    "a record of an unknown name": lambda d: change(
        d, {"record": {"what": "rebuildStartet", "about": "d"}}),
    "a failure of nothing": lambda d: change(d, {"fail": "event"}),
}
for what, spoil in rejects.items():
    bad = copy.deepcopy(good)
    spoil(bad)
    expect(False, what, bad)

if len(scenarios) < 10 or not examples:
    failed += 1
    print("FAILED: the scenarios or the example were not found")
print(len(scenarios), "scenarios,", len(examples), "example,", len(rejects), "rejects,", failed, "failed")
sys.exit(1 if failed else 0)
PYTHON
