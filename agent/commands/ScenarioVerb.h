// ScenarioVerb: `raidwatch scenario check FILE` and `raidwatch scenario play FILE`: is a
// scenario file in order, and what would a monitor say to it? Errors: Failure.
#ifndef AGENT_COMMANDS_SCENARIOVERB_H
#define AGENT_COMMANDS_SCENARIOVERB_H

#include <string>

#include "agent/commands/CommonFlags.h"
#include "agent/commands/Verb.h"

class ScenarioVerb : public Verb {
public:
    const char* name() const override { return "scenario"; }
    const char* purpose() const override { return "simulated controllers from a file"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    struct Options {
        std::string file;
        double pace = 0;  // seconds of real time between two steps
        std::string language;
    };

    int check(const Context& context) const;
    int play(const Context& context) const;

    Options options;
    FormFlags form;
    std::string chosen;  // "check" or "play"
};

#endif  // AGENT_COMMANDS_SCENARIOVERB_H
