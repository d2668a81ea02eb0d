#!/usr/bin/env python3
"""check_openapi.py [--partial] DOCUMENT FOLDER: does a server do what its OpenAPI document says, and
does the document say what it does? FOLDER holds answers of the server, one JSON object per file:

    {"path": "/api/v1/events/{sequence}", "status": 200, "type": "application/json", "body": "..."}

Every answer must be in the document and fit its schema. Without --partial every path, status,
header and member of the document must have been seen too. Events of a stream are checked by the
schema of the event's name. Prints what is wrong, one line each; exits with 1 then.
"""

import json
import pathlib
import sys

from jsonschema import Draft202012Validator

partial = sys.argv[1] == "--partial"
document = json.loads(pathlib.Path(sys.argv[-2]).read_text(encoding="utf-8"))
answers = [json.loads(file.read_text(encoding="utf-8"))
           for file in sorted(pathlib.Path(sys.argv[-1]).iterdir())]
schemas = document["components"]["schemas"]
STREAM = {"event": "Record", "incident": "Record", "state": "Standing", "gap": "Gap"}
complaints = []
seen_members = set()
seen_answers = set()
seen_headers = set()


def resolved(node):
    """The node itself, or what its $ref leads to, and the name of that."""
    if "$ref" not in node:
        return node, None
    parts = node["$ref"].removeprefix("#/").split("/")
    found = document
    for part in parts:
        found = found[part]
    return found, parts[-1]


def note_members(value, schema):
    """Marks the members of `value` that the schemas name as seen."""
    schema, name = resolved(schema)
    for option in schema.get("anyOf", []):
        note_members(value, option)
    if isinstance(value, list) and "items" in schema:
        for each in value:
            note_members(each, schema["items"])
    if isinstance(value, dict) and "properties" in schema:
        for key, each in value.items():
            if key in schema["properties"]:
                seen_members.add((name, key))
                note_members(each, schema["properties"][key])


def check(where, value, schema):
    whole = {"$schema": "https://json-schema.org/draft/2020-12/schema",
             "components": document["components"], **schema}
    for error in Draft202012Validator(whole).iter_errors(value):
        at = "/".join(str(part) for part in error.absolute_path)
        complaints.append(f"{where}: {at}: {error.message[:300]}")
    note_members(value, schema)


def check_stream(where, text):
    for frame in text.split("\n\n"):
        fields = dict(line.split(": ", 1) for line in frame.split("\n") if ": " in line)
        if "data" not in fields:
            continue
        name = STREAM.get(fields.get("event"))
        if name is None:
            complaints.append(f"{where}: there is no event {fields.get('event')}")
            continue
        seen_members.add(("stream", fields["event"]))
        check(f"{where} {fields['event']}", json.loads(fields["data"]),
              {"$ref": f"#/components/schemas/{name}"})


def check_answer(answer):
    where = f"{answer['path']} {answer['status']}"
    responses = document["paths"].get(answer["path"], {}).get("get", {}).get("responses")
    if responses is None:
        complaints.append(f"{where}: the document has no such path")
        return
    key = str(answer["status"]) if str(answer["status"]) in responses else "default"
    seen_answers.add((answer["path"], key))
    response, _ = resolved(responses[key])
    for header in answer.get("headers", []):
        seen_headers.add((answer["path"], header))
        if header not in response.get("headers", {}):
            complaints.append(f"{where}: the document has no header {header}")
    content = response["content"].get(answer["type"])
    if content is None:
        complaints.append(f"{where}: {answer['type']} is not one of {list(response['content'])}")
    elif answer["type"] == "text/event-stream":
        check_stream(where, answer["body"])
    else:
        check(where, json.loads(answer["body"]), content["schema"])


def check_document():
    """Every reference leads somewhere, and every schema is one."""
    def walk(node):
        if isinstance(node, dict):
            if "$ref" in node:
                resolved(node)
            for each in node.values():
                walk(each)
        elif isinstance(node, list):
            for each in node:
                walk(each)
    walk(document)
    for schema in schemas.values():
        Draft202012Validator.check_schema(schema)
    if not document["openapi"].startswith("3.1."):
        complaints.append("the document is not OpenAPI 3.1")


def check_all_seen():
    for path, item in document["paths"].items():
        for status, response in item["get"]["responses"].items():
            if (path, status) not in seen_answers:
                complaints.append(f"{path}: {status} was never seen")
            for header in resolved(response)[0].get("headers", {}):
                if (path, header) not in seen_headers:
                    complaints.append(f"{path}: the header {header} was never seen")
    for name, schema in schemas.items():
        for key in schema.get("properties", {}):
            if (name, key) not in seen_members:
                complaints.append(f"{name}.{key} was never seen")
    for name in STREAM:
        if ("stream", name) not in seen_members:
            complaints.append(f"the stream's event {name} was never seen")


check_document()
for one in answers:
    check_answer(one)
if not partial:
    check_all_seen()
print("\n".join(complaints) or f"{len(answers)} answers are as the document says")
sys.exit(1 if complaints else 0)
