// SettingsReader: raidwatch.toml and, in name order, conf.d/*.toml beside it. A later file wins key
// by key; a sink is a table, so a site adds or changes one by dropping a file.
//
//   const AgentSettings settings = SettingsReader(file).read();
//
// No file at all is in order: the defaults hold. Unknown keys, wrong types, values out of range,
// secrets in files that others can read, and sinks without what they need are errors; all of them
// are found at once.
//
// Errors   SettingsError: one line per problem, "FILE:LINE: what is wrong; what to do".
// Threads  Any.
#ifndef AGENT_SETTINGS_SETTINGSREADER_H
#define AGENT_SETTINGS_SETTINGSREADER_H

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/settings/SettingValue.h"

class SettingsError : public std::runtime_error {
public:
    explicit SettingsError(const std::vector<std::string>& problemsIN);

    std::vector<std::string> problems;
};

class SettingsReader {
public:
    static constexpr const char* kDefaultFile = "/etc/raidwatch/raidwatch.toml";

    // A file that was named must exist; the default one need not.
    explicit SettingsReader(std::string fileIN, bool mustExistIN = false);

    AgentSettings read();

    // After read(): where each value came from, "monitor.source" -> "/etc/...:3" or "default".
    const std::map<std::string, std::string>& origins() const { return origin; }
    const std::vector<std::string>& files() const { return readFiles; }
    // The values themselves, under the same names. A secret stands there as the path of its file.
    const std::map<std::string, SettingValue>& values() const { return value; }

private:
    std::string file;
    bool mustExist;
    std::map<std::string, std::string> origin;
    std::map<std::string, SettingValue> value;
    std::vector<std::string> readFiles;
};

#endif  // AGENT_SETTINGS_SETTINGSREADER_H
