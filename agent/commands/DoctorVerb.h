// DoctorVerb: `raidwatch doctor [--fix] [--json]`: is everything here that is needed, and what to
// do when not. Ends with 0 when nothing needs work, with 1 otherwise; advice alone is no failure.
//
// Errors: Failure. Threads: one at a time.
#ifndef AGENT_COMMANDS_DOCTORVERB_H
#define AGENT_COMMANDS_DOCTORVERB_H

#include "agent/commands/Verb.h"

class DoctorVerb : public Verb {
public:
    const char* name() const override { return "doctor"; }
    const char* purpose() const override {
        return "is all in place to watch and to tell, and what to do when not";
    }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    bool fix = false;
    bool json = false;
};

#endif  // AGENT_COMMANDS_DOCTORVERB_H
