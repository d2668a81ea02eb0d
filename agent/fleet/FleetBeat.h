// FleetBeat: what a machine says about every minute: that it lives, and which life of its agent it
// is. docs/formats/fleet.md describes its JSON.
//
// A plain value. Reading is lenient: what is missing stays empty. Any thread.
#ifndef AGENT_FLEET_FLEETBEAT_H
#define AGENT_FLEET_FLEETBEAT_H

#include <cstdint>
#include <string>

struct FleetBeat {
    std::string machine;
    std::string instance;
    std::string beat;  // random, new each time: tells whether a value that we read is our last one
    std::string host;
    std::string version;
    std::int64_t polledAt = 0;      // the last completed poll, seconds; 0: none
    std::int64_t lastSequence = 0;  // of the spool
    std::int64_t every = 60;        // seconds between two
    std::int64_t at = 0;            // milliseconds, by the server's clock; not part of the JSON

    std::string json() const;
    static FleetBeat of(const std::string& json);
};

#endif  // AGENT_FLEET_FLEETBEAT_H
