#include "agent/commands/DrillVerb.h"

#include <unistd.h>

#include <memory>

#include <nlohmann/json.hpp>

#include "agent/EngineFolder.h"
#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/Replayer.h"
#include "agent/SafeText.h"
#include "agent/StopSignal.h"
#include "agent/commands/DeliveryReport.h"
#include "storlib/sources/Scenario.h"
#include "storlib/sources/ScenarioSource.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kLongestPatience = 3600;

// Of a scenario by its file, or by its name.
std::string fileOf(const std::string& scenario) {
    if (access(scenario.c_str(), F_OK) == 0) return scenario;
    const std::string shipped = EngineFolder::shippedScenario(scenario);
    if (!shipped.empty()) return shipped;
    throw Failure(Failure::kBadUse,
                  safeText(scenario) +
                      ": there is no such file, nor is a scenario of this name installed; give a "
                      "file, or see the names in /usr/share/qel/scenarios");
}

}  // namespace

void DrillVerb::declare(Flags& flags) {
    flags
        .option("SCENARIO", file,
                "scenario file, or the name of a shipped one (whole-story); raidwatch "
                "scenario play shows its events")
        .required();
    flags.option("--wait", patience, "so many seconds for the answers")
        .between(0, kLongestPatience)
        .showDefault();
    flags.option("--lang", language, "language of the texts (default: as installed)");
    flags.flag("--json", json, "one JSON object per sink");
}

// The play is over, and the engine free again, before the daemon is told.
Json DrillVerb::played(const Context& context) const {
    std::string error;
    std::unique_ptr<ScenarioSource> source = ScenarioSource::open(fileOf(file), error);
    if (!source) throw Failure(Failure::kBadUse, error);
    const std::string title = source->getScenario().title();
    Json events = Json::array();
    Replayer replayer(std::move(source), language);
    while (!context.stop.requested() && replayer.next()) {
        for (const QELEvent& event : replayer.events()) events.push_back(eventObject(event));
        if (!replayer.problem().empty()) context.note(safeText(replayer.problem()));
    }
    if (context.stop.requested()) throw Failure(Failure::kFailed, "interrupted");
    if (events.empty()) {
        throw Failure(Failure::kBadUse, safeText(file) +
                                            ": nothing happens in it; see raidwatch "
                                            "scenario play");
    }
    if (!json) {
        context.note("DRILL: " + safeText(title) + ", " + std::to_string(events.size()) +
                     (events.size() == 1 ? " event" : " events"));
    }
    return {{"do", "drill"}, {"name", title}, {"events", events}};
}

int DrillVerb::work(const Context& context, Ask& agent) {
    const Json request = played(context);
    DeliveryReport report(context, agent, std::chrono::seconds(patience), json);
    return report.run(agent.change(request));
}
