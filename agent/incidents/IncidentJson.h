// IncidentJson: incidents, silences and notices as JSON and back; docs/formats/incident-json.md
// describes them. Times are RFC 3339 in UTC, null where the thing did not happen.
//
// Reading is lenient: what is missing or of another type keeps its default. Texts are kept as they
// are; whoever prints replaces what is no UTF-8. Pure functions; any thread.
#ifndef AGENT_INCIDENTS_INCIDENTJSON_H
#define AGENT_INCIDENTS_INCIDENTJSON_H

#include <nlohmann/json_fwd.hpp>

#include "agent/incidents/Incident.h"
#include "agent/incidents/Notice.h"
#include "agent/incidents/Silence.h"

nlohmann::ordered_json incidentJson(const Incident& incident);
Incident incidentFromJson(const nlohmann::ordered_json& json);

nlohmann::ordered_json noticeJson(const Notice& notice);
Notice noticeFromJson(const nlohmann::ordered_json& json);

nlohmann::ordered_json silenceJson(const Silence& silence);
Silence silenceFromJson(const nlohmann::ordered_json& json);

#endif  // AGENT_INCIDENTS_INCIDENTJSON_H
