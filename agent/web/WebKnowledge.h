// WebKnowledge: what the web server's answers are made of: state.json, read again when it was
// replaced, and the spool, read-only. Nothing of the daemon's threads is asked, so no client ever
// holds up a poll.
//
// STALE is whatever a poll saw that is too old: then nobody knows how things are. `machine()` has
// the word "unknown" for every state then, whatever the poll saw.
//
// Threads  One at a time. Errors: SpoolError from spool(); Failure from machine() when state.json
//          is damaged.
#ifndef AGENT_WEB_WEBKNOWLEDGE_H
#define AGENT_WEB_WEBKNOWLEDGE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "agent/spool/Spool.h"
#include "agent/state/MachineState.h"
#include "agent/state/TemperatureLog.h"
#include "agent/state/Verdict.h"

class WebKnowledge {
public:
    struct Parts {
        std::string spoolFile;
        std::string stateFile;
        std::int64_t staleAfter = 300;  // seconds
        std::string temperatureFile;    // a TemperatureLog; "" for none
    };

    explicit WebKnowledge(Parts partsIN) : parts(std::move(partsIN)) {}

    const MachineState& machine();
    const MachineState& lastSeen();              // as the last poll saw it, however old
    const std::vector<std::string>& problems();  // of the daemon itself
    bool isKnown() { return lastSeen().polledAt != 0; }
    bool isStale();
    Spool& spool();  // the present one; valid until the next call of it
    TemperatureLog temperatures();
    Verdict verdictNow(const std::vector<Incident>& open);

    const Parts& files() const { return parts; }
    static std::int64_t now();
    void forget();  // memory and the connection; both come again when they are needed

private:
    void look();
    std::string reasonFor(const SpoolError& error);

    const Parts parts;
    std::string stamp;  // tells one state.json from the next
    MachineState seen;
    MachineState unknown;  // `seen` when it is stale
    std::vector<std::string> trouble;
    std::unique_ptr<Spool> database;
};

#endif  // AGENT_WEB_WEBKNOWLEDGE_H
