// The timeline of a scenario file: steps and their changes.
#include "storlib/sources/ScenarioParser.h"

#include <limits>

#include "storlib/sources/JsonNode.h"
#include "storlib/sources/ScenarioRecord.h"
#include "storlib/sources/ScenarioWords.h"

namespace {

using Node = JsonNode::Type;
using ScenarioWords::quoted;
using ScenarioWords::suggestion;

constexpr int kAnyMost = std::numeric_limits<int>::max();
constexpr int kMostPolls = 1000000;
constexpr int kMostMilliseconds = 3600000;
constexpr int kMostSeconds = 315360000;  // ten years

struct Unit {
    const char* key;
    int seconds;
};

constexpr Unit kUnits[] = {{"seconds", 1}, {"hours", 3600}, {"days", 86400}};

std::string item(const std::string& where, const char* list, std::size_t index) {
    return where + "." + list + "[" + std::to_string(index) + "]";
}

}  // namespace

void ScenarioParser::readSteps(const JsonNode& node, std::vector<ScenarioStep>& steps) {
    const JsonNode& list = listOf(node, "$.steps");
    for (std::size_t i = 0; i < list.items.size(); ++i) {
        steps.push_back(readStep(*list.items[i], item("$", "steps", i)));
    }
}

ScenarioStep ScenarioParser::readStep(const JsonNode& node, const std::string& where) {
    if (!node.is(Node::kObject)) {
        complain(node, where,
                 std::string("must be an object, not ") + JsonNode::typeName(node.type));
    }
    allowOnly(node, {"name", "after", "seconds", "hours", "days", "restart", "announce", "changes"},
              where);
    ScenarioStep step;
    step.where = where;
    step.line = node.line;
    step.seconds = readDuration(node, where);
    if (const JsonNode* name = node.member("name")) step.name = textOf(*name, where + ".name");
    if (const JsonNode* after = node.member("after")) {
        step.after = smallOf(*after, where + ".after", 1, kMostPolls);
    }
    if (const JsonNode* restart = node.member("restart")) {
        step.restart = flagOf(*restart, where + ".restart");
    }
    if (const JsonNode* announce = node.member("announce")) {
        step.announce = flagOf(*announce, where + ".announce");
    }
    const JsonNode* changes = node.member("changes");
    if (changes == nullptr) return step;
    const JsonNode& list = listOf(*changes, where + ".changes");
    for (std::size_t i = 0; i < list.items.size(); ++i) {
        step.changes.push_back(readChange(*list.items[i], item(where, "changes", i)));
    }
    return step;
}

// 0 when the step does not say.
int ScenarioParser::readDuration(const JsonNode& node, const std::string& where) {
    int total = 0;
    for (const Unit& unit : kUnits) {
        const JsonNode* given = node.member(unit.key);
        if (given == nullptr) continue;
        if (total != 0) {
            complain(*given, where + "." + unit.key,
                     "gives the time a second time; keep one of seconds, hours and days");
        }
        total =
            unit.seconds * smallOf(*given, where + "." + unit.key, 1, kMostSeconds / unit.seconds);
    }
    return total;
}

ScenarioChange ScenarioParser::readChange(const JsonNode& node, const std::string& where) {
    if (!node.is(Node::kObject)) {
        complain(node, where,
                 std::string("must be an object, not ") + JsonNode::typeName(node.type));
    }
    ScenarioChange change;
    change.where = where;
    change.line = node.line;
    const auto byId = [&](const char* verb, ScenarioChange::What what) {
        allowOnly(node, {verb}, where);
        change.what = what;
        const JsonNode& id = need(node, verb, where);
        (void)kindOf(id, where + "." + verb);
        change.id = id.text;
    };
    if (node.member("set") != nullptr) {
        readSet(node, change);
    } else if (node.member("add") != nullptr) {
        readAdd(node, change);
    } else if (node.member("remove") != nullptr) {
        byId("remove", ScenarioChange::What::kRemove);
    } else if (node.member("restore") != nullptr) {
        byId("restore", ScenarioChange::What::kRestore);
    } else if (node.member("record") != nullptr) {
        readRecord(node, change);
    } else if (node.member("fail") != nullptr) {
        change.what = ScenarioChange::What::kFail;
        readFailure(node, "fail", change);
    } else if (node.member("recover") != nullptr) {
        change.what = ScenarioChange::What::kRecover;
        readFailure(node, "recover", change);
    } else if (const JsonNode* slow = node.member("slow")) {
        allowOnly(node, {"slow"}, where);
        change.what = ScenarioChange::What::kSlow;
        change.milliseconds = smallOf(*slow, where + ".slow", 0, kMostMilliseconds);
    } else {
        complain(node, where,
                 "says nothing to do; use one of: set, add, remove, restore, record, fail, "
                 "recover, slow");
    }
    return change;
}

