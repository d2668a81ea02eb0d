// IncidentsVerb: `raidwatch incidents`: what is wrong now, or was. Errors: Failure.
#ifndef AGENT_COMMANDS_INCIDENTSVERB_H
#define AGENT_COMMANDS_INCIDENTSVERB_H

#include "agent/commands/AskingVerb.h"

class IncidentsVerb : public AskingVerb {
public:
    const char* name() const override { return "incidents"; }
    const char* purpose() const override { return "what is wrong, and who looks after it"; }
    void declare(Flags& flags) override;
    int work(const Context& context, Ask& agent) override;

private:
    bool all = false;
    bool json = false;
};

#endif  // AGENT_COMMANDS_INCIDENTSVERB_H
