// docs/formats/scenario.md and scenario.schema.json say what the rows of the code say. With
// QEL_APPROVE=1 in the environment the tables of the page and the schema are written anew.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "storlib/sources/ScenarioKind.h"
#include "storlib/sources/ScenarioRecord.h"
#include "tests/support/EventText.h"
#include "tests/support/ScenarioPlay.h"
#include "tests/support/TempDir.h"

namespace {

using Json = nlohmann::ordered_json;
using Type = ScenarioField::Type;

constexpr char kBegin[] = "<!-- written from the code: begin -->\n";
constexpr char kEnd[] = "<!-- written from the code: end -->\n";

std::string contentsOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void compareOrApprove(const std::string& file, const std::string& expected) {
    if (std::getenv("QEL_APPROVE") != nullptr) {
        std::ofstream(file, std::ios::binary | std::ios::trunc) << expected;
        return;
    }
    EXPECT_EQ(contentsOf(file), expected) << file << " is not up to date";
}

std::string pathOf(const char* name) {
    return std::string(QEL_SOURCE_DIR) + "/docs/formats/" + name;
}

// --- the tables of the page ---

std::string quotedWords(const ScenarioField& field) {
    std::string text;
    for (const ScenarioField::Word& word : field.words) {
        text += (text.empty() ? "" : ", ") +
                ("`" + std::string(word.name) + "` " + std::to_string(word.number));
    }
    return text;
}

// Bounds are told where they are closer than 32 bits with a sign.
std::string bounds(const ScenarioField& field) {
    if (field.least == INT32_MIN && field.most == INT32_MAX) return std::string();
    if (field.most == INT64_MAX) return " from " + std::to_string(field.least);
    return " " + std::to_string(field.least) + " to " + std::to_string(field.most);
}

std::string valueOf(const ScenarioField& field) {
    switch (field.type) {
        case Type::kInteger:
            return "number" + bounds(field);
        case Type::kFlag:
            return "true or false";
        case Type::kText:
            return "text, at most " + std::to_string(field.longest) + " bytes";
        case Type::kWwn:
            return "text of 16 hexadecimal digits";
        case Type::kWord:
            return "word or number: " + quotedWords(field);
        case Type::kNumberList:
            return "list of at most " + std::to_string(field.longest) + " numbers" + bounds(field);
        case Type::kWordList:
            return "list of at most " + std::to_string(field.longest) + " words or numbers" +
                   bounds(field) + ": " + quotedWords(field);
    }
    return std::string();
}

std::string tableOf(const ScenarioKind& kind) {
    std::string text =
        "### " + std::string(kind.name) + "\n\n| key | value | meaning |\n|---|---|---|\n";
    for (const ScenarioField& field : kind.fields) {
        text += "| `" + std::string(field.name) + "` | " + valueOf(field) + " | " + field.purpose +
                (field.required ? "; needed" : "") + " |\n";
    }
    for (const ScenarioKind::Holds& holds : kind.lists) {
        text += "| `" + std::string(holds.list) + "` | list of " + holds.kind + " | |\n";
    }
    return text + "\n";
}

std::string recordTable() {
    std::string text =
        "### Records by name\n\n| `what` | category | code | qual | about a "
        "|\n|---|---|---|---|---|\n";
    for (const ScenarioRecord& row : ScenarioRecord::all()) {
        text += "| `" + std::string(row.name) + "` | " + std::to_string(row.category) + " | " +
                std::to_string(row.code) + " | " + std::to_string(row.qual) + " | " + row.kind +
                " |\n";
    }
    return text + "\n";
}

std::string tables() {
    std::string text = "\n";
    for (const ScenarioKind& kind : ScenarioKind::all()) text += tableOf(kind);
    return text + recordTable();
}

TEST(ScenarioReference, GivenThePageThenItsTablesAreThoseOfTheCode) {
    const std::string file = pathOf("scenario.md");
    const std::string page = contentsOf(file);
    const std::string::size_type begin = page.find(kBegin);
    const std::string::size_type end = page.find(kEnd);
    ASSERT_NE(std::string::npos, begin);
    ASSERT_NE(std::string::npos, end);
    compareOrApprove(
        file, page.substr(0, begin + std::string(kBegin).size()) + tables() + page.substr(end));
}

TEST(ScenarioReference, GivenTheExampleOfThePageThenItShowsWhatThePageSays) {
    const std::string page = contentsOf(pathOf("scenario.md"));
    constexpr char kFence[] = "```json\n";
    const std::string::size_type begin = page.find(kFence);
    ASSERT_NE(std::string::npos, begin);
    const std::string::size_type first = begin + std::string(kFence).size();
    const TempDir dir;
    const ScenarioPlay play(
        dir.write("example.json", page.substr(first, page.find("```", first) - first)),
        MonitorRoom::catalogueOfKeys());
    ASSERT_EQ(3u, play.moments().size());
    EXPECT_EQ("401/1 499/1 399/3 301/2", summary(play.moments()[1].events));
    EXPECT_EQ("403/3 399/3 304/4", summary(play.moments()[2].events));
}

// --- the schema ---

Json integer(std::int64_t least, std::int64_t most) {
    Json type = {{"type", "integer"}, {"minimum", least}};
    if (most != INT64_MAX) type["maximum"] = most;
    return type;
}

Json flag() { return {{"type", "boolean"}}; }

Json text(std::size_t longest = 4096) { return {{"type", "string"}, {"maxLength", longest}}; }

Json id() { return {{"type", "string"}, {"minLength", 1}, {"maxLength", 4096}}; }

Json listOf(const Json& items) { return {{"type", "array"}, {"items", items}}; }

Json reference(const std::string& name) { return {{"$ref", "#/$defs/" + name}}; }

Json object(const Json& properties, const std::vector<std::string>& required) {
    Json type = {{"type", "object"}, {"properties", properties}, {"additionalProperties", false}};
    if (!required.empty()) type["required"] = required;
    return type;
}

Json word(const ScenarioField& field) {
    if (field.words.empty()) return integer(field.least, field.most);
    Json names = Json::array();
    for (const ScenarioField::Word& row : field.words) names.push_back(row.name);
    return {{"anyOf", Json::array({Json{{"enum", names}}, integer(field.least, field.most)})}};
}

Json typeOf(const ScenarioField& field) {
    switch (field.type) {
        case Type::kInteger:
            return integer(field.least, field.most);
        case Type::kFlag:
            return flag();
        case Type::kText:
            return text(field.longest);
        case Type::kWwn:
            return {{"type", "string"}, {"pattern", "^[0-9a-fA-F]{16}$"}};
        case Type::kWord:
            return word(field);
        case Type::kNumberList:
        case Type::kWordList: {
            Json list = listOf(word(field));
            list["maxItems"] = field.longest;
            return list;
        }
    }
    return Json();
}

Json fieldsOf(const ScenarioKind& kind) {
    Json properties = Json::object();
    for (const ScenarioField& field : kind.fields) {
        Json type = typeOf(field);
        type["description"] = field.purpose;
        properties[field.name] = type;
    }
    return properties;
}

Json kindSchema(const ScenarioKind& kind) {
    Json properties = {{"id", id()}, {"copies", integer(1, 10000)}};
    properties.update(fieldsOf(kind));
    std::vector<std::string> required;
    for (const ScenarioField& field : kind.fields) {
        if (field.required) required.emplace_back(field.name);
    }
    for (const ScenarioKind::Holds& holds : kind.lists) {
        properties[holds.list] = listOf(reference(holds.kind));
    }
    return object(properties, required);
}

Json recordSchema() {
    Json names = Json::array();
    for (const ScenarioRecord& row : ScenarioRecord::all()) names.push_back(row.name);
    const Json named = object(
        {{"what", {{"enum", names}}}, {"about", id()}, {"description", text()}}, {"what", "about"});
    const Json number = integer(0, INT32_MAX);
    const Json coded = object({{"code", number},
                               {"category", number},
                               {"qual", number},
                               {"status", number},
                               {"path", text()},
                               {"about", id()},
                               {"description", text()}},
                              {});
    return {{"anyOf", Json::array({named, coded})}};
}

Json changeSchema() {
    Json sets = Json::array();
    Json adds = Json::object();
    adds["controllers"] = reference("controller");
    for (const ScenarioKind& kind : ScenarioKind::all()) {
        sets.push_back(reference(std::string(kind.name) + "Fields"));
        for (const ScenarioKind::Holds& holds : kind.lists)
            adds[holds.list] = reference(holds.kind);
    }
    Json add = object(adds, {});
    add["minProperties"] = 1;
    add["maxProperties"] = 1;
    const Json reading = {{"enum", {"configuration", "tasks", "events"}}};
    return {{"oneOf",
             Json::array({object({{"set", id()}, {"to", {{"minProperties", 1}, {"anyOf", sets}}}},
                                 {"set", "to"}),
                          object({{"add", add}, {"in", id()}}, {"add"}),
                          object({{"remove", id()}}, {"remove"}),
                          object({{"restore", id()}}, {"restore"}),
                          object({{"record", reference("record")}, {"from", id()}}, {"record"}),
                          object({{"fail", reading}, {"of", id()}}, {"fail"}),
                          object({{"recover", reading}, {"of", id()}}, {"recover"}),
                          object({{"slow", integer(0, 3600000)}}, {"slow"})})}};
}

Json stepSchema() {
    return object({{"name", text()},
                   {"after", integer(1, 1000000)},
                   {"seconds", integer(1, 315360000)},
                   {"hours", integer(1, 87600)},
                   {"days", integer(1, 3650)},
                   {"restart", flag()},
                   {"announce", flag()},
                   {"changes", listOf(reference("change"))}},
                  {});
}

Json schema() {
    Json definitions = Json::object();
    for (const ScenarioKind& kind : ScenarioKind::all()) definitions[kind.name] = kindSchema(kind);
    for (const ScenarioKind& kind : ScenarioKind::all()) {
        definitions[std::string(kind.name) + "Fields"] = object(fieldsOf(kind), {});
    }
    definitions["record"] = recordSchema();
    definitions["change"] = changeSchema();
    definitions["step"] = stepSchema();
    Json whole = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                  {"title", "Scenario: simulated controllers and what happens to them"}};
    whole.update(object({{"scenario", {{"const", 1}}},
                         {"title", text()},
                         {"story", text()},
                         {"controllers", listOf(reference("controller"))},
                         {"steps", listOf(reference("step"))}},
                        {"scenario", "title", "controllers"}));
    whole["$defs"] = definitions;
    return whole;
}

TEST(ScenarioReference, GivenTheSchemaThenItIsThatOfTheCode) {
    compareOrApprove(pathOf("scenario.schema.json"), schema().dump(1) + "\n");
}

}  // namespace
