// SettingsProblems: what is wrong with a configuration, one line each, in the order of the files
// and their lines.
//
//   problems.add(value, "timeout is 0 seconds; give 1s to 1h");    // "FILE:LINE: timeout is ..."
//
// Ownership  The list of files is borrowed. Threads: one at a time.
#ifndef AGENT_SETTINGS_SETTINGSPROBLEMS_H
#define AGENT_SETTINGS_SETTINGSPROBLEMS_H

#include <string>
#include <vector>

#include "agent/settings/SettingValue.h"

class SettingsProblems {
public:
    explicit SettingsProblems(const std::vector<std::string>& filesIN) : files(filesIN) {}

    // Line 0 is the file as a whole.
    void add(int file, int line, const std::string& text);
    void add(const SettingValue& value, const std::string& text) {
        add(value.file, value.line, text);
    }
    bool empty() const { return found.empty(); }
    std::vector<std::string> sorted() const;

    std::string where(int file, int line) const;  // "FILE:LINE"
    std::string where(const SettingValue& value) const { return where(value.file, value.line); }

private:
    struct Problem {
        int file;
        int line;
        std::string text;
    };

    const std::vector<std::string>& files;
    std::vector<Problem> found;
};

#endif  // AGENT_SETTINGS_SETTINGSPROBLEMS_H
