// ExplainCommand: `raidwatch explain`: what an event means and what to do. Errors: Failure.
#ifndef AGENT_COMMANDS_EXPLAINCOMMAND_H
#define AGENT_COMMANDS_EXPLAINCOMMAND_H

#include <string>

#include "agent/Context.h"

class ExplainCommand {
public:
    struct Options {
        std::string event;  // code, identifier or catalogue key; "" only with all
        bool all = false;
        bool json = false;
        std::string language;
    };

    explicit ExplainCommand(const Options& optionsIN) : options(optionsIN) {}

    int run(const Context& context) const;

private:
    Options options;
};

#endif  // AGENT_COMMANDS_EXPLAINCOMMAND_H
