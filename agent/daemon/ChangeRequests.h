// ChangeRequests: what a request to change something asks for, checked.
//
//   const AckRequest ack = ackOf({{"do", "ack"}, {"id", 3}, {"by", "ann"}});
//
// Pure functions; any thread. Errors: Failure (bad use) that names the member.
#ifndef AGENT_DAEMON_CHANGEREQUESTS_H
#define AGENT_DAEMON_CHANGEREQUESTS_H

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/incidents/Silence.h"
#include "events/QELEvent.h"

struct AckRequest {
    std::int64_t id = 0;
    std::string by;
    std::string comment;
    std::int64_t until = 0;  // seconds since 1970-01-01 UTC; 0: no end
};

namespace ChangeRequests {

std::string wordOf(const nlohmann::ordered_json& request);  // "do"
AckRequest ackOf(const nlohmann::ordered_json& request);
std::int64_t idOf(const nlohmann::ordered_json& request);
// {"object", "objectName", "from", "until", "reason", "by"}: `from` defaults to now.
Silence silenceOf(const nlohmann::ordered_json& request, std::int64_t now);
std::vector<std::string> sinksOf(const nlohmann::ordered_json& request);
// {"events": [...]}, each in the form of docs/formats/event-json.md.
std::vector<QELEvent> eventsOf(const nlohmann::ordered_json& request);

}  // namespace ChangeRequests

#endif  // AGENT_DAEMON_CHANGEREQUESTS_H
