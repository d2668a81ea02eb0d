// StatusJson: how the storage is, with all that is known of it, as `raidwatch status --json` and
// the web server tell it. A pure function; any thread.
#ifndef AGENT_STATUS_STATUSJSON_H
#define AGENT_STATUS_STATUSJSON_H

#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "agent/incidents/Incident.h"
#include "agent/state/MachineState.h"
#include "agent/state/Verdict.h"

nlohmann::ordered_json statusJson(const Verdict& verdict, bool watched,
                                  const std::vector<Incident>& open, const MachineState& state);

#endif  // AGENT_STATUS_STATUSJSON_H
