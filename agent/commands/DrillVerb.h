// DrillVerb: `raidwatch drill SCENARIO`: a whole simulated failure, marked DRILL, through the real
// pipeline to the real sinks, and what came of it. Errors: Failure.
#ifndef AGENT_COMMANDS_DRILLVERB_H
#define AGENT_COMMANDS_DRILLVERB_H

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "agent/commands/AskingVerb.h"

class DrillVerb : public AskingVerb {
public:
    const char* name() const override { return "drill"; }
    const char* purpose() const override { return "play a failure to everybody, marked DRILL"; }
    void declare(Flags& flags) override;
    int work(const Context& context, Ask& agent) override;

private:
    nlohmann::ordered_json played(const Context& context) const;  // the request

    std::string file;
    std::string language;
    int patience = 60;
    bool json = false;
};

#endif  // AGENT_COMMANDS_DRILLVERB_H
