// ReplayCommand: `raidwatch replay PATH`: what the engine finds in a recording, step by step.
//
// Errors: Failure. Threads: see Replayer.
#ifndef AGENT_COMMANDS_REPLAYCOMMAND_H
#define AGENT_COMMANDS_REPLAYCOMMAND_H

#include <string>

#include "agent/Context.h"
#include "agent/EventPrinter.h"

class ReplayCommand {
public:
    struct Options {
        std::string path;
        EventPrinter::Form form = EventPrinter::Form::kText;
        std::string language;  // of the texts; "" as installed
    };

    explicit ReplayCommand(const Options& optionsIN) : options(optionsIN) {}

    int run(const Context& context) const;

private:
    Options options;
};

#endif  // AGENT_COMMANDS_REPLAYCOMMAND_H
