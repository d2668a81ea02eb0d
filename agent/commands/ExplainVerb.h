// ExplainVerb: `raidwatch explain`: what an event means and what to do. Errors: Failure.
#ifndef AGENT_COMMANDS_EXPLAINVERB_H
#define AGENT_COMMANDS_EXPLAINVERB_H

#include <string>

#include "agent/commands/Verb.h"

class ExplainVerb : public Verb {
public:
    const char* name() const override { return "explain"; }
    const char* purpose() const override { return "what an event means, and what to do about it"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    struct Options {
        std::string event;  // code, identifier or catalogue key; "" only with all
        bool all = false;
        bool json = false;
        std::string language;
    };

    Options options;
};

#endif  // AGENT_COMMANDS_EXPLAINVERB_H