const ScenarioKind& ScenarioParser::kindOf(const JsonNode& node, const std::string& where) {
    const std::string id = textOf(node, where);
    const auto known = kinds.find(id);
    if (known != kinds.end()) return *known->second;
    Names ids;
    for (const auto& [name, kind] : kinds) ids.push_back(name);
    constexpr std::size_t kMostListed = 20;
    std::string cure = suggestion(id, ids);
    if (ids.empty() ||
        (ids.size() > kMostListed && cure.find("did you mean") == std::string::npos)) {
        cure = "; give an object that id";
    }
    complain(node, where, "nothing is called " + quoted(id) + " up to here" + cure);
}

// {"set": "drive5", "to": {"state": "failed"}}
void ScenarioParser::readSet(const JsonNode& node, ScenarioChange& change) {
    allowOnly(node, {"set", "to"}, change.where);
    change.what = ScenarioChange::What::kSet;
    const JsonNode& target = need(node, "set", change.where);
    const ScenarioKind& kind = kindOf(target, change.where + ".set");
    change.id = target.text;
    const std::string where = change.where + ".to";
    const JsonNode& fields = need(node, "to", change.where);
    if (fields.is(Node::kObject)) {
        for (const auto& [name, value] : fields.members) {
            if (name != "id" && name != "copies" && kind.list(name) == nullptr) continue;
            complain(*value, where + "." + name,
                     "set changes fields only; use add and remove for objects, and leave ids "
                     "alone");
        }
    }
    change.fields = readObject(fields, kind, where)->fields;
    if (change.fields.empty()) complain(fields, where, "changes nothing; name a field");
}

// {"add": {"drives": {...}}, "in": "channel0"}
void ScenarioParser::readAdd(const JsonNode& node, ScenarioChange& change) {
    allowOnly(node, {"add", "in"}, change.where);
    change.what = ScenarioChange::What::kAdd;
    const JsonNode& add = need(node, "add", change.where);
    const std::string where = change.where + ".add";
    if (!add.is(Node::kObject) || add.members.size() != 1) {
        complain(add, where, "names one list with one object, for example {\"drives\": {...}}");
    }
    change.list = add.members[0].first;
    const JsonNode& object = *add.members[0].second;
    const JsonNode* parent = node.member("in");
    const ScenarioKind* kind = nullptr;
    if (parent == nullptr) {
        if (change.list != "controllers") {
            complain(node, change.where, "needs the key \"in\", the id of the object to add to");
        }
        kind = &ScenarioKind::named("controller");
    } else {
        const ScenarioKind& holder = kindOf(*parent, change.where + ".in");
        change.id = parent->text;
        const ScenarioKind::Holds* holds = holder.list(change.list);
        if (holds == nullptr) {
            Names names;
            for (const ScenarioKind::Holds& row : holder.lists) names.emplace_back(row.list);
            complain(
                object, where + "." + change.list,
                std::string("a ") + holder.name + " holds no such list" +
                    (names.empty() ? "; add to another object" : suggestion(change.list, names)));
        }
        kind = &ScenarioKind::named(holds->kind);
    }
    for (auto& made : readObjects(object, *kind, where + "." + change.list)) {
        change.objects.push_back(std::move(made));
    }
}

