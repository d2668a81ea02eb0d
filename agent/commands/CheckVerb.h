// CheckVerb: `raidwatch check`: the same answer as `status` as one line for a monitoring system
// (Monitoring Plugins Development Guidelines): text, performance data, exit code 0 to 3.
// Errors: none leave; what cannot be known is UNKNOWN.
#ifndef AGENT_COMMANDS_CHECKVERB_H
#define AGENT_COMMANDS_CHECKVERB_H

#include <string>

#include "agent/commands/Verb.h"

class CheckVerb : public Verb {
public:
    const char* name() const override { return "check"; }
    const char* purpose() const override { return "one line for a monitoring system"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    std::string source;
    std::string staleAfter;
};

#endif  // AGENT_COMMANDS_CHECKVERB_H
