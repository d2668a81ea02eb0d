#include "agent/commands/AckVerb.h"

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/TimeWords.h"
#include "agent/incidents/IncidentJson.h"

namespace {

using Json = nlohmann::ordered_json;

// "incident 4 (md0 degraded)"
std::string nameOf(std::int64_t id, const Json& answer) {
    const Incident incident = incidentFromJson(answer);
    const std::string name = "incident " + std::to_string(id);
    if (incident.objectName.empty()) return name;
    return name + " (" + safeText(incident.objectName + " " + incident.value) + ")";
}

// The incident as it is after the change; the answer to it when it cannot be had.
Json changed(Ask& agent, std::int64_t id, const Json& answer) {
    for (const Json& row : agent.ask({{"do", "incidents"}, {"all", false}})) {
        if (incidentFromJson(row).id == id) return row;
    }
    return answer;
}

}  // namespace

void AckVerb::declare(Flags& flags) {
    flags.option("ID", id, "number of the incident, see raidwatch incidents").required();
    flags.option("--comment", comment, "what is done about it");
    flags.option("--until", until,
                 "ask again then: 2h, 7d, 2026-11-21 (default: when it gets worse or ends)");
    flags.flag("--json", json, "the incident as one JSON object");
}

int AckVerb::work(const Context& context, Ask& agent) {
    const std::int64_t number = numberGiven("ID", id);
    Json request{{"do", "ack"}, {"id", number}, {"by", person()}, {"comment", comment}};
    std::int64_t end = 0;
    if (!until.empty()) {
        end = endOf("--until", until, now());
        request["until"] = end;
    }
    const Json answer = changed(agent, number, agent.change(request));
    if (json) {
        context.out.line(jsonLine(answer));
        return Failure::kDone;
    }
    context.out.line(nameOf(number, answer) + " is acknowledged");
    context.out.line(end == 0 ? "until it gets worse or ends"
                              : "until " + localTimeText(end) + ", or until it gets worse or ends");
    return Failure::kDone;
}

void UnackVerb::declare(Flags& flags) {
    flags.option("ID", id, "number of the incident, see raidwatch incidents").required();
    flags.flag("--json", json, "the incident as one JSON object");
}

int UnackVerb::work(const Context& context, Ask& agent) {
    const std::int64_t number = numberGiven("ID", id);
    const Json answer = changed(agent, number, agent.change({{"do", "unack"}, {"id", number}}));
    context.out.line(json ? jsonLine(answer)
                          : nameOf(number, answer) + " is no longer acknowledged");
    return Failure::kDone;
}
