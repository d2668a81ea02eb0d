#include "agent/commands/ConfigVerb.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "agent/EngineFolder.h"
#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/commands/CommandSettings.h"
#include "agent/commands/ConfigCheck.h"
#include "agent/settings/EngineConfig.h"
#include "agent/settings/SettingsSchema.h"
#include "agent/web/WebToken.h"

namespace {

using Json = nlohmann::ordered_json;
using Kind = SettingValue::Kind;

constexpr char kHidden[] = "********";
constexpr std::size_t kValueWidth = 44;

bool namesASecret(const std::string& name) {
    std::string lower = name;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const auto has = [&](const char* word) { return lower.find(word) != std::string::npos; };
    return has("key") || has("token") || has("secret") || has("auth") || has("password");
}

// A hash is no secret, but it is nobody's business; headers can carry what a key of its own should.
SettingValue masked(const std::string& path, SettingValue value) {
    if (path == "http.token_hash" && !value.text.empty()) value.text = kHidden;
    for (auto& [name, member] : value.members) {
        if (namesASecret(name)) member.text = kHidden;
    }
    return value;
}

Json valueJson(const SettingValue& value) {
    switch (value.kind) {
        case Kind::kText:
            return value.text;
        case Kind::kNumber:
            return value.number;
        case Kind::kFlag:
            return value.number != 0;
        case Kind::kList: {
            Json list = Json::array();
            for (const SettingValue& item : value.items) list.push_back(valueJson(item));
            return list;
        }
        case Kind::kTable: {
            Json table = Json::object();
            for (const auto& [key, member] : value.members) table[key] = valueJson(member);
            return table;
        }
        case Kind::kOther:
            break;
    }
    return nullptr;
}

// "key = value" with where it comes from in a column of its own.
std::string settingLine(const std::string& setting, const std::string& origin) {
    const std::string safe = safeText(setting);
    const std::size_t width = textWidth(safe);
    return safe + std::string(width < kValueWidth ? kValueWidth - width : 1, ' ') + " # " +
           safeText(origin) + "\n";
}

std::string engineFolderOf(const AgentSettings& settings) {
    const std::string folder =
        settings.engineFolder.empty() ? EngineFolder::libraryFolder() : settings.engineFolder;
    return folder.back() == '/' ? folder : folder + "/";
}

std::string showText(const SettingsReader& reader, const EngineConfig& engine) {
    std::string text;
    std::string table;
    for (const auto& [path, value] : reader.values()) {
        const std::size_t dot = path.rfind('.');
        if (path.substr(0, dot) != table) {
            table = path.substr(0, dot);
            text += (text.empty() ? "[" : "\n[") + table + "]\n";
        }
        text += settingLine(path.substr(dot + 1) + " = " + writtenText(masked(path, value)),
                            reader.origins().at(path));
    }
    text += "\n# the engine's own settings, " + safeText(engine.file) + "\n";
    for (const EngineConfig::Value& value : engine.values) {
        text +=
            settingLine("# " + value.key + "=" + value.value, value.set ? engine.file : "default");
    }
    return text;
}

Json showJson(const SettingsReader& reader, const EngineConfig& engine) {
    Json values = Json::array();
    for (const auto& [path, value] : reader.values()) {
        values.push_back({{"key", path},
                          {"value", valueJson(masked(path, value))},
                          {"origin", reader.origins().at(path)}});
    }
    Json own = Json::array();
    for (const EngineConfig::Value& value : engine.values) {
        own.push_back({{"key", value.key},
                       {"value", value.value},
                       {"origin", value.set ? engine.file : "default"}});
    }
    return {{"files", reader.files()},
            {"values", values},
            {"engine", {{"file", engine.file}, {"values", own}}}};
}

}  // namespace

void ConfigVerb::declare(Flags& flags) {
    flags
        .verb("check", "name every problem with file and line, or say that all is in order", chosen)
        .flag("--json", json, "one JSON document");
    flags
        .verb("show", "what is in force, and where each value comes from; secrets are hidden",
              chosen)
        .flag("--json", json, "one JSON document");
    flags.verb("schema", "every key with its type, range, default and meaning", chosen)
        .flag("--json", json, "as JSON Schema");
    flags.verb("token", "make a token for the page, and its hash for token_hash in [http]", chosen)
        .flag("--json", json, "one JSON document");
}

int ConfigVerb::run(const Context& context) {
    if (chosen == "check") return check(context);
    if (chosen == "show") return show(context);
    if (chosen == "token") return token(context);
    return schema(context);
}

int ConfigVerb::check(const Context& context) const {
    const ConfigCheck result = checkConfig(settingsReader(context));
    if (json) {
        context.out.line(jsonLine({{"ok", result.problems.empty()},
                                   {"files", result.files},
                                   {"problems", result.problems}}));
    } else {
        for (const std::string& problem : result.problems) context.out.line(safeText(problem));
        if (result.problems.empty()) context.out.line(safeText(result.verdict()));
        if (!result.advice.empty()) context.note(result.advice + "; " + result.cure);
    }
    return result.problems.empty() ? Failure::kDone : Failure::kBadUse;
}

int ConfigVerb::show(const Context& context) const {
    SettingsReader reader = settingsReader(context);
    const AgentSettings settings = readSettings(context, reader);
    const EngineConfig engine = EngineConfig::read(engineFolderOf(settings));
    if (!engine.problem.empty()) context.note(engine.problem);
    context.out.write(json ? jsonLine(showJson(reader, engine)) + "\n" : showText(reader, engine));
    return Failure::kDone;
}

int ConfigVerb::schema(const Context& context) const {
    context.out.write(json ? SettingsSchema::json().dump(2) + "\n"
                           : SettingsSchema::text(context.style.columns));
    return Failure::kDone;
}

int ConfigVerb::token(const Context& context) const {
    const std::string made = WebToken::make();
    const std::string hash = WebToken::hash(made);
    if (json) {
        context.out.line(jsonLine({{"token", made}, {"token_hash", hash}}));
        return Failure::kDone;
    }
    context.out.write("# For those who may look; it is shown only now:\n# " + made +
                      "\n\n# For raidwatch.toml:\n[http]\ntoken_hash = \"" + hash + "\"\n");
    return Failure::kDone;
}
