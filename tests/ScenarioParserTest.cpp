// What the parser refuses, and with which words. Every message names the file, the line, the place
// in the file, what is wrong and, where it is not plain, what to do. What it accepts is in
// ScenarioKindTest.cpp (every field) and ScenarioTest.cpp (every change).
#include "storlib/sources/Scenario.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "storlib/sources/ScenarioParser.h"

namespace {

const std::string kHead = R"({"scenario": 1, "title": "t")";

// Lines are counted as in the files that these make: the controllers begin in line 2, the steps in
// line 3 or, after kMachine, in line 4.
std::string file(const std::string& controllers, const std::string& steps) {
    return kHead + ",\n \"controllers\": " + controllers + ",\n \"steps\": " + steps + "}";
}

std::string controllers(const std::string& list) {
    return kHead + ",\n \"controllers\": " + list + "}";
}

std::string drives(const std::string& list) {
    return controllers(R"([{"channels": [{"drives": [)" + list + "]}]}]");
}

// A step with that change on a machine with a controller c (channel ch, drive d, logical drive l)
// and another controller c2. The change stands in line 5.
std::string change(const std::string& text) {
    return file(
        R"([{"id": "c", "channels": [{"id": "ch", "drives": [{"id": "d", "device": 1}]}], "logicalDrives": [{"id": "l"}]},
  {"id": "c2"}])",
        "[{\"changes\": [\n  " + text + "]}]");
}

struct Reject {
    const char* when;
    std::string text;
    std::string message;  // after the name of the file
};

