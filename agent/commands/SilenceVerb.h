// SilenceVerb: `raidwatch silence add|list|rm`: for some time nobody is told about an object,
// because somebody works on it. A silence has an end and a reason, always. Errors: Failure.
#ifndef AGENT_COMMANDS_SILENCEVERB_H
#define AGENT_COMMANDS_SILENCEVERB_H

#include <string>

#include "agent/commands/AskingVerb.h"

class SilenceVerb : public AskingVerb {
public:
    const char* name() const override { return "silence"; }
    const char* purpose() const override { return "for some time nobody is told of an object"; }
    void declare(Flags& flags) override;
    int work(const Context& context, Ask& agent) override;

private:
    int add(const Context& context, Ask& agent) const;
    int list(const Context& context, Ask& agent) const;
    int remove(const Context& context, Ask& agent) const;

    std::string chosen;  // "add", "list" or "rm"
    std::string object;
    bool everything = false;
    std::string length;
    std::string reason;
    std::string id;
    bool json = false;
};

#endif  // AGENT_COMMANDS_SILENCEVERB_H
