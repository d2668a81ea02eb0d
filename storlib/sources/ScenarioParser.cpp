#include "storlib/sources/ScenarioParser.h"

#include <algorithm>

#include "storlib/sources/JsonNode.h"
#include "storlib/sources/ScenarioWords.h"

// Thrown inside the parser only, so that each reader can stop where it stands.
struct ScenarioParser::Complaint {
    std::string text;
};

namespace {

using Node = JsonNode::Type;
using ScenarioWords::quoted;
using ScenarioWords::suggestion;

constexpr int kFormat = 1;
constexpr int kMostCopies = 10000;

std::string mustBe(const char* wanted, const JsonNode& node) {
    return std::string("must be ") + wanted + ", not " + JsonNode::typeName(node.type);
}

std::string item(const std::string& where, std::size_t index) {
    return where + "[" + std::to_string(index) + "]";
}

bool hasId(const ScenarioObject& object) {
    if (!object.id.empty()) return true;
    for (const auto& [name, objects] : object.lists) {
        if (std::any_of(objects.begin(), objects.end(), [](const auto& o) { return hasId(*o); })) {
            return true;
        }
    }
    return false;
}

std::size_t sizeOf(const ScenarioObject& object) {
    std::size_t size = 1;
    for (const auto& [name, objects] : object.lists) {
        for (const auto& child : objects) size += sizeOf(*child);
    }
    return size;
}

// The numbers by which copies are told apart count on.
void countOn(ScenarioObject& copy, std::int64_t steps) {
    for (const char* field : {"number", "device"}) {
        const auto given = copy.fields.find(field);
        if (given != copy.fields.end()) given->second.integer += steps;
    }
}

}  // namespace

std::unique_ptr<Scenario> ScenarioParser::read(const std::string& text, std::string& error) {
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
        error = fileName + ":1: $: is empty; a scenario is an object with the keys scenario, " +
                "title, controllers and steps";
        return nullptr;
    }
    std::string syntax;
    const std::unique_ptr<JsonNode> file = JsonNode::parse(text, syntax);
    if (!file) {
        // "line 12: what" becomes "name:12: $: what"
        constexpr std::size_t kNumberAt = 5;
        const std::string::size_type colon = syntax.find(':');
        error = fileName + ":" + syntax.substr(kNumberAt, colon - kNumberAt) + ": $" +
                syntax.substr(colon);
        return nullptr;
    }
    try {
        return readScenario(*file);
    } catch (const Complaint& complaint) {
        error = complaint.text;
        return nullptr;
    }
}

std::unique_ptr<Scenario> ScenarioParser::readScenario(const JsonNode& file) {
    if (!file.is(Node::kObject)) complain(file, "$", mustBe("an object", file));
    const JsonNode& format = need(file, "scenario", "$");
    if (!format.is(Node::kInteger) || format.integer != kFormat) {
        complain(format, "$.scenario", "must be 1, the version of this format");
    }
    allowOnly(file, {"scenario", "title", "story", "controllers", "steps"}, "$");
    auto scenario = std::make_unique<Scenario>();
    scenario->fileName = fileName;
    scenario->scenarioTitle = textOf(need(file, "title", "$"), "$.title");
    if (const JsonNode* story = file.member("story")) {
        scenario->scenarioStory = textOf(*story, "$.story");
    }
    auto machine = std::make_unique<ScenarioObject>();
    machine->where = "$";
    readList(need(file, "controllers", "$"), {"controllers", "controller"}, *machine,
             "$.controllers");
    scenario->model = std::make_unique<ScenarioModel>(std::move(machine));
    scenario->noteLogs();
    if (const JsonNode* steps = file.member("steps")) readSteps(*steps, scenario->timeline);
    return scenario;
}

// --- objects ---

