// CaptureCommand: `raidwatch capture DIR`: writes what this machine's storage looks like now as the
// next step of a recording, DIR/NN-name, and prints its folder and how much it holds.
//
// Errors: Failure; with bad use for a name, a root or a folder that cannot be used. Threads: one at
// a time.
#ifndef AGENT_COMMANDS_CAPTURECOMMAND_H
#define AGENT_COMMANDS_CAPTURECOMMAND_H

#include <string>

#include "agent/Context.h"

class CaptureCommand {
public:
    struct Options {
        std::string folder;
        std::string root = "/";
        std::string name = "step";  // what follows the step's number: letters, digits, "-", "_"
    };

    explicit CaptureCommand(const Options& optionsIN) : options(optionsIN) {}

    int run(const Context& context) const;

private:
    Options options;
};

#endif  // AGENT_COMMANDS_CAPTURECOMMAND_H
