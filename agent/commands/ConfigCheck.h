// ConfigCheck: everything that is wrong with a configuration, also what only shows when it is used:
// a language that is not installed, a sink that cannot be made.
//
//   const ConfigCheck result = checkConfig(SettingsReader(file));
//
// Errors: none; they are the result. Threads: one at a time.
#ifndef AGENT_COMMANDS_CONFIGCHECK_H
#define AGENT_COMMANDS_CONFIGCHECK_H

#include <string>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/settings/SettingsReader.h"

struct ConfigCheck {
    std::vector<std::string> problems;  // "FILE:LINE: what is wrong; what to do"
    std::string advice;                 // what would be safer; "" for nothing
    std::string cure;                   // of the advice
    std::vector<std::string> files;     // that were read
    AgentSettings settings;             // the defaults when a file is not in order

    // "in order: FILE, FILE"; for a configuration without problems.
    std::string verdict() const;
};

ConfigCheck checkConfig(SettingsReader reader);

#endif  // AGENT_COMMANDS_CONFIGCHECK_H
