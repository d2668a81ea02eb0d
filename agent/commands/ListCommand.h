// ListCommand: `raidwatch list`: the storage of a machine as it is now. Errors: Failure.
#ifndef AGENT_COMMANDS_LISTCOMMAND_H
#define AGENT_COMMANDS_LISTCOMMAND_H

#include <string>

#include "agent/Context.h"

class ListCommand {
public:
    struct Options {
        std::string source = "linux";
        bool json = false;
    };

    explicit ListCommand(const Options& optionsIN) : options(optionsIN) {}

    int run(const Context& context) const;

private:
    Options options;
};

#endif  // AGENT_COMMANDS_LISTCOMMAND_H
