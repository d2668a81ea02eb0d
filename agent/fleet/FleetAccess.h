// FleetAccess: the settings of a sink of type "nats", understood: where the server is, how we log
// in there, and what we put there under which names.
//
//   const FleetAccess access = fleetAccess(settings);
//   std::unique_ptr<FleetLink> link = openFleetLink(access.link);
//
// Files with secrets must be plain files of ours or of root that nobody else can read; certificates
// must be files that nobody else can change.
//
// A plain value. Errors: BadSinkSetting, with file and line and the cure. Any thread.
#ifndef AGENT_FLEET_FLEETACCESS_H
#define AGENT_FLEET_FLEETACCESS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "agent/fleet/FleetLink.h"
#include "agent/fleet/FleetNames.h"
#include "agent/settings/AgentSettings.h"

struct FleetAccess {
    FleetLink::Settings link;
    FleetNames names{FleetNames::kDefaultStream, FleetNames::kDefaultSubject};
    FleetLink::Plan plan;         // of the stream, should it have to be made
    bool mayMake = true;          // stream and buckets where there are none
    std::int64_t heartbeat = 60;  // seconds between two
    std::size_t window = 64;      // messages that wait for their acknowledgement at once
    std::string send = "both";    // which records
};

FleetAccess fleetAccess(const SinkSettings& settings);

#endif  // AGENT_FLEET_FLEETACCESS_H
