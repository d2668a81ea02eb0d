#include "agent/settings/SettingsReader.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <utility>

#include "agent/SafeText.h"
#include "agent/settings/Quantity.h"
#include "agent/settings/SectionKeys.h"
#include "agent/settings/SettingsFiles.h"
#include "agent/settings/SinkKeys.h"
#include "agent/settings/Spelling.h"
#include "agent/settings/ValueChecker.h"
#include "agent/web/WebAddress.h"
#include "agent/web/WebToken.h"
#include "events/EnumEventType.h"
#include "storlib/sources/SourceRegistry.h"

namespace {

// The words that SinkKeys allows; "info" is the default.
int severityOf(const std::string& word) {
    if (word == "error") return kEventError;
    if (word == "warning") return kEventWarning;
    if (word == "task") return kEventTask;
    return word == "progress" ? kEventProgress : kEventInformation;
}

using Kind = SettingValue::Kind;

std::string joined(const std::vector<std::string>& words, const char* between) {
    return ValueChecker::joined(words, between);
}

std::string shown(const std::string& text) { return ValueChecker::shown(text); }

std::string nameOf(const SettingValue& value) { return ValueChecker::nameOf(value); }

// Fills AgentSettings from the values of all files.
class Filling {
public:
    Filling(SettingsFiles& filesIN, AgentSettings& settingsIN,
            std::map<std::string, std::string>& originIN,
            std::map<std::string, SettingValue>& valuesIN)
        : files(filesIN),
          problems(filesIN.problems()),
          check(filesIN.problems()),
          settings(settingsIN),
          origin(originIN),
          values(valuesIN) {}

    void fill() {
        takeDefaults();
        for (const auto& [name, value] : files.root().members) {
            if (name == "sink") {
                takeSinks(value);
            } else {
                takeSection(name, value);
            }
        }
        checkHttp();
        if (settings.sinks.count("journal") == 0 && !journalConfigured) addJournal();
    }

private:
    void takeDefaults() {
        for (const SectionKey& key : sectionKeys()) {
            const std::string path = std::string(key.row.type) + "." + key.row.key;
            origin[path] = "default";
            values[path] = memberValue(key, settings);
        }
    }

    // --- [monitor] and the others ---

    void takeSection(const std::string& name, const SettingValue& value) {
        std::vector<std::string> known;
        for (const Section& section : sections()) known.push_back(section.name);
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            known.push_back("sink");
            check.fail(value,
                       "there is no table [" + safeText(name) + "]" +
                           suggestion(name, known, "; raidwatch config schema lists them all"));
            return;
        }
        if (value.kind != Kind::kTable) {
            check.fail(value,
                       name + " is " + nameOf(value) + "; write it as a table, [" + name + "]");
            return;
        }
        for (const auto& [key, member] : value.members) takeSectionKey(name, key, member);
    }

    void takeSectionKey(const std::string& section, const std::string& key,
                        const SettingValue& value) {
        std::vector<std::string> known;
        for (const SectionKey& row : sectionKeys()) {
            if (section != row.row.type) continue;
            known.push_back(row.row.key);
            if (key == row.row.key) {
                if (takeMember(row, value)) remember(section + "." + key, value);
                return;
            }
        }
        check.fail(value, "[" + section + "] has no key " + safeText(key) +
                              suggestion(key, known, "; it has " + joined(known, ", ")));
    }

    bool takeMember(const SectionKey& key, const SettingValue& value) {
        if (const auto* text = std::get_if<std::string AgentSettings::*>(&key.member)) {
            return check.text(key.row, value, settings.**text) && isUsable(key.row, value);
        }
        if (const auto* seconds = std::get_if<std::int64_t AgentSettings::*>(&key.member)) {
            return check.number(key.row, value, settings.**seconds);
        }
        if (const auto* whole = std::get_if<int AgentSettings::*>(&key.member)) {
            std::int64_t number = 0;
            if (!check.number(key.row, value, number)) return false;
            settings.** whole = static_cast<int>(number);
            return true;
        }
        if (const auto* words =
                std::get_if<std::vector<std::string> AgentSettings::*>(&key.member)) {
            return check.list(key.row, value, settings.**words);
        }
        return check.numbers(
            key.row, value,
            settings.*std::get<std::vector<std::int64_t> AgentSettings::*>(key.member));
    }