ScenarioParser::Objects ScenarioParser::readObjects(const JsonNode& node, const ScenarioKind& kind,
                                                    const std::string& where) {
    Objects objects;
    objects.push_back(readObject(node, kind, where));
    ScenarioObject& first = *objects.front();
    for (const ScenarioField& field : kind.fields) {
        if (field.required && first.fields.count(field.name) == 0) {
            complain(node, where, std::string("needs the key ") + quoted(field.name));
        }
    }
    const JsonNode* copies = node.member("copies");
    const int count = copies == nullptr ? 1 : smallOf(*copies, where + ".copies", 1, kMostCopies);
    if (count > 1 && hasId(first)) {
        complain(*copies, where + ".copies", "copies cannot share an id; leave out the ids");
    }
    objectsMade += sizeOf(first) * static_cast<std::size_t>(count);
    if (objectsMade > kMostObjects) {
        complain(node, where,
                 "makes more than " + std::to_string(kMostObjects) +
                     " objects in this file; use fewer copies");
    }
    for (int copy = 1; copy < count; ++copy) {
        objects.push_back(first.clone());
        countOn(*objects.back(), copy);
    }
    return objects;
}

std::unique_ptr<ScenarioObject> ScenarioParser::readObject(const JsonNode& node,
                                                           const ScenarioKind& kind,
                                                           const std::string& where) {
    if (!node.is(Node::kObject)) {
        complain(node, where, mustBe((std::string("an object (") + kind.name + ")").c_str(), node));
    }
    auto object = std::make_unique<ScenarioObject>();
    object->kind = &kind;
    object->line = node.line;
    object->where = where;
    for (const auto& [name, value] : node.members) {
        const std::string place = where + "." + name;
        if (name == "id") {
            object->id = readId(*value, kind, place);
        } else if (const ScenarioField* field = kind.field(name)) {
            object->fields[name] = readValue(*value, *field, place);
        } else if (const ScenarioKind::Holds* holds = kind.list(name)) {
            readList(*value, *holds, *object, place);
        } else if (name != "copies") {
            Names known{"id", "copies"};
            for (const ScenarioField& row : kind.fields) known.emplace_back(row.name);
            for (const ScenarioKind::Holds& row : kind.lists) known.emplace_back(row.list);
            complain(*value, place,
                     std::string("a ") + kind.name + " has no such key" + suggestion(name, known));
        }
    }
    return object;
}

std::string ScenarioParser::readId(const JsonNode& node, const ScenarioKind& kind,
                                   const std::string& where) {
    std::string id = textOf(node, where);
    if (id.empty()) complain(node, where, "must not be empty; leave it out or give a name");
    const auto [entry, isNew] = kinds.emplace(id, &kind);
    if (!isNew && entry->second != &kind) {
        complain(node, where,
                 quoted(id) + " names a " + entry->second->name +
                     " elsewhere in this file; choose another id");
    }
    return id;
}

void ScenarioParser::readList(const JsonNode& node, const ScenarioKind::Holds& holds,
                              ScenarioObject& into, const std::string& where) {
    auto& list = into.lists[holds.list];
    const JsonNode& given = listOf(node, where);
    for (std::size_t i = 0; i < given.items.size(); ++i) {
        for (auto& object :
             readObjects(*given.items[i], ScenarioKind::named(holds.kind), item(where, i))) {
            list.push_back(std::move(object));
        }
    }
}

// --- values ---

ScenarioValue ScenarioParser::readValue(const JsonNode& node, const ScenarioField& field,
                                        const std::string& where) {
    ScenarioValue value;
    switch (field.type) {
        case ScenarioField::Type::kInteger:
            value.integer = integerOf(node, where, field.least, field.most);
            break;
        case ScenarioField::Type::kFlag:
            value.flag = flagOf(node, where);
            break;
        case ScenarioField::Type::kText:
            value.text = textOf(node, where, field.longest);
            break;
        case ScenarioField::Type::kWwn:
            value.text = readWwn(node, where);
            break;
        case ScenarioField::Type::kWord:
            value.integer = readWord(node, field, where);
            break;
        case ScenarioField::Type::kNumberList:
        case ScenarioField::Type::kWordList:
            value.list = readNumbers(node, field, where);
            break;
    }
    return value;
}

