// AckVerb, UnackVerb: `raidwatch ack ID` and `raidwatch unack ID`: somebody looks after an
// incident, so nobody is reminded of it; or no longer. Errors: Failure.
#ifndef AGENT_COMMANDS_ACKVERB_H
#define AGENT_COMMANDS_ACKVERB_H

#include <string>

#include "agent/commands/AskingVerb.h"

class AckVerb : public AskingVerb {
public:
    const char* name() const override { return "ack"; }
    const char* purpose() const override { return "somebody looks after an incident"; }
    void declare(Flags& flags) override;
    int work(const Context& context, Ask& agent) override;

private:
    std::string id;
    std::string comment;
    std::string until;
    bool json = false;
};

class UnackVerb : public AskingVerb {
public:
    const char* name() const override { return "unack"; }
    const char* purpose() const override { return "nobody looks after an incident any more"; }
    void declare(Flags& flags) override;
    int work(const Context& context, Ask& agent) override;

private:
    std::string id;
    bool json = false;
};

#endif  // AGENT_COMMANDS_ACKVERB_H