// clang-format off
const std::vector<Reject>& rejects() {
    static const std::vector<Reject> rows = {
        {"the file is empty",
         "",
         R"(:1: $: is empty; a scenario is an object with the keys scenario, title, controllers and steps)"},
        {"there are only blanks",
         " \n\t\n",
         R"(:1: $: is empty; a scenario is an object with the keys scenario, title, controllers and steps)"},
        {"a bracket is missing",
         kHead + R"(,
 "controllers": [
)",
         R"(:2: $: is no valid JSON: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal)"},
        {"a comma is too many",
         kHead + R"(,
 "controllers": [],
})",
         R"(:3: $: is no valid JSON: syntax error while parsing object key - unexpected '}'; expected string literal)"},
        {"a word is no JSON",
         kHead + R"(,
 "controllers": [yes]})",
         R"(:2: $: is no valid JSON: syntax error while parsing value - invalid literal)"},
        {"the text is no UTF-8",
         kHead + std::string(R"(, "story": ")") + "\xff" + R"("})",
         R"(:1: $: is no valid JSON: syntax error while parsing value - invalid string: ill-formed UTF-8 byte)"},
        {"a number is beyond all bounds",
         kHead + R"(,
 "controllers": [1e999]})",
         R"(:2: $: is no valid JSON: number overflow parsing '1e999')"},
        {"it is nested too deep",
         kHead + ",\n \"controllers\": " + std::string(64, '['),
         R"(:2: $: is nested more than 64 levels deep; look for a bracket that is not closed)"},
        {"a key has control characters",
         kHead + R"(,
 "contro\u000allers\u001b[2J": []})",
         R"(:2: $.contro_llers_[2J: is an unknown key; use one of: scenario, title, story, controllers, steps)"},
        {"a key with control characters stands twice",
         kHead + R"(, "\u007f\u0000": 1, "\u007f\u0000": 2})",
         R"(:1: $: "__" stands twice in one object; keep one of them)"},
        {"a key stands twice",
         kHead + R"(,
 "title": "u"})",
         R"(:2: $: "title" stands twice in one object; keep one of them)"},
        {"the file is a list",
         R"([])",
         R"(:1: $: must be an object, not a list)"},
        {"the version is missing",
         R"({"title": "t", "controllers": []})",
         R"(:1: $: needs the key "scenario")"},
        {"the version is another",
         R"({"scenario": 2, "title": "t", "controllers": []})",
         R"(:1: $.scenario: must be 1, the version of this format)"},
        {"the title is missing",
         R"({"scenario": 1,
 "controllers": []})",
         R"(:1: $: needs the key "title")"},
        {"the controllers are missing",
         kHead + R"(})",
         R"(:1: $: needs the key "controllers")"},
        {"the story is a number",
         kHead + R"(, "story": 5, "controllers": []})",
         R"(:1: $.story: must be a text, not a whole number)"},
        {"a key of the file is misspelt",
         kHead + R"(, "controlers": []})",
         R"(:1: $.controlers: is an unknown key; did you mean "controllers"?)"},
        {"a key of the file is unknown",
         kHead + R"(, "comment": []})",
         R"(:1: $.comment: is an unknown key; use one of: scenario, title, story, controllers, steps)"},
        {"the controllers are an object",
         controllers(R"({})"),
         R"(:2: $.controllers: must be a list, not an object)"},
        {"a controller is a text",
         controllers(R"(["c"])"),
         R"(:2: $.controllers[0]: must be an object (controller), not a text)"},
        {"a key of a controller is misspelt",
         controllers(R"([{"venodr": "Acme"}])"),
         R"(:2: $.controllers[0].venodr: a controller has no such key; did you mean "vendor"?)"},
        {"a key of a controller is unknown",
         controllers(R"([{"channels":
  [{"colour": 1}]}])"),
         R"(:3: $.controllers[0].channels[0].colour: a channel has no such key; use one of: id, copies, number, type, ports, drives, safteEnclosures, sesEnclosures)"},
        {"a text is too long",
         controllers(R"([{"vendor": "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"}])"),
         R"(:2: $.controllers[0].vendor: is longer than 31 characters; shorten it)"},
        {"a text is a number",
         controllers(R"([{"name": 5}])"),
         R"(:2: $.controllers[0].name: must be a text, not a whole number)"},
        {"a flag is a number",
         controllers(R"([{"batteryTooHot": 1}])"),
         R"(:2: $.controllers[0].batteryTooHot: must be true or false, not a whole number)"},
        {"a number is a text",
         controllers(R"([{"slot": "3"}])"),
         R"(:2: $.controllers[0].slot: must be a whole number, not a text)"},
        {"a number has a fraction",
         controllers(R"([{"slot": 3.5}])"),
         R"(:2: $.controllers[0].slot: must be a whole number, not a number with a fraction or too many digits)"},
        {"a number is just beyond 32 bits",
         controllers(R"([{"slot": 2147483648}])"),
         R"(:2: $.controllers[0].slot: 2147483648 is out of range; give a number from -2147483648 to 2147483647)"},
        {"a number is just below 32 bits",
         controllers(R"([{"slot": -2147483649}])"),
         R"(:2: $.controllers[0].slot: -2147483649 is out of range; give a number from -2147483648 to 2147483647)"},
        {"a number is beyond 64 bits",
         controllers(R"([{"slot": 18446744073709551615}])"),
         R"(:2: $.controllers[0].slot: must be a whole number, not a number with a fraction or too many digits)"},
        {"an unsigned number is negative",
         controllers(R"([{"logicalDrives": [{"uniqueID": -1}]}])"),
         R"(:2: $.controllers[0].logicalDrives[0].uniqueID: -1 is out of range; give a number from 0 to 4294967295)"},
        {"an unsigned number is beyond 32 bits",
         controllers(R"([{"logicalDrives": [{"uniqueID": 4294967296}]}])"),
         R"(:2: $.controllers[0].logicalDrives[0].uniqueID: 4294967296 is out of range; give a number from 0 to 4294967295)"},
        {"a number would mean that it is not set",
         controllers(R"([{"number": 2147483647}])"),
         R"(:2: $.controllers[0].number: 2147483647 is out of range; give a number from 0 to 2147483646)"},
        {"a word is misspelt",
         controllers(R"([{"battery": "normel"}])"),
         R"(:2: $.controllers[0].battery: "normel" is unknown; did you mean "normal"?)"},
        {"a word is unknown",
         controllers(R"([{"status": "sleeping"}])"),
         R"(:2: $.controllers[0].status: "sleeping" is unknown; use one of: normal, failed)"},
        {"a word is a flag",
         controllers(R"([{"status": true}])"),
         R"(:2: $.controllers[0].status: must be a word or a number, not true or false)"},
        {"a feature does not exist",
         controllers(R"([{"features": [1, 128]}])"),
         R"(:2: $.controllers[0].features[1]: 128 is out of range; give a number from 0 to 127)"},
        {"features are a number",
         controllers(R"([{"features": 47}])"),
         R"(:2: $.controllers[0].features: must be a list, not a whole number)"},
        {"a limit is negative",
         controllers(R"([{"maxLogicalDrives": -1}])"),
         R"(:2: $.controllers[0].maxLogicalDrives: -1 is out of range; give a number from 0 to 2147483647)"},
        {"a percentage is above 100",
         controllers(R"([{"logicalDrives": [{}],
 "tasks": [{"on": 0, "type": "rebuild", "percent": 101}]}])"),
         R"(:3: $.controllers[0].tasks[0].percent: 101 is out of range; give a number from 0 to 100)"},
        {"a task does not say where",
         controllers(R"([{"tasks": [{"type": "rebuild"}]}])"),
         R"(:2: $.controllers[0].tasks[0]: needs the key "on")"},
        {"a task runs nowhere",
         controllers(R"([{"tasks": [
  {"on": 3, "type": "rebuild"}]}])"),
         R"(:3: $.controllers[0].tasks[0]: runs on logical drive 3, which the controller does not have; change "on" or remove the task)"},
        {"two tasks run at one place",
         controllers(R"([{"logicalDrives": [{}], "tasks": [{"on": 0, "type": "rebuild"},
  {"on": 0, "type": "verify"}]}])"),
         R"(:3: $.controllers[0].tasks[1]: runs on logical drive 0, and so does $.controllers[0].tasks[0]; one drive has one task at a time)"},
        {"a drive has no device number",
         drives(R"({"state": "member"})"),
         R"(:2: $.controllers[0].channels[0].drives[0]: needs the key "device")"},
        {"two drives are at one place",
         drives(R"({"device": 1}, {"device": 2},
  {"device": 1})"),
         R"(:3: $.controllers[0].channels[0].drives[2]: is device 1 of its channel, and so is $.controllers[0].channels[0].drives[0]; give one of them another "device")"},
        {"an enclosure is where a drive is",
         controllers(R"([{"channels": [{"drives": [{"device": 9}],
  "safteEnclosures": [{"device": 9}]}]}])"),
         R"(:3: $.controllers[0].channels[0].safteEnclosures[0]: is device 9 of its channel, and so is $.controllers[0].channels[0].drives[0]; give one of them another "device")"},
        {"a drive has the number of an empty place",
         drives(R"({"device": 511})"),
         R"(:2: $.controllers[0].channels[0].drives[0]: has the device number 511, whose low byte 255 marks an empty place; use another one, or say "spurious": true)"},
        {"an enclosure has the number of an empty place",
         controllers(R"([{"channels": [{"sesEnclosures": [{"device": 255}]}]}])"),
         R"(:2: $.controllers[0].channels[0].sesEnclosures[0]: has the device number 255, whose low byte 255 marks an empty place; use another one)"},
        {"an empty place has the number of a drive",
         drives(R"({"device": 5, "spurious": true})"),
         R"(:2: $.controllers[0].channels[0].drives[0]: is spurious, so its device number must have 255 as low byte; use 255, 511, ...)"},
        {"a world-wide name is too short",
         drives(R"({"device": 1, "wwn": "5000C5001234567"})"),
         R"(:2: $.controllers[0].channels[0].drives[0].wwn: must be 16 hexadecimal digits, for example "5000C50012345678")"},
        {"a world-wide name has another letter",
         drives(R"({"device": 1, "wwn": "5000C5001234567G"})"),
         R"(:2: $.controllers[0].channels[0].drives[0].wwn: must be 16 hexadecimal digits, for example "5000C50012345678")"},
        {"an enclosure has too many fans",
         controllers(R"([{"channels": [{"safteEnclosures": [{"device": 9,
  "fans": [0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0]}]}]}])"),
         R"(:3: $.controllers[0].channels[0].safteEnclosures[0].fans: has more than 32 entries; leave out the last ones)"},
        {"an enclosure has too many slots",
         controllers(R"([{"channels": [{"safteEnclosures": [{"device": 9,
  "slots": [0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0]}]}]}])"),
         R"(:3: $.controllers[0].channels[0].safteEnclosures[0].slots: has more than 64 entries; leave out the last ones)"},
        {"a fan has no such state",
         controllers(R"([{"channels": [{"safteEnclosures": [{"device": 9, "fans": ["ok", "brokn"]}]}]}])"),
         R"(:2: $.controllers[0].channels[0].safteEnclosures[0].fans[1]: "brokn" is unknown; use one of: ok, failed, missing, unknown)"},
        {"a fan's state is no byte",
         controllers(R"([{"channels": [{"safteEnclosures": [{"device": 9, "fans": [256]}]}]}])"),
         R"(:2: $.controllers[0].channels[0].safteEnclosures[0].fans[0]: 256 is out of range; give a number from 0 to 255)"},
        {"a slot is a word",
         controllers(R"([{"channels": [{"safteEnclosures": [{"device": 9, "slots": ["none"]}]}]}])"),
         R"(:2: $.controllers[0].channels[0].safteEnclosures[0].slots[0]: must be a whole number, not a text)"},
        {"an element does not say what it is",
         controllers(R"([{"channels": [{"sesEnclosures": [{"device": 9, "elements": [{}]}]}]}])"),
         R"(:2: $.controllers[0].channels[0].sesEnclosures[0].elements[0]: needs the key "type")"},
        {"two controllers have one number",
         controllers(R"([{"number": 1},
  {"number": 1, "pciBus": 7}])"),
         R"(:3: $.controllers[1]: is controller 1, and so is $.controllers[0]; give one of them another "number")"},
        {"two controllers have one identity",
         controllers(R"([{"pciBus": 3},
  {"pciBus": 3}])"),
         R"(:3: $.controllers[1]: has the identity of $.controllers[0]; give one of them another "pciBus", "pciDevice" or "pciFunction")"},
        {"two channels have one number",
         controllers(R"([{"channels": [{"number": 2},
  {"number": 2}]}])"),
         R"(:3: $.controllers[0].channels[1]: is channel 2, and so is $.controllers[0].channels[0]; give one of them another "number")"},
        {"two logical drives have one number",
         controllers(R"([{"logicalDrives": [{"number": 2},
  {"number": 2}]}])"),
         R"(:3: $.controllers[0].logicalDrives[1]: is logicalDrive 2, and so is $.controllers[0].logicalDrives[0]; give one of them another "number")"},
        {"two phys have one number",
         drives(R"({"device": 1, "phys": [{"number": 2},
  {"number": 2}]})"),
         R"(:3: $.controllers[0].channels[0].drives[0].phys[1]: is phy 2, and so is $.controllers[0].channels[0].drives[0].phys[0]; give one of them another "number")"},
        {"two objects have one id",
         drives(R"({"id": "x", "device": 1},
  {"id": "x", "device": 2})"),
         R"(:3: $.controllers[0].channels[0].drives[1]: the id "x" is taken by $.controllers[0].channels[0].drives[0]; choose another one)"},
        {"two kinds of object have one id",
         controllers(R"([{"id": "x", "channels": [
  {"id": "x"}]}])"),
         R"(:3: $.controllers[0].channels[0].id: "x" names a controller elsewhere in this file; choose another id)"},
        {"an id is empty",
         controllers(R"([{"id": ""}])"),
         R"(:2: $.controllers[0].id: must not be empty; leave it out or give a name)"},
        {"an id is a number",
         controllers(R"([{"id": 1}])"),
         R"(:2: $.controllers[0].id: must be a text, not a whole number)"},
        {"copies share an id",
         drives(R"({"id": "x", "device": 1,
  "copies": 2})"),
         R"(:3: $.controllers[0].channels[0].drives[0].copies: copies cannot share an id; leave out the ids)"},
        {"copies share an id further down",
         controllers(R"([{"copies": 2, "channels": [{"id": "x"}]}])"),
         R"(:2: $.controllers[0].copies: copies cannot share an id; leave out the ids)"},
        {"there are no copies",
         drives(R"({"device": 1, "copies": 0})"),
         R"(:2: $.controllers[0].channels[0].drives[0].copies: 0 is out of range; give a number from 1 to 10000)"},
        {"copies of copies are too many",
         controllers(R"([{"copies": 10000, "logicalDrives": [{"copies": 10}]}])"),
         R"(:2: $.controllers[0]: makes more than 100000 objects in this file; use fewer copies)"},
        {"a copy gets the number of an empty place",
         drives(R"({"device": 250, "copies": 6})"),
         R"(:2: $.controllers[0].channels[0].drives[0]: has the device number 255, whose low byte 255 marks an empty place; use another one, or say "spurious": true)"},
        {"the steps are an object",
         file(R"([])", R"({})"),
         R"(:3: $.steps: must be a list, not an object)"},
        {"a step is a text",
         file(R"([])", R"(["x"])"),
         R"(:3: $.steps[0]: must be an object, not a text)"},
        {"a key of a step is misspelt",
         file(R"([])", R"([{"nam": "x"}])"),
         R"(:3: $.steps[0].nam: is an unknown key; did you mean "name"?)"},
        {"a step comes after no poll",
         file(R"([])", R"([{"after": 0}])"),
         R"(:3: $.steps[0].after: 0 is out of range; give a number from 1 to 1000000)"},
        {"a step takes no time",
         file(R"([])", R"([{"seconds": 0}])"),
         R"(:3: $.steps[0].seconds: 0 is out of range; give a number from 1 to 315360000)"},
        {"a step takes more than ten years",
         file(R"([])", R"([{"days": 3651}])"),
         R"(:3: $.steps[0].days: 3651 is out of range; give a number from 1 to 3650)"},
        {"a step gives its time twice",
         file(R"([])", R"([{"seconds": 5, "hours": 1}])"),
         R"(:3: $.steps[0].hours: gives the time a second time; keep one of seconds, hours and days)"},
        {"a restart is a number",
         file(R"([])", R"([{"restart": 1}])"),
         R"(:3: $.steps[0].restart: must be true or false, not a whole number)"},
        {"the changes are an object",
         file(R"([])", R"([{"changes": {}}])"),
         R"(:3: $.steps[0].changes: must be a list, not an object)"},
        {"a change is a list",
         change(R"([])"),
         R"(:5: $.steps[0].changes[0]: must be an object, not a list)"},
        {"a change does nothing",
         change(R"({"to": {}})"),
         R"(:5: $.steps[0].changes[0]: says nothing to do; use one of: set, add, remove, restore, record, fail, recover, slow)"},
        {"set names an unknown id",
         change(R"({"set": "dd", "to": {}})"),
         R"(:5: $.steps[0].changes[0].set: nothing is called "dd" up to here; use one of: c, c2, ch, d, l)"},
        {"set names nothing alike",
         change(R"({"set": "elephant", "to": {}})"),
         R"(:5: $.steps[0].changes[0].set: nothing is called "elephant" up to here; use one of: c, c2, ch, d, l)"},
        {"set says not to what",
         change(R"({"set": "d"})"),
         R"(:5: $.steps[0].changes[0]: needs the key "to")"},
        {"set changes nothing",
         change(R"({"set": "d", "to": {}})"),
         R"(:5: $.steps[0].changes[0].to: changes nothing; name a field)"},
        {"set gives an unknown field",
         change(R"({"set": "d", "to": {"sate": 1}})"),
         R"(:5: $.steps[0].changes[0].to.sate: a drive has no such key; did you mean "state"?)"},
        {"set gives an id",
         change(R"({"set": "d", "to": {"id": "e"}})"),
         R"(:5: $.steps[0].changes[0].to.id: set changes fields only; use add and remove for objects, and leave ids alone)"},
        {"set gives objects",
         change(R"({"set": "c", "to": {"channels": []}})"),
         R"(:5: $.steps[0].changes[0].to.channels: set changes fields only; use add and remove for objects, and leave ids alone)"},
        {"set has another key",
         change(R"({"set": "d", "to": {"state": 1}, "in": "ch"})"),
         R"(:5: $.steps[0].changes[0].in: is an unknown key; use one of: set, to)"},
        {"set moves a drive onto another",
         file(R"([{"channels": [{"drives": [{"id": "d", "device": 1}, {"device": 2}]}]}])", R"([{},
 {"changes": [{"set": "d", "to": {"device": 2}}]}])"),
         R"(:4: $.steps[1]: after this step $.controllers[0].channels[0].drives[1] is device 2 of its channel, and so is $.controllers[0].channels[0].drives[0]; give one of them another "device")"},
        {"add names two lists",
         change(R"({"add": {"drives": {"device": 1}, "phys": {}}, "in": "ch"})"),
         R"(:5: $.steps[0].changes[0].add: names one list with one object, for example {"drives": {...}})"},
        {"add does not say where to",
         change(R"({"add": {"drives": {"device": 2}}})"),
         R"(:5: $.steps[0].changes[0]: needs the key "in", the id of the object to add to)"},
        {"add names an unknown holder",
         change(R"({"add": {"drives": {"device": 2}}, "in": "channel1"})"),
         R"(:5: $.steps[0].changes[0].in: nothing is called "channel1" up to here; use one of: c, c2, ch, d, l)"},
        {"add names a list that the holder lacks",
         change(R"({"add": {"drive": {"device": 2}}, "in": "ch"})"),
         R"(:5: $.steps[0].changes[0].add.drive: a channel holds no such list; did you mean "drives"?)"},
        {"add names a holder that holds nothing",
         change(R"({"add": {"drives": {"device": 2}}, "in": "l"})"),
         R"(:5: $.steps[0].changes[0].add.drives: a logicalDrive holds no such list; add to another object)"},
        {"add gives a list",
         change(R"({"add": {"drives": [{"device": 2}]}, "in": "ch"})"),
         R"(:5: $.steps[0].changes[0].add.drives: must be an object (drive), not a list)"},
        {"add puts a drive onto another",
         change(R"({"add": {"drives": {"device": 1}}, "in": "ch"})"),
         R"(:4: $.steps[0]: after this step $.steps[0].changes[0].add.drives is device 1 of its channel, and so is $.controllers[0].channels[0].drives[0]; give one of them another "device")"},
        {"add gives an id that is taken",
         change(R"({"add": {"drives": {"id": "d", "device": 2}}, "in": "ch"})"),
         R"(:5: $.steps[0].changes[0]: there is a "d" already; choose another id)"},
        {"remove names an unknown id",
         change(R"({"remove": "x9"})"),
         R"(:5: $.steps[0].changes[0].remove: nothing is called "x9" up to here; use one of: c, c2, ch, d, l)"},
        {"remove names what is gone",
         change(R"({"remove": "d"},
  {"remove": "d"})"),
         R"(:6: $.steps[0].changes[1]: nothing is called "d" at this step; give an object that id, or use one that is there)"},
        {"remove has another key",
         change(R"({"remove": "d", "of": "c"})"),
         R"(:5: $.steps[0].changes[0].of: is an unknown key; use one of: remove)"},
        {"restore names what was never removed",
         change(R"({"restore": "d"})"),
         R"(:5: $.steps[0].changes[0]: nothing called "d" has been removed before this step; use add for something new)"},
        {"restore finds its holder gone",
         change(R"({"remove": "d"}, {"remove": "c"},
  {"restore": "d"})"),
         R"(:6: $.steps[0].changes[2]: what held "d" is gone; restore that first)"},
        {"restore finds its name taken",
         change(R"({"remove": "d"}, {"add": {"drives": {"id": "d", "device": 1}}, "in": "ch"},
  {"restore": "d"})"),
         R"(:6: $.steps[0].changes[2]: there is a "d" already; remove it first)"},
        {"a record is a text",
         change(R"({"record": "x", "from": "c"})"),
         R"(:5: $.steps[0].changes[0].record: must be an object, not a text)"},
        {"a record is unknown",
         change(R"({"record": {"what": "rebuildStartet", "about": "l"}})"),
         R"(:5: $.steps[0].changes[0].record.what: "rebuildStartet" is unknown; did you mean "rebuildStarted"?)"},
        {"a record has a word and a code",
         change(R"({"record": {"what": "rebuildStarted", "about": "l", "code": 3}})"),
         R"(:5: $.steps[0].changes[0].record.code: is an unknown key; use one of: what, about, description)"},
        {"a record tells of nothing",
         change(R"({"record": {"what": "rebuildStarted"}})"),
         R"(:5: $.steps[0].changes[0].record: needs the key "about")"},
        {"a record tells of another kind",
         change(R"({"record": {"what": "rebuildStarted", "about": "d"}})"),
         R"(:5: $.steps[0].changes[0].record.about: a rebuildStarted record is about a logicalDrive, and "d" is a drive)"},
        {"a record tells of a channel",
         change(R"({"record": {"code": 3, "about": "ch"}})"),
         R"(:5: $.steps[0].changes[0].record.about: "ch" is a channel; a record is about a drive, an enclosure or a logicalDrive)"},
        {"a record comes from nowhere",
         change(R"({"record": {"code": 3}})"),
         R"(:5: $.steps[0].changes[0]: needs the key "from", the id of a controller, or a record with "about")"},
        {"a record comes from a drive",
         change(R"({"record": {"code": 3}, "from": "d"})"),
         R"(:5: $.steps[0].changes[0]: no controller is called "d" at this step; name one that is there)"},
        {"a record comes from another controller",
         change(R"({"record": {"code": 3, "about": "d"}, "from": "c2"})"),
         R"(:5: $.steps[0].changes[0]: "d" hangs on another controller than "c2"; leave out "from")"},
        {"a record tells of what is gone",
         change(R"({"remove": "d"},
  {"record": {"code": 3, "about": "d"}})"),
         R"(:6: $.steps[0].changes[1]: nothing is called "d" at this step; give an object that id, or use one that is there)"},
        {"a record has two paths",
         change(R"({"record": {"code": 3, "about": "d", "path": "/l0"}, "from": "c"})"),
         R"(:5: $.steps[0].changes[0].record.path: tells the same as "about"; keep one of them)"},
        {"a record's code is negative",
         change(R"({"record": {"code": -1}, "from": "c"})"),
         R"(:5: $.steps[0].changes[0].record.code: -1 is out of range; give a number from 0 to 2147483647)"},
        {"fail names no reading",
         change(R"({"fail": "event"})"),
         R"(:5: $.steps[0].changes[0].fail: "event" is unknown; did you mean "events"?)"},
        {"fail of the configuration names a controller",
         change(R"({"fail": "configuration", "of": "c"})"),
         R"(:5: $.steps[0].changes[0].of: the configuration fails as a whole; leave this key out)"},
        {"fail names a drive",
         change(R"({"fail": "events", "of": "d"})"),
         R"(:5: $.steps[0].changes[0]: no controller is called "d" at this step; name one that is there, or leave out "of" for all)"},
        {"recover comes without a failure",
         change(R"({"recover": "tasks"})"),
         R"(:5: $.steps[0].changes[0]: this does not fail at this step; recover exactly what a step before made fail)"},
        {"recover is wider than the failure",
         change(R"({"fail": "tasks", "of": "c"},
  {"recover": "tasks"})"),
         R"(:6: $.steps[0].changes[1]: this does not fail at this step; recover exactly what a step before made fail)"},
        {"an answer takes more than an hour",
         change(R"({"slow": 3600001})"),
         R"(:5: $.steps[0].changes[0].slow: 3600001 is out of range; give a number from 0 to 3600000)"},    };
    return rows;
}
// clang-format on

