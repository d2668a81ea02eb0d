// TestVerb: `raidwatch test [SINK...]`: one notice that says it is a test, through the real
// pipeline to the real sinks, and what came of it. Errors: Failure.
#ifndef AGENT_COMMANDS_TESTVERB_H
#define AGENT_COMMANDS_TESTVERB_H

#include <string>
#include <vector>

#include "agent/commands/AskingVerb.h"

class TestVerb : public AskingVerb {
public:
    const char* name() const override { return "test"; }
    const char* purpose() const override { return "send a test to everybody, and see it arrive"; }
    void declare(Flags& flags) override;
    int work(const Context& context, Ask& agent) override;

private:
    std::vector<std::string> sinks;
    int patience = 30;
    bool json = false;
};

#endif  // AGENT_COMMANDS_TESTVERB_H
