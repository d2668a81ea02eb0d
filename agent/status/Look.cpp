#include "agent/status/Look.h"

#include <memory>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/JsonFields.h"
#include "agent/daemon/Agent.h"
#include "agent/incidents/IncidentJson.h"
#include "agent/state/StateBuilder.h"
#include "agent/state/StateJson.h"
#include "storlib/VantLib.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;

SinkStatus sinkOf(const Json& json) {
    SinkStatus sink;
    sink.sink = textOf(json, "sink");
    sink.waiting = numberOf(json, "waiting");
    sink.dead = numberOf(json, "dead");
    sink.tries = intOf(json, "tries");
    sink.lastAnswer = textOf(json, "lastAnswer");
    sink.ok = truthOf(json, "ok", true);
    return sink;
}

// A part that cannot be had is empty: half a picture is better than none.
Json part(Agent& agent, const char* what) {
    try {
        return agent.ask({{"do", what}});
    } catch (const Failure&) {
        return Json::array();
    }
}

}  // namespace

Seen Look::ofDaemon() const {
    Agent agent(settings);
    Seen seen;
    seen.watched = agent.isRunning();
    if (!seen.watched) {
        seen.remark =
            "raidwatch is not running, so nobody is told of changes; start it with "
            "\"systemctl start raidwatch\".";
    }
    const Json state = part(agent, "state");
    if (state.is_object()) seen.state = stateFromJson(state);
    for (const Json& incident : part(agent, "incidents")) {
        seen.incidents.push_back(incidentFromJson(incident));
    }
    for (const Json& sink : part(agent, "sinks")) seen.sinks.push_back(sinkOf(sink));
    return seen;
}

Seen Look::ofSource(const std::string& source) const {
    std::string error;
    const std::unique_ptr<VantLib> lib = VantLib::open(source, error);
    if (!lib) throw Failure(Failure::kBadUse, error);
    if (lib->getSystemConfig().status != Ret::kOk) {
        throw Failure(Failure::kFailed, "the storage cannot be read: " + lib->lastError());
    }
    Seen seen;
    StateBuilder builder;
    seen.state = builder.build(*lib, Clock::current().now());
    seen.state.source = source;
    return seen;
}

Seen Look::now(const std::string& source) const {
    if (!source.empty()) return ofSource(source);
    Seen seen = ofDaemon();
    return seen.watched && seen.state.polledAt != 0 ? seen : ofSource(settings.source);
}
