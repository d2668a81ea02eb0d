// ReplayVerb: `raidwatch replay PATH`: what the engine finds in a recording, step by step.
//
// Errors: Failure. Threads: see Replayer.
#ifndef AGENT_COMMANDS_REPLAYVERB_H
#define AGENT_COMMANDS_REPLAYVERB_H

#include <string>

#include "agent/commands/CommonFlags.h"
#include "agent/commands/Verb.h"

class ReplayVerb : public Verb {
public:
    const char* name() const override { return "replay"; }
    const char* purpose() const override { return "print the events of a recording, step by step"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    struct Options {
        std::string path;
        std::string language;  // of the texts; "" as installed
    };

    Options options;
    FormFlags form;
};

#endif  // AGENT_COMMANDS_REPLAYVERB_H
