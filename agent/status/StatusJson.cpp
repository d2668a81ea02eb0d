#include "agent/status/StatusJson.h"

#include <nlohmann/json.hpp>

#include "agent/incidents/IncidentJson.h"
#include "agent/state/StateJson.h"

nlohmann::ordered_json statusJson(const Verdict& verdict, bool watched,
                                  const std::vector<Incident>& open, const MachineState& state) {
    nlohmann::ordered_json document = {{"verdict", levelWord(verdict.level)},
                                       {"sentence", verdict.sentence},
                                       {"watched", watched}};
    document["incidents"] = nlohmann::ordered_json::array();
    for (const Incident& each : open) document["incidents"].push_back(incidentJson(each));
    document["state"] = stateJson(state);
    return document;
}
