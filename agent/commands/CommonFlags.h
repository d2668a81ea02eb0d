// CommonFlags: flags that several verbs have, with the same words everywhere.
#ifndef AGENT_COMMANDS_COMMONFLAGS_H
#define AGENT_COMMANDS_COMMONFLAGS_H

#include <string>

#include "agent/EventPrinter.h"
#include "agent/commands/Flags.h"

// How events are printed.
struct FormFlags {
    bool json = false;
    bool all = false;

    EventPrinter::Form form() const;
};

// Of the verbs whose exit code says how the storage is.
constexpr char kVerdictExitCodes[] =
    "Exit codes: 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN (also when the command line is wrong).";

void addFormFlags(Flags& flags, FormFlags& form);
void addLanguageOption(Flags& flags, std::string& language);
// The kinds of sources, for the help of --source.
std::string sourceHelp();

#endif  // AGENT_COMMANDS_COMMONFLAGS_H
