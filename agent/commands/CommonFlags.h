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

void addFormFlags(Flags& flags, FormFlags& form);
void addLanguageOption(Flags& flags, std::string& language);
// The kinds of sources, for the help of --source.
std::string sourceHelp();

#endif  // AGENT_COMMANDS_COMMONFLAGS_H