TEST(ScenarioParser, GivenAFileThatCannotBeUsedThenSaysWhereAndWhyInOneLine) {
    for (const Reject& c : rejects()) {
        SCOPED_TRACE(c.when);
        std::string error;
        EXPECT_EQ(nullptr, Scenario::parse(c.text, "story.json", error));
        EXPECT_EQ("story.json" + c.message, error);
        EXPECT_EQ(std::string::npos, error.find('\n'));
    }
}

TEST(ScenarioParser, GivenNothingButTheKeysThatAreNeededThenAccepts) {
    std::string error;
    const auto scenario = Scenario::parse(kHead + ", \"controllers\": []}", "f", error);
    ASSERT_NE(nullptr, scenario) << error;
    EXPECT_EQ("t", scenario->title());
    EXPECT_EQ("", scenario->story());
    EXPECT_TRUE(scenario->steps().empty());
}

TEST(ScenarioParser, GivenValuesOnTheirBoundsThenAccepts) {
    for (const std::string& text : {
             controllers(R"([{"slot": 2147483647}, {"slot": -2147483648}])"),
             controllers(R"([{"number": 2147483646, "features": [0, 127]}])"),
             controllers(R"([{"vendor": "1234567890123456789012345678901"}])"),
             controllers(
                 R"([{"logicalDrives": [{"uniqueID": 4294967295, "size": 9223372036854775807}]}])"),
             controllers(R"([{"status": 5, "battery": -1}])"),  // controllers deliver such values
             drives(R"({"device": 254}, {"device": 256}, {"device": 255, "spurious": true})"),
             drives(R"({"device": 240, "copies": 15})"),
             file("[]",
                  R"([{"after": 1000000, "days": 3650, "restart": true, "announce": false}])"),
             change(R"({"slow": 3600000})"),
         }) {
        std::string error;
        EXPECT_NE(nullptr, Scenario::parse(text, "f", error)) << text << "\n" << error;
    }
}

