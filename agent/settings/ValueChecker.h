// ValueChecker: one value of raidwatch.toml against its row: type, range, words, secrets.
//
//   ValueChecker check(problems);
//   if (check.number(row, value, settings.keep)) ...      // settings.keep is set
//
// What is wrong becomes a problem and false, and the result stays as it was.
// Ownership: the problems are borrowed. Threads: one at a time.
#ifndef AGENT_SETTINGS_VALUECHECKER_H
#define AGENT_SETTINGS_VALUECHECKER_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "agent/settings/SettingKey.h"
#include "agent/settings/SettingValue.h"
#include "agent/settings/SettingsProblems.h"

class ValueChecker {
public:
    explicit ValueChecker(SettingsProblems& problemsIN) : problems(problemsIN) {}

    bool text(const SettingKey& row, const SettingValue& value, std::string& result);
    bool list(const SettingKey& row, const SettingValue& value, std::vector<std::string>& result);
    bool table(const SettingKey& row, const SettingValue& value,
               std::map<std::string, std::string>& result);
    // Times, sizes, numbers and truth values, and an element of a list of them.
    bool number(const SettingKey& row, const SettingValue& value, std::int64_t& result);
    bool numbers(const SettingKey& row, const SettingValue& value,
                 std::vector<std::int64_t>& result);
    // The text of the file that `value` names.
    bool secret(const SettingKey& row, const SettingValue& value, std::string& result);

    bool fail(const SettingValue& value, const std::string& text);

    // For messages: "a number"; "\"the text\"", safe and cut.
    static std::string nameOf(const SettingValue& value);
    static std::string shown(const std::string& text);
    static std::string joined(const std::vector<std::string>& words, const char* between);

private:
    bool has(const SettingKey& row, const SettingValue& value, SettingValue::Kind kind,
             const char* wanted);
    bool isOneOf(const SettingKey& row, const SettingValue& value);
    bool isUrl(const SettingKey& row, const SettingValue& value);
    bool isNumber(const SettingKey& row, const SettingValue& value, std::int64_t& got);

    SettingsProblems& problems;
};

#endif  // AGENT_SETTINGS_VALUECHECKER_H
