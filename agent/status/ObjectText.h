// ObjectText: everything that is known about one object of a machine, for people, and the tables of
// `raidwatch list`.
//
// Texts from hardware are made safe. Pure; any thread.
#ifndef AGENT_STATUS_OBJECTTEXT_H
#define AGENT_STATUS_OBJECTTEXT_H

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "agent/state/MachineState.h"

// "name   value" lines of the object with that key; "" when the state does not hold it.
std::string objectText(const MachineState& state, const std::string& key, std::int64_t now);
// The same as JSON, null when the state does not hold it.
nlohmann::ordered_json objectJson(const MachineState& state, const std::string& key);

// What `raidwatch list` can be asked for: "arrays", "controllers", "drives", "enclosures", "phys",
// "tasks".
const std::vector<std::string>& listKinds();
// A table with a heading, or one line that there are none.
std::string listText(const MachineState& state, const std::string& kind, std::int64_t now);
nlohmann::ordered_json listJson(const MachineState& state, const std::string& kind);

#endif  // AGENT_STATUS_OBJECTTEXT_H