TEST(ScenarioParser, GivenAStepThenReadsAllOfIt) {
    std::string error;
    const auto scenario = Scenario::parse(
        file("[]", R"([{}, {"name": "later", "after": 3, "announce": false, "restart": true},
                       {"seconds": 90}, {"hours": 8}, {"days": 30}])"),
        "f", error);
    ASSERT_NE(nullptr, scenario) << error;
    const std::vector<ScenarioStep>& steps = scenario->steps();
    ASSERT_EQ(5u, steps.size());
    EXPECT_EQ("", steps[0].name);
    EXPECT_EQ(1, steps[0].after);
    EXPECT_EQ(5, steps[0].secondsAfter());
    EXPECT_TRUE(steps[0].announce);
    EXPECT_FALSE(steps[0].restart);
    EXPECT_EQ("later", steps[1].name);
    EXPECT_EQ(3, steps[1].after);
    EXPECT_EQ(15, steps[1].secondsAfter());
    EXPECT_FALSE(steps[1].announce);
    EXPECT_TRUE(steps[1].restart);
    EXPECT_EQ(90, steps[2].secondsAfter());
    EXPECT_EQ(28800, steps[3].secondsAfter());
    EXPECT_EQ(2592000, steps[4].secondsAfter());
}

}  // namespace