std::vector<int> ScenarioParser::readNumbers(const JsonNode& node, const ScenarioField& field,
                                             const std::string& where) {
    const JsonNode& list = listOf(node, where);
    if (list.items.size() > field.longest) {
        complain(
            node, where,
            "has more than " + std::to_string(field.longest) + " entries; leave out the last ones");
    }
    std::vector<int> numbers;
    for (std::size_t i = 0; i < list.items.size(); ++i) {
        numbers.push_back(readWord(*list.items[i], field, item(where, i)));
    }
    return numbers;
}

// A number always serves, also for fields without words.
int ScenarioParser::readWord(const JsonNode& node, const ScenarioField& field,
                             const std::string& where) {
    if (!node.is(Node::kText) || field.words.empty()) {
        if (!node.is(Node::kInteger) && !field.words.empty()) {
            complain(node, where, mustBe("a word or a number", node));
        }
        return static_cast<int>(integerOf(node, where, field.least, field.most));
    }
    Names names;
    for (const ScenarioField::Word& word : field.words) {
        if (node.text == word.name) return word.number;
        names.emplace_back(word.name);
    }
    complain(node, where, quoted(node.text) + " is unknown" + suggestion(node.text, names));
}

std::string ScenarioParser::readWwn(const JsonNode& node, const std::string& where) {
    constexpr std::size_t kDigits = 16;
    const std::string text = textOf(node, where);
    if (text.size() != kDigits ||
        text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        complain(node, where, "must be 16 hexadecimal digits, for example \"5000C50012345678\"");
    }
    return text;
}

// --- both ---

const JsonNode& ScenarioParser::need(const JsonNode& object, const char* name,
                                     const std::string& where) {
    const JsonNode* found = object.member(name);
    if (found == nullptr) complain(object, where, "needs the key " + quoted(name));
    return *found;
}

std::string ScenarioParser::textOf(const JsonNode& node, const std::string& where,
                                   std::size_t longest) {
    if (!node.is(Node::kText)) complain(node, where, mustBe("a text", node));
    if (node.text.size() > longest) {
        complain(node, where,
                 "is longer than " + std::to_string(longest) + " characters; shorten it");
    }
    return node.text;
}

std::int64_t ScenarioParser::integerOf(const JsonNode& node, const std::string& where,
                                       std::int64_t least, std::int64_t most) {
    if (!node.is(Node::kInteger)) complain(node, where, mustBe("a whole number", node));
    if (node.integer < least || node.integer > most) {
        complain(node, where,
                 std::to_string(node.integer) + " is out of range; give a number from " +
                     std::to_string(least) + " to " + std::to_string(most));
    }
    return node.integer;
}

int ScenarioParser::smallOf(const JsonNode& node, const std::string& where, int least, int most) {
    return static_cast<int>(integerOf(node, where, least, most));
}

bool ScenarioParser::flagOf(const JsonNode& node, const std::string& where) {
    if (!node.is(Node::kBool)) complain(node, where, mustBe("true or false", node));
    return node.flag;
}

const JsonNode& ScenarioParser::listOf(const JsonNode& node, const std::string& where) {
    if (!node.is(Node::kList)) complain(node, where, mustBe("a list", node));
    return node;
}

void ScenarioParser::allowOnly(const JsonNode& object, const Names& known,
                               const std::string& where) {
    for (const auto& [name, value] : object.members) {
        if (std::find(known.begin(), known.end(), name) != known.end()) continue;
        complain(*value, where + "." + name, "is an unknown key" + suggestion(name, known));
    }
}

void ScenarioParser::complain(const JsonNode& node, const std::string& where,
                              const std::string& what) {
    throw Complaint{fileName + ":" + std::to_string(node.line) + ": " + where + ": " + what};
}
