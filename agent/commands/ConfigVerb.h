// ConfigVerb: `raidwatch config check|show|schema|token`: is the configuration in order, what is in
// force and where does it come from, what can be set; a new token for the page.
//
// check ends with 0 when all is in order and with 1 when not; it names every problem.
// Errors: Failure. Threads: one at a time.
#ifndef AGENT_COMMANDS_CONFIGVERB_H
#define AGENT_COMMANDS_CONFIGVERB_H

#include <string>

#include "agent/commands/Verb.h"

class ConfigVerb : public Verb {
public:
    const char* name() const override { return "config"; }
    const char* purpose() const override {
        return "is the configuration in order, what is in force, what can be set";
    }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    int check(const Context& context) const;
    int show(const Context& context) const;
    int schema(const Context& context) const;
    int token(const Context& context) const;

    std::string chosen;  // "check", "show", "schema" or "token"
    bool json = false;
};

#endif  // AGENT_COMMANDS_CONFIGVERB_H
