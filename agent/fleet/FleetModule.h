// FleetModule: loads the module that speaks to the server of a fleet, when somebody needs it. It is
// a package of its own, raidwatch-nats, so that a machine without a fleet has neither it nor what
// it pulls in.
//
//   std::unique_ptr<FleetLink> link = openFleetLink(settings);
//
// The module stands beside the program: ../lib/<triplet>/raidwatch/raidwatch-nats.so, or
// ../lib/raidwatch/ in a tree that was just built. It stays loaded until the program ends.
//
// Threads  Any. Errors: LateLibrary::Missing, which names the package to install.
#ifndef AGENT_FLEET_FLEETMODULE_H
#define AGENT_FLEET_FLEETMODULE_H

#include <memory>
#include <string>
#include <vector>

#include "agent/fleet/FleetLink.h"

std::unique_ptr<FleetLink> openFleetLink(const FleetLink::Settings& settings);

// The same from a file that the caller names.
std::unique_ptr<FleetLink> openFleetLink(const std::string& file,
                                         const FleetLink::Settings& settings);

// Where the module may stand beside a program of this name, first choice first.
std::vector<std::string> fleetModulePlaces(const std::string& program);

#endif  // AGENT_FLEET_FLEETMODULE_H
