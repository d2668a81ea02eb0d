// DiffVerb: `raidwatch diff`: what changed while nobody watched, and since. Errors: Failure.
#ifndef AGENT_COMMANDS_DIFFVERB_H
#define AGENT_COMMANDS_DIFFVERB_H

#include <string>

#include "agent/commands/AskingVerb.h"

class DiffVerb : public AskingVerb {
public:
    const char* name() const override { return "diff"; }
    const char* purpose() const override { return "what changed while nobody watched"; }
    void declare(Flags& flags) override;
    int work(const Context& context, Ask& agent) override;

private:
    std::string since = "last-run";
    bool all = false;
    bool json = false;
};

#endif  // AGENT_COMMANDS_DIFFVERB_H
