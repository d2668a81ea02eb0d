#include "agent/settings/SettingsSchema.h"

#include <vector>

#include <nlohmann/json.hpp>

#include "agent/SafeText.h"
#include "agent/settings/Quantity.h"
#include "agent/settings/SectionKeys.h"
#include "agent/settings/SinkKeys.h"

namespace {

using Json = nlohmann::ordered_json;

// One key as it is shown: SectionKey and SinkKey alike.
struct Line {
    const SettingKey* row;
    std::string otherwise;  // "" for none
};

struct Group {
    std::string heading;  // "[monitor]"
    std::string purpose;
    std::vector<Line> lines;
    std::string rule;  // what no single key says
};

std::string defaultText(const SettingKey& row) {
    const SettingValue value = defaultValue(row);
    return value.kind == SettingValue::Kind::kOther ? "" : writtenText(value);
}

Group groupOf(const Section& section) {
    Group group{std::string("[") + section.name + "]", section.purpose, {}, ""};
    for (const SectionKey& key : sectionKeys()) {
        if (group.heading != "[" + std::string(key.row.type) + "]") continue;
        group.lines.push_back({&key.row, writtenText(memberValue(key, AgentSettings()))});
    }
    return group;
}

Group sinkGroup(const std::string& type, const std::string& heading, const std::string& purpose) {
    Group group{heading, purpose, {}, ""};
    for (const SinkKey& row : sinkKeys()) {
        if (type == row.type) group.lines.push_back({&row, defaultText(row)});
    }
    if (const SinkType* const known = findSinkType(type)) {
        if (known->oneOf[0] != nullptr) {
            group.rule =
                std::string("Needs either ") + known->oneOf[0] + " or " + known->oneOf[1] + ".";
        } else if (group.lines.empty()) {
            group.rule = "Has no keys of its own.";
        }
    }
    return group;
}

std::vector<Group> allGroups() {
    std::vector<Group> groups;
    for (const Section& section : sections()) groups.push_back(groupOf(section));
    groups.push_back(sinkGroup("", "[sink.NAME]", "one way to tell somebody; keys of every sink"));
    for (const SinkType& type : sinkTypeList()) {
        groups.push_back(
            sinkGroup(type.type, std::string("type = \"") + type.type + "\"", type.purpose));
    }
    return groups;
}

std::string allowedTypes() {
    std::string words;
    for (const SinkType& type : sinkTypeList()) {
        words += (words.empty() ? "" : ", ") + std::string(type.type);
    }
    return words;
}

std::string withCommas(const std::string& words) {
    std::string text;
    for (const char c : words) text += c == '|' ? std::string(", ") : std::string(1, c);
    return text;
}

const char* kindText(SettingKey::Kind kind) {
    switch (kind) {
        case SettingKey::kText:
            return "text";
        case SettingKey::kList:
            return "list of texts";
        case SettingKey::kTable:
            return "table of texts";
        case SettingKey::kSeconds:
            return "time";
        case SettingKey::kFlag:
            return "true or false";
        case SettingKey::kNumber:
            return "number";
        case SettingKey::kSecretFile:
            return "path of a secret file";
        case SettingKey::kPath:
            return "path";
        case SettingKey::kUrl:
            return "URL";
        case SettingKey::kUrlList:
            return "list of URLs";
        case SettingKey::kSize:
            return "size";
        case SettingKey::kSecondsList:
            return "list of times";
        case SettingKey::kNumberList:
            break;
    }
    return "list of numbers";
}

bool isTime(const SettingKey& row) {
    return row.kind == SettingKey::kSeconds || row.kind == SettingKey::kSecondsList;
}

std::string limitText(const SettingKey& row, std::int64_t limit) {
    if (isTime(row)) return writtenDuration(limit);
    return row.kind == SettingKey::kSize ? writtenSize(limit) : std::to_string(limit);
}

bool isUrl(const SettingKey& row) {
    return row.kind == SettingKey::kUrl || row.kind == SettingKey::kUrlList;
}

// "text: error, warning, info", "time, 1s to 1h"
std::string typeText(const SettingKey& row) {
    std::string text = kindText(row.kind);
    if (std::string(row.key) == "type") text += ": " + allowedTypes();
    if (isUrl(row)) return text + ", " + withCommas(row.words);
    if (*row.words != 0) text += ": " + withCommas(row.words);
    if (row.most != 0) {
        text += ", " + limitText(row, row.least) + " to " + limitText(row, row.most);
    }
    return text;
}

std::string necessity(const Line& line) {
    // The sink that is called "journal" is the one that needs no type.
    if (line.row->required) return "required";
    return line.otherwise.empty() ? "no default" : "default " + line.otherwise;
}

std::string indented(const std::string& text, const std::string& lead, std::size_t columns) {
    const std::size_t width = columns > lead.size() + 20 ? columns - lead.size() : 0;
    std::string lines;
    for (const std::string& line : wrapText(text, width)) lines += lead + line + "\n";
    return lines;
}

// --- JSON Schema ---

Json wholeNumber(const SettingKey& row) {
    Json schema = {{"type", "integer"}};
    if (row.most != 0) {
        schema["minimum"] = row.least;
        schema["maximum"] = row.most;
    }
    return schema;
}

Json textOf(const char* pattern) { return {{"type", "string"}, {"pattern", pattern}}; }

Json elementSchema(const SettingKey& row) {
    if (isTime(row)) {
        return {{"anyOf", {wholeNumber(row), textOf("^([0-9]+|([0-9]+[smhdw])+)$")}}};
    }
    if (row.kind == SettingKey::kSize) {
        return {{"anyOf", {wholeNumber(row), textOf("^[0-9]+[KMGT]?$")}}};
    }
    if (row.kind == SettingKey::kNumber || row.kind == SettingKey::kNumberList) {
        return wholeNumber(row);
    }
    if (row.kind == SettingKey::kFlag) return {{"type", "boolean"}};
    if (isUrl(row)) return textOf(("^(" + std::string(row.words) + ")://").c_str());
    if (row.kind == SettingKey::kPath || row.kind == SettingKey::kSecretFile) {
        return textOf(row.kind == SettingKey::kPath ? "^(/|$)" : "^/");
    }
    Json schema = {{"type", "string"}};
    Json words = Json::array();
    std::string word;
    for (const char c : std::string(row.words) + "|") {
        if (c != '|') {
            word += c;
        } else if (!word.empty()) {
            words.push_back(word);
            word.clear();
        }
    }
    if (!words.empty()) schema["enum"] = words;
    return schema;
}

Json keySchema(const SettingKey& row) {
    Json schema;
    switch (row.kind) {
        case SettingKey::kList:
        case SettingKey::kUrlList:
        case SettingKey::kSecondsList:
        case SettingKey::kNumberList:
            schema = {{"type", "array"}, {"items", elementSchema(row)}};
            if (row.required) schema["minItems"] = 1;
            break;
        case SettingKey::kTable:
            schema = {{"type", "object"}, {"additionalProperties", {{"type", "string"}}}};
            break;
        default:
            schema = elementSchema(row);
    }
    schema["description"] = row.help;
    return schema;
}

Json objectSchema(const std::string& purpose) {
    return {{"type", "object"},
            {"description", purpose},
            {"properties", Json::object()},
            {"additionalProperties", false}};
}

Json sinkSchema(const SinkType& type) {
    Json schema = objectSchema(type.purpose);
    Json required = Json::array({"type"});
    for (const SinkKey* row : sinkKeysOf(type.type)) {
        schema["properties"][row->written()] = keySchema(*row);
        if (row->required && *row->type != 0) required.push_back(row->written());
    }
    schema["properties"]["type"] = {{"const", type.type}};
    schema["required"] = required;
    if (type.oneOf[0] != nullptr) {
        schema["oneOf"] = {{{"required", {type.oneOf[0]}}}, {{"required", {type.oneOf[1]}}}};
    }
    return schema;
}

// A table with nothing but common keys: the journal that is always there, or a sink whose other
// half stands in another file. A file alone cannot be asked for more.
Json sinkTables() {
    Json kinds = Json::array();
    for (const SinkType& type : sinkTypeList()) kinds.push_back(sinkSchema(type));
    Json journal = sinkSchema(*findSinkType("journal"));
    journal.erase("required");
    return {{"type", "object"},
            {"properties", {{"journal", {{"anyOf", {journal, {{"oneOf", kinds}}}}}}}},
            {"additionalProperties", {{"oneOf", kinds}}}};
}

constexpr char kBefore[] = R"(# raidwatch.toml

The configuration of `raidwatch`. This page is made from the program: `raidwatch config schema` prints
the same. No file is needed: without one the defaults hold, and the journal is told.

The file is [TOML](https://toml.io). It is `/etc/raidwatch/raidwatch.toml`, or what `--config` names; the
files `conf.d/*.toml` beside it are read after it, in name order. A later file wins key by key, so a
site changes one key, or adds a sink, by dropping a file. `raidwatch config check` names every problem
with its file and line, `raidwatch config show` says where each value comes from.

* **Times** are texts such as "30s", "5m", "2h", "7d" or "1h30m", or whole numbers of seconds.
* **Sizes** are texts such as "64K" or "10M" (of 1024), or whole numbers of bytes.
* **Secrets** never stand in the file. `password_file = "/etc/raidwatch/mail.password"` names a file that
  holds nothing else and that only its owner can read (`chmod 600`).
* **Each sink** is a table `[sink.NAME]`; the name is yours. A sink "journal" is always there; `enabled =
  false` below `[sink.journal]` switches it off.
* A file that others than root may write is refused when raidwatch runs as root, because it can name
  programs to run.

## Example

```toml
[monitor]
source = "linux"

[incidents]
reminders = ["1d", "2d", "7d"]

[sink.ops]
type = "mail"
url = "smtps://mx.example.net"
from = "raidwatch@host.example.net"
to = ["ops@example.net"]
user = "raidwatch"
password_file = "/etc/raidwatch/mail.password"

[sink.hooks]
type = "exec"
dir = "/etc/raidwatch/hooks.d"
min_severity = "warning"
timeout = "1m"
```
)";

}  // namespace