    // What the row alone cannot say.
    bool isUsable(const SettingKey& row, const SettingValue& value) {
        const std::string key = row.key;
        if (key == "source") {
            std::vector<std::string> kinds;
            const std::string kind = value.text.substr(0, value.text.find(':'));
            for (const SourceRegistry::Kind& one : SourceRegistry::kinds()) {
                kinds.push_back(one.name);
            }
            if (std::find(kinds.begin(), kinds.end(), kind) != kinds.end()) return true;
            return check.fail(
                value, "source is " + shown(value.text) + "; begin it with " + joined(kinds, ", "));
        }
        if (key == "token_hash" && !value.text.empty()) {
            const std::string problem = WebToken::problemOf(value.text);
            return problem.empty() || check.fail(value, "token_hash " + problem);
        }
        const bool mayBeEmpty = key == "language" || key == "engine" || key == "token_hash";
        if (value.text.empty() && !mayBeEmpty) {
            return check.fail(value, key + " is empty; remove the line to get the default");
        }
        return true;
    }

    // What only all of [http] together can say.
    void checkHttp() {
        const SettingValue& listen = values["http.listen"];
        for (std::size_t i = 0; i < settings.httpListen.size(); ++i) {
            const SettingValue& place = i < listen.items.size() ? listen.items[i] : listen;
            WebAddress address;
            const std::string problem =
                WebAddress::parse(settings.httpListen[i], settings.runFolder, address);
            if (!problem.empty()) {
                check.fail(place, "listen: " + problem);
            } else if (!address.isLocal() && settings.httpTokenHash.empty()) {
                check.fail(place, "listen: others than this machine can reach " +
                                      shown(settings.httpListen[i]) +
                                      ", so a token is needed; raidwatch config token makes one, "
                                      "for token_hash in [http]");
            }
        }
    }

    // --- [sink.NAME] ---

    void takeSinks(const SettingValue& value) {
        if (value.kind != Kind::kTable) {
            check.fail(value,
                       "sink is " + nameOf(value) + "; write each sink as a table, [sink.NAME]");
            return;
        }
        for (const auto& [name, table] : value.members) {
            if (table.kind != Kind::kTable) {
                check.fail(table, "sink." + safeText(name) + " is " + nameOf(table) +
                                      "; write each sink as a table, [sink.NAME]");
            } else if (!isSinkName(name)) {
                check.fail(table, "a sink cannot be called " + shown(name) +
                                      "; use up to 40 letters, digits, - and _");
            } else {
                takeSink(name, table);
            }
        }
    }

    static bool isSinkName(const std::string& name) {
        return !name.empty() && name.size() <= 40 &&
               std::all_of(name.begin(), name.end(), [](char c) {
                   return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                          (c >= '0' && c <= '9') || c == '-' || c == '_';
               });
    }

    void takeSink(const std::string& name, const SettingValue& table) {
        if (name == "journal") journalConfigured = true;
        SinkSettings sink;
        sink.name = name;
        sink.where = problems.where(table);
        const bool enabled = isEnabled(table);
        if (!takeType(table, sink)) return;
        const std::string path = "sink." + name + ".";
        bool good = true;
        for (const auto& [key, value] : table.members) {
            const SinkKey* const row = rowOf(sink, key, value);
            if (row == nullptr) {
                good = false;
                continue;
            }
            // A sink that is switched off needs no secret yet.
            if (!enabled && row->kind == SettingKey::kSecretFile) continue;
            good = takeSinkKey(*row, value, sink) && good;
            remember(path + key, value);
        }
        if (!enabled) return;
        good = hasWhatItNeeds(table, sink) && good;
        if (good) addSink(sink);
    }

