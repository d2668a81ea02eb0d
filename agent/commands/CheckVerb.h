// CheckVerb: `raidwatch check`: the same answer as `status` as one line for a monitoring system
// (Monitoring Plugins Development Guidelines): text, performance data, exit code 0 to 3.
// Errors: none leave; what cannot be known is UNKNOWN.
#ifndef AGENT_COMMANDS_CHECKVERB_H
#define AGENT_COMMANDS_CHECKVERB_H

#include <string>

#include "agent/commands/Verb.h"
#include "agent/state/Verdict.h"

class CheckVerb : public Verb {
public:
    const char* name() const override { return "check"; }
    const char* purpose() const override { return "one line for a monitoring system"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;
    int misused(const Context& context, const std::string& why) const override;

private:
    void tell(const Context& context, Verdict::Level level, const std::string& sentence,
              const std::string& line) const;

    std::string source;
    std::string staleAfter;
    bool json = false;
};

#endif  // AGENT_COMMANDS_CHECKVERB_H