std::string SettingsSchema::text(std::size_t columns) {
    std::string all;
    for (const Group& group : allGroups()) {
        all +=
            (all.empty() ? "" : "\n") + indented(group.heading + "  " + group.purpose, "", columns);
        for (const Line& line : group.lines) {
            all +=
                indented(line.row->written() + "  " + typeText(*line.row) + "; " + necessity(line),
                         "  ", columns);
            all += indented(line.row->help, "      ", columns);
        }
        if (!group.rule.empty()) all += indented(group.rule, "  ", columns);
    }
    return all;
}

std::string SettingsSchema::markdown() {
    std::string page = kBefore;
    for (const Group& group : allGroups()) {
        page += "\n## `" + group.heading + "`: " + group.purpose + "\n\n";
        if (!group.lines.empty()) page += "| key | type | | meaning |\n|---|---|---|---|\n";
        for (const Line& line : group.lines) {
            page += "| `" + line.row->written() + "` | " + typeText(*line.row) + " | " +
                    necessity(line) + " | " + line.row->help + " |\n";
        }
        if (!group.rule.empty()) page += (group.lines.empty() ? "" : "\n") + group.rule + "\n";
    }
    return page;
}

nlohmann::ordered_json SettingsSchema::json() {
    Json properties = Json::object();
    for (const Section& section : sections()) {
        Json table = objectSchema(section.purpose);
        for (const SectionKey& key : sectionKeys()) {
            if (std::string(section.name) != key.row.type) continue;
            table["properties"][key.row.key] = keySchema(key.row);
        }
        properties[section.name] = table;
    }
    properties["sink"] = sinkTables();
    return {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
            {"title", "raidwatch.toml"},
            {"type", "object"},
            {"properties", properties},
            {"additionalProperties", false}};
}
