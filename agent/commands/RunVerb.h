// RunVerb: `raidwatch run`: the daemon; with --once one comparison for cron.
#ifndef AGENT_COMMANDS_RUNVERB_H
#define AGENT_COMMANDS_RUNVERB_H

#include "agent/commands/Verb.h"
#include "agent/daemon/Daemon.h"

class RunVerb : public Verb {
public:
    const char* name() const override { return "run"; }
    const char* purpose() const override { return "watch, record and tell: the daemon"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    Daemon::Options options;
    int patience = 60;  // seconds
};

#endif  // AGENT_COMMANDS_RUNVERB_H