    bool isEnabled(const SettingValue& table) const {
        const auto found = table.members.find("enabled");
        return found == table.members.end() || found->second.kind != Kind::kFlag ||
               found->second.number != 0;
    }

    bool takeType(const SettingValue& table, SinkSettings& sink) {
        const auto found = table.members.find("type");
        if (found == table.members.end()) {
            sink.type = sink.name == "journal" ? "journal" : "";
            if (!sink.type.empty()) return true;
            if (!files.complete()) return false;
            return check.fail(table, "[sink." + sink.name + "] has no type; add type = \"" +
                                         guessedType(sink.name) + "\" or another of " +
                                         joined(typeNames(), ", "));
        }
        const SettingValue& value = found->second;
        if (value.kind == Kind::kText && findSinkType(value.text) != nullptr) {
            sink.type = value.text;
            return true;
        }
        if (value.kind != Kind::kText) {
            return check.fail(value, "type is " + nameOf(value) + "; it must be a text, in quotes");
        }
        return check.fail(
            value, "there is no sink of type " + shown(value.text) +
                       suggestion(value.text, typeNames(), "; use " + joined(typeNames(), ", ")));
    }

    static std::vector<std::string> typeNames() {
        std::vector<std::string> names;
        for (const SinkType& type : sinkTypeList()) names.push_back(type.type);
        return names;
    }

    static std::string guessedType(const std::string& name) {
        return findSinkType(name) != nullptr ? name : "mail";
    }

    const SinkKey* rowOf(const SinkSettings& sink, const std::string& key,
                         const SettingValue& value) {
        std::vector<std::string> known;
        for (const SinkKey* row : sinkKeysOf(sink.type)) {
            if (key == row->written()) return row;
            if (key == row->key) {
                check.fail(value,
                           "a secret does not belong into this file; write it into a file "
                           "of its own, chmod 600 it, and set " +
                               row->written());
                return nullptr;
            }
            known.push_back(row->written());
        }
        check.fail(value, "a sink of type " + sink.type + " has no key " + safeText(key) +
                              suggestion(key, known, "; it has " + joined(known, ", ")));
        return nullptr;
    }

    bool takeSinkKey(const SinkKey& row, const SettingValue& value, SinkSettings& sink) {
        if (*row.type == 0) return takeCommonKey(row, value, sink);
        switch (row.kind) {
            case SettingKey::kText:
            case SettingKey::kPath:
            case SettingKey::kUrl: {
                if (!check.text(row, value, sink.texts[row.key])) return false;
                return isFilled(row, value);
            }
            case SettingKey::kSecretFile:
                return check.secret(row, value, sink.texts[row.key]);
            case SettingKey::kList:
            case SettingKey::kUrlList:
                return check.list(row, value, sink.lists[row.key]);
            case SettingKey::kTable:
                return check.table(row, value, sink.tables[row.key]) && hasNoSecret(row, value);
            default:
                return check.number(row, value, sink.numbers[row.key]);
        }
    }

    bool isFilled(const SinkKey& row, const SettingValue& value) {
        if (!row.required || !value.text.empty()) return true;
        return check.fail(value, row.written() + " is empty; fill it in");
    }

    // Headers that carry secrets have a key of their own.
    bool hasNoSecret(const SinkKey& row, const SettingValue& value) {
        if (std::strcmp(row.key, "headers") != 0) return true;
        for (const auto& [name, member] : value.members) {
            std::string lower = name;
            for (char& c : lower) {
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            }
            if (lower != "authorization" && lower != "cookie") continue;
            if (member.text.find("{{token}}") != std::string::npos) continue;
            return check.fail(member, "headers." + safeText(name) +
                                          " would hold a secret; write the token into a file, "
                                          "chmod 600 it, and set token_file");
        }
        return true;
    }

