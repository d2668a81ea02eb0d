// FleetView: what the messages of a fleet add up to: which machines are in trouble and which
// silent, which arrays are exposed most, whether drives of one model fail together, whether two
// machines share an identity.
//
//   FleetView view;
//   view.addSummary(machine, FleetSummary::of(value));     // of each key of the state bucket
//   view.addBeat(FleetBeat::of(value));                    // of each key of the other one
//   view.addMessage(message);                              // events, in any order, repeats too
//   for (const FleetView::Machine& machine : view.machines(now, 300)) ...
//
// Arithmetic only: no link, no clock. Texts are raw. Times in seconds since 1970-01-01 UTC.
//
// What is kept grows with the number of machines, not with what they send: of records the newest
// kMostSeen ids, so a repeat that comes later than those is shown again; of one machine at most
// kMostFailedOfOne failed drives.
//
// Threads  One at a time; it is not copied. Errors: none; a message that is no record counts as
// nothing, and so does a
//          record that says to be of another machine than its subject.
#ifndef AGENT_FLEET_FLEETVIEW_H
#define AGENT_FLEET_FLEETVIEW_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "agent/fleet/FleetBeat.h"
#include "agent/fleet/FleetFailures.h"
#include "agent/fleet/FleetLink.h"
#include "agent/fleet/FleetSeen.h"
#include "agent/fleet/FleetSummary.h"
#include "agent/spool/Record.h"
#include "agent/state/Verdict.h"

class FleetView {
public:
    static constexpr std::size_t kMostSeen = 250000;
    static constexpr int kMostFailedOfOne = FleetFailures::kMostOfOne;

    struct Machine {
        std::string id;
        std::string host;
        Verdict::Level level = Verdict::kUnknown;
        std::string sentence;
        bool silent = false;
        std::int64_t heardAt = 0;   // 0: never
        std::int64_t polledAt = 0;  // 0: never
        std::string conflict;       // who shares its id, one safe line; "" for nobody
        int survives = -1;          // of its most exposed array
        std::int64_t exposedSince = 0;
    };
    struct Exposure {
        std::string machine;
        std::string host;
        FleetSummary::Array array;
    };
    using Failures = FleetFailures::Row;
    struct Counts {
        int machines = 0;
        int ok = 0;
        int warning = 0;
        int critical = 0;
        int unknown = 0;
        int silent = 0;
        int conflicts = 0;
    };
    enum class Arrival {
        kNew,
        kRepeat,    // the same record again; to be dropped
        kConflict,  // another record under the same id
        kNothing,   // no record
    };

    void addSummary(const std::string& machine, const FleetSummary& summary);
    void addBeat(const FleetBeat& beat);
    void addRival(const FleetBeat& rival);
    Arrival addMessage(const FleetLink::StreamMessage& message);

    // Worst first. Silent is who was not heard for `silentAfter` seconds.
    std::vector<Machine> machines(std::int64_t now, std::int64_t silentAfter) const;
    // Deepest first, then longest.
    std::vector<Exposure> exposures() const;
    // Of at least `least` drives that failed since then, most first.
    std::vector<Failures> failures(std::int64_t since, int least) const;

    static Counts count(const std::vector<Machine>& machines);
    // CRITICAL when any machine is, else UNKNOWN, WARNING, OK; of no machines UNKNOWN.
    static Verdict::Level worst(const Counts& counts);

    std::string hostOf(const std::string& machine) const;  // its id when nobody has said

private:
    struct Known {
        FleetSummary summary;
        bool hasSummary = false;
        FleetBeat beat;
        std::vector<FleetBeat> rivals;
        bool twoUnderOneId = false;
        std::string saidHost;  // in its events
    };
    void addFailure(const std::string& machine, const Record& record,
                    const FleetFailures::Kind& kind, std::string serial, std::int64_t storedAt);
    static std::string reasonToDoubt(const Machine& machine, std::int64_t now);
    Machine judged(const std::string& id, const Known& known, std::int64_t now,
                   std::int64_t silentAfter) const;

    std::map<std::string, Known> all;
    FleetSeen seen{kMostSeen};
    FleetFailures failedDrives;
};

#endif  // AGENT_FLEET_FLEETVIEW_H
