"""What happened in each story: the daemon's records as text, and the comparison with what should.

The text has one line per object, its events and its notices in their order:

    story fail
      drive SATA1: 401 499
      md0: 399 301 | opened:redundancy=degraded

A number is an event, a word a notice. Left out are percentages of a task, of which there are as many
as there was time for, and notices that something is better but not well ("updated"), which are
told only when the value before lasted long enough.
"""

import json

PERCENT = 5  # severity
LAST_FOR_SINKS = 3  # tasks and percentages are no messages for people


def load(path):
    """The records of a file of JSON lines by their numbers. A line that a power cut left unfinished
    is none; one that was told twice counts once."""
    records = {}
    with open(path, "rb") as file:
        for line in file:
            try:
                record = json.loads(line)
            except ValueError:
                continue
            records[int(record["id"].rpartition(":")[2])] = record
    return dict(sorted(records.items()))


def object_of(data):
    event = data.get("event") or {}
    if event.get("objectType") == "physicalDrive" and event.get("extra1"):
        return "drive " + event["extra1"]
    key = data["object"]
    if key.startswith("drive:"):
        return "drive " + key[len("drive:"):]
    return data["objectName"] or "monitor"


def word_of(data):
    """None for what is left out."""
    event, notice = data.get("event"), data.get("notice")
    if event:
        word = None if event["severity"] == PERCENT else str(event["code"])
    elif notice["notice"] == "updated":
        word = None
    else:
        incident = notice["incident"]
        word = f"{notice['notice']}:{incident['condition']}={incident['value']}".replace(" ", "-")
    if word and data["origin"] != "live":
        word = f"{data['origin']}!{word}"
    return word


def lines_of(records):
    """["object: events | notices", ...] by object, sorted; the records of each in their order. How
    the two mix is not compared: good news waits until a value has lasted."""
    words = {}
    for record in records:
        word = word_of(record["data"])
        if word:
            rows = words.setdefault(object_of(record["data"]), ([], []))
            rows[0 if record["data"].get("event") else 1].append(word)
    return [f"{name}: {' '.join(events)}{' | ' if notices else ''}{' '.join(notices)}"
            for name, (events, notices) in sorted(words.items())]


def tell(marks, records):
    """The text of a whole boot. `marks` are (story, number of the last record before it)."""
    text = []
    for index, (name, before) in enumerate(marks):
        end = marks[index + 1][1] if index + 1 < len(marks) else max(records, default=0)
        text.append("story " + name)
        text += ["  " + line for line in lines_of(
            record for number, record in records.items() if before < number <= end)]
    return "\n".join(text) + "\n"


def undelivered(records, told):
    """Numbers of records that the file of the sink lacks although a sink is told of them."""
    return [number for number, record in records.items()
            if number not in told and
            (record["data"].get("event") or {}).get("severity", 0) <= LAST_FOR_SINKS]


def by_story(text):
    stories = {}
    name = None
    for line in text.splitlines():
        if line.startswith("story "):
            name = line[len("story "):]
            stories[name] = []
        elif line.strip() and not line.startswith("#"):
            stories[name].append(line.strip())
    return stories