    bool takeCommonKey(const SinkKey& row, const SettingValue& value, SinkSettings& sink) {
        const std::string key = row.key;
        std::string word;
        std::int64_t flag = 0;
        if (key == "type") return true;
        if (key == "enabled") return check.number(row, value, flag);
        if (key == "objects") return check.list(row, value, sink.filter.objects);
        if (key == "timeout") return check.number(row, value, sink.timeout);
        if (key == "first_retry") return check.number(row, value, sink.firstRetry);
        if (key == "longest_retry") return check.number(row, value, sink.longestRetry);
        if (key == "give_up_after") return check.number(row, value, sink.giveUpAfter);
        if (key == "min_severity") {
            if (!check.text(row, value, word)) return false;
            sink.filter.leastSeverity = severityOf(word);
            return true;
        }
        std::vector<std::int64_t> codes;
        if (!check.numbers(row, value, codes)) return false;
        for (const std::int64_t code : codes) sink.filter.codes.push_back(static_cast<int>(code));
        return true;
    }

    bool hasWhatItNeeds(const SettingValue& table, const SinkSettings& sink) {
        bool good = true;
        const auto has = [&](const char* key) { return table.members.count(key) != 0; };
        for (const SinkKey* row : sinkKeysOf(sink.type)) {
            if (*row->type == 0 || !row->required || has(row->key) || !files.complete()) continue;
            good = check.fail(table, "[sink." + sink.name + "] has no key \"" + row->written() +
                                         "\"; add it: " + row->help);
        }
        const char* const* const oneOf = findSinkType(sink.type)->oneOf;
        if (oneOf[0] != nullptr && files.complete()) {
            if (!has(oneOf[0]) && !has(oneOf[1])) {
                good = check.fail(table, "[sink." + sink.name + "] has neither " + oneOf[0] +
                                             " nor " + oneOf[1] + "; add one of them");
            } else if (has(oneOf[0]) && has(oneOf[1])) {
                good = check.fail(table, "[sink." + sink.name + "] has both " + oneOf[0] + " and " +
                                             oneOf[1] + "; remove one of them");
            }
        }
        if (sink.firstRetry > sink.longestRetry) {
            good = check.fail(table, "[sink." + sink.name + "] has a first_retry of " +
                                         writtenDuration(sink.firstRetry) +
                                         ", which is longer than its longest_retry of " +
                                         writtenDuration(sink.longestRetry) + "; shorten it");
        }
        return good;
    }

    void addJournal() {
        SinkSettings journal;
        journal.name = "journal";
        journal.type = "journal";
        journal.where = "default";
        addSink(journal);
    }

    void addSink(const SinkSettings& sink) {
        const std::string path = "sink." + sink.name + ".";
        for (const SinkKey* row : sinkKeysOf(sink.type)) {
            if (*row->otherwise == 0) continue;
            origin.emplace(path + row->written(), "default");
            values.emplace(path + row->written(), defaultValue(*row));
        }
        origin.emplace(path + "type", "default");
        SettingValue type;
        type.kind = Kind::kText;
        type.text = sink.type;
        values.emplace(path + "type", type);
        settings.sinks[sink.name] = sink;
    }

    void remember(const std::string& path, const SettingValue& value) {
        origin[path] = problems.where(value);
        values[path] = value;
    }

    SettingsFiles& files;
    SettingsProblems& problems;
    ValueChecker check;
    AgentSettings& settings;
    std::map<std::string, std::string>& origin;
    std::map<std::string, SettingValue>& values;
    bool journalConfigured = false;
};

}  // namespace

SettingsError::SettingsError(const std::vector<std::string>& problemsIN)
    : std::runtime_error(joined(problemsIN, "\n")), problems(problemsIN) {}

SettingsReader::SettingsReader(std::string fileIN, bool mustExistIN)
    : file(std::move(fileIN)), mustExist(mustExistIN) {}

AgentSettings SettingsReader::read() {
    origin.clear();
    value.clear();
    SettingsFiles files(file, mustExist);
    readFiles = files.names();
    if (!files.hasMainFile()) readFiles.erase(readFiles.begin());
    AgentSettings settings;
    Filling(files, settings, origin, value).fill();
    if (!files.problems().empty()) throw SettingsError(files.problems().sorted());
    return settings;
}
