// SettingValue: a value of raidwatch.toml with the place where it was written. A plain value.
#ifndef AGENT_SETTINGS_SETTINGVALUE_H
#define AGENT_SETTINGS_SETTINGVALUE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct SettingValue {
    enum class Kind { kText, kNumber, kFlag, kList, kTable, kOther };

    Kind kind = Kind::kOther;
    std::string text;         // kText; of kOther what it is: "a date"
    std::int64_t number = 0;  // kNumber; kFlag: 0 or 1
    std::vector<SettingValue> items;
    std::map<std::string, SettingValue> members;
    int file = 0;  // index into SettingsFiles::names()
    int line = 0;
};

// As TOML writes it, on one line.
std::string writtenText(const SettingValue& value);

#endif  // AGENT_SETTINGS_SETTINGVALUE_H
