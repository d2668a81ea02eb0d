#include "agent/status/Look.h"

#include <chrono>
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

// Monitoring systems give up on their plugins after ten seconds.
constexpr std::chrono::seconds kPatience{3};

// What the daemon knows, part by part. Half a picture is better than none: a daemon that does not
// answer is asked once only, then the files that it wrote are read; a part that cannot be had is
// empty.
class Parts {
public:
    explicit Parts(const AgentSettings& settings) : agent(settings, kPatience) {}

    bool isRunning() const { return agent.isRunning(); }
    bool isDeaf() const { return deaf; }

    Json part(const char* what) {
        const Json request{{"do", what}};
        try {
            if (!deaf) return agent.ask(request);
        } catch (const Failure&) {
            deaf = true;
        }
        try {
            return agent.askFiles(request);
        } catch (const Failure&) {
            return Json::array();
        }
    }

private:
    Agent agent;
    bool deaf = false;
};

}  // namespace

Seen Look::ofDaemon() const {
    Parts parts(settings);
    Seen seen;
    seen.watched = parts.isRunning();
    if (!seen.watched) {
        seen.remark =
            "raidwatch is not running, so nobody is told of changes; start it with "
            "\"systemctl start raidwatch\".";
    }
    const Json state = parts.part("state");
    if (state.is_object()) seen.state = stateFromJson(state);
    for (const Json& incident : parts.part("incidents")) {
        seen.incidents.push_back(incidentFromJson(incident));
    }
    for (const Json& sink : parts.part("sinks")) seen.sinks.push_back(sinkOf(sink));
    if (seen.watched && parts.isDeaf()) {
        seen.remark =
            "raidwatch runs but does not answer; this is what it wrote last. See \"systemctl "
            "status raidwatch\".";
    }
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
