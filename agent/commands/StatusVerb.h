// StatusVerb: `raidwatch status`: is it all right, and if not, what is wrong? The exit code says
// the same: 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN. Errors: Failure.
#ifndef AGENT_COMMANDS_STATUSVERB_H
#define AGENT_COMMANDS_STATUSVERB_H

#include <string>

#include "agent/commands/Verb.h"

class StatusVerb : public Verb {
public:
    const char* name() const override { return "status"; }
    const char* purpose() const override { return "is everything all right? (exit code 0 to 3)"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;
    int misused(const Context& context, const std::string& why) const override;

private:
    int show(const Context& context) const;

    std::string source;
    bool json = false;
};

#endif  // AGENT_COMMANDS_STATUSVERB_H
