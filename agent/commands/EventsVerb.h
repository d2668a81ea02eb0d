// EventsVerb: `raidwatch events`: what the spool has recorded. Errors: Failure.
#ifndef AGENT_COMMANDS_EVENTSVERB_H
#define AGENT_COMMANDS_EVENTSVERB_H

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "agent/commands/AskingVerb.h"
#include "agent/commands/RecordPrinter.h"

class EventsVerb : public AskingVerb {
public:
    const char* name() const override { return "events"; }
    const char* purpose() const override { return "what was recorded, oldest first"; }
    void declare(Flags& flags) override;
    int work(const Context& context, Ask& agent) override;

private:
    nlohmann::ordered_json request(Ask& agent) const;
    // Prints what is there; returns the sequence of the last one.
    std::int64_t printAll(nlohmann::ordered_json wanted, Ask& agent, RecordPrinter& printer) const;
    void followOn(const Context& context, Ask& agent, RecordPrinter& printer,
                  nlohmann::ordered_json wanted) const;

    std::string since;
    std::string until;
    std::string severity;
    std::string object;
    std::vector<int> codes;
    bool undelivered = false;
    bool follow = false;
    std::string limit;
    bool all = false;
    bool json = false;
};

#endif  // AGENT_COMMANDS_EVENTSVERB_H
