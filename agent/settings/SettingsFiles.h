// SettingsFiles: all files of one configuration laid over each other: the named one, then
// conf.d/*.toml beside it in name order.
//
//   const SettingsFiles files("/etc/raidwatch/raidwatch.toml", false);
//   files.root().members.at("monitor") ...
//
// Tables are joined key by key; anything else of a later file replaces what an earlier one says.
//
// Errors   A file that cannot be read, is no TOML, or that others could change under a daemon of
//          root, is a problem; the other files count all the same. Threads: one at a time.
#ifndef AGENT_SETTINGS_SETTINGSFILES_H
#define AGENT_SETTINGS_SETTINGSFILES_H

#include <string>
#include <vector>

#include "agent/settings/SettingValue.h"
#include "agent/settings/SettingsProblems.h"

class SettingsFiles {
public:
    SettingsFiles(const std::string& file, bool mustExist);
    SettingsFiles(const SettingsFiles&) = delete;
    SettingsFiles& operator=(const SettingsFiles&) = delete;

    const SettingValue& root() const { return all; }
    // Every file that exists, in the order in which they count; the named one always comes first.
    const std::vector<std::string>& names() const { return files; }
    SettingsProblems& problems() { return wrong; }
    // False when a part of the configuration could not be read: what is missing then may stand
    // there.
    bool complete() const { return whole; }
    bool hasMainFile() const { return mainFile; }

private:
    void readOne(int index, bool mustExist);
    void takeText(int index, const std::string& text);
    void findFolder(const std::string& file);

    std::vector<std::string> files;
    SettingsProblems wrong;
    SettingValue all;
    bool whole = true;
    bool mainFile = true;
};

#endif  // AGENT_SETTINGS_SETTINGSFILES_H
