// CaptureVerb: `raidwatch capture DIR`: writes what this machine's storage looks like now as the
// next step of a recording, DIR/NN-name, and prints its folder and how much it holds.
//
// Errors: Failure; with bad use for a name, a root or a folder that cannot be used. Threads: one at
// a time.
#ifndef AGENT_COMMANDS_CAPTUREVERB_H
#define AGENT_COMMANDS_CAPTUREVERB_H

#include <string>

#include "agent/commands/Verb.h"

class CaptureVerb : public Verb {
public:
    struct Options {
        std::string folder;
        std::string root = "/";
        std::string name = "step";  // what follows the step's number: letters, digits, "-", "_"
    };

    const char* name() const override { return "capture"; }
    const char* purpose() const override { return "write one step of a recording of this machine"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    Options options;
};

#endif  // AGENT_COMMANDS_CAPTUREVERB_H