// {"record": {"what": "badBlockFound", "about": "drive3"}}
void ScenarioParser::readRecord(const JsonNode& node, ScenarioChange& change) {
    allowOnly(node, {"record", "from"}, change.where);
    change.what = ScenarioChange::What::kRecord;
    const JsonNode& record = need(node, "record", change.where);
    const std::string where = change.where + ".record";
    if (!record.is(Node::kObject)) {
        complain(record, where,
                 std::string("must be an object, not ") + JsonNode::typeName(record.type));
    }
    const ScenarioRecord* named = nullptr;
    if (const JsonNode* what = record.member("what")) {
        allowOnly(record, {"what", "about", "description"}, where);
        named = ScenarioRecord::named(textOf(*what, where + ".what"));
        if (named == nullptr) {
            Names names;
            for (const ScenarioRecord& row : ScenarioRecord::all()) names.emplace_back(row.name);
            complain(*what, where + ".what",
                     quoted(what->text) + " is unknown" + suggestion(what->text, names));
        }
        change.record.senseKey = named->category;
        change.record.additionalSenseCode = named->code;
        change.record.qual = named->qual;
        (void)need(record, "about", where);
    } else {
        readRecordCodes(record, change, where);
    }
    if (const JsonNode* description = record.member("description")) {
        change.record.description = textOf(*description, where + ".description");
    } else if (named != nullptr) {
        change.record.description = named->name;
    }
    if (const JsonNode* about = record.member("about")) {
        readAbout(*about, named, change, where + ".about");
    }
    const JsonNode* from = node.member("from");
    if (from != nullptr) {
        (void)kindOf(*from, change.where + ".from");
        change.id = from->text;
    } else if (change.about.empty()) {
        complain(node, change.where,
                 "needs the key \"from\", the id of a controller, or a record with \"about\"");
    }
}

// {"record": {"code": 16, "category": 1, "path": "/l0"}, "from": "c0"}
void ScenarioParser::readRecordCodes(const JsonNode& node, ScenarioChange& change,
                                     const std::string& where) {
    allowOnly(node, {"what", "code", "category", "qual", "status", "path", "about", "description"},
              where);
    const auto integer = [&](const char* name, int fallback) {
        const JsonNode* given = node.member(name);
        return given == nullptr ? fallback : smallOf(*given, where + "." + name, 0, kAnyMost);
    };
    change.record.additionalSenseCode = integer("code", 0);
    change.record.senseKey = integer("category", 0);
    change.record.qual = integer("qual", 7);
    change.record.status = integer("status", 0);
    if (const JsonNode* path = node.member("path")) {
        change.record.ldPath = textOf(*path, where + ".path");
        if (node.member("about") != nullptr) {
            complain(*path, where + ".path", "tells the same as \"about\"; keep one of them");
        }
    }
}

// Only drives, enclosures and logical drives have a path.
void ScenarioParser::readAbout(const JsonNode& node, const ScenarioRecord* named,
                               ScenarioChange& change, const std::string& where) {
    const std::string kind = kindOf(node, where).name;
    if (named != nullptr && kind != named->kind) {
        complain(node, where,
                 std::string("a ") + named->name + " record is about a " + named->kind + ", and " +
                     quoted(node.text) + " is a " + kind);
    }
    if (kind != "drive" && kind != "logicalDrive" && kind != "safteEnclosure" &&
        kind != "sesEnclosure") {
        complain(node, where,
                 quoted(node.text) + " is a " + kind +
                     "; a record is about a drive, an enclosure or a logicalDrive");
    }
    change.about = node.text;
}

// {"fail": "configuration"}, {"fail": "events", "of": "c0"}, {"recover": "events", "of": "c0"}
void ScenarioParser::readFailure(const JsonNode& node, const char* verb, ScenarioChange& change) {
    using Reading = ScenarioChange::Reading;
    allowOnly(node, {verb, "of"}, change.where);
    const JsonNode& what = need(node, verb, change.where);
    const std::string where = change.where + "." + verb;
    const std::string reading = textOf(what, where);
    const JsonNode* of = node.member("of");
    if (of != nullptr) {
        (void)kindOf(*of, change.where + ".of");
        change.id = of->text;
    }
    if (reading == "configuration") {
        if (of != nullptr) {
            complain(*of, change.where + ".of",
                     "the configuration fails as a whole; leave this key out");
        }
        change.reading = Reading::kConfiguration;
    } else if (reading == "tasks") {
        change.reading = Reading::kTasks;
    } else if (reading == "events") {
        change.reading = Reading::kEvents;
    } else {
        complain(what, where,
                 quoted(reading) + " is unknown" +
                     suggestion(reading, {"configuration", "tasks", "events"}));
    }
}
