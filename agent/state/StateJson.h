// StateJson: MachineState as JSON and back; docs/formats/state-json.md describes it. Any thread.
// Errors of reading: Failure with what is wrong.
#ifndef AGENT_STATE_STATEJSON_H
#define AGENT_STATE_STATEJSON_H

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "agent/state/MachineState.h"

nlohmann::ordered_json stateJson(const MachineState& state);
MachineState stateFromJson(const nlohmann::ordered_json& json);

#endif  // AGENT_STATE_STATEJSON_H
