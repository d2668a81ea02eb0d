// LocateVerb: `raidwatch locate [SLOT|DRIVE] [on|off|status]`: the light that shows which drive to
// pull.
//
// "on" stays in the foreground and switches the light off again when its time is over, at Ctrl-C,
// SIGTERM or SIGHUP, or when its output is closed: a light that burns for ever marks nothing. When
// somebody else switches it off, it ends.
//
// Errors: Failure; whenever it is not sure which slot is meant, it does nothing. Threads: one at a
// time.
#ifndef AGENT_COMMANDS_LOCATEVERB_H
#define AGENT_COMMANDS_LOCATEVERB_H

#include <string>

#include "agent/commands/Verb.h"
#include "agent/state/EnclosureSlots.h"

class LocateVerb : public Verb {
public:
    const char* name() const override { return "locate"; }
    const char* purpose() const override { return "the light of a slot: on, off, or how it is"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    EnclosureSlots::Slot theSlot(const EnclosureSlots& slots) const;
    EnclosureSlots::Slot bySystem(const EnclosureSlots& slots) const;
    void show(const Context& context, const EnclosureSlots::Slot& slot) const;
    int showAll(const Context& context, const EnclosureSlots& slots) const;
    int burn(const Context& context, const EnclosureSlots::Slot& slot) const;

    std::string wanted;
    std::string action = "status";
    std::string time = "10m";
    std::string root = "/";
    bool json = false;
};

#endif  // AGENT_COMMANDS_LOCATEVERB_H
