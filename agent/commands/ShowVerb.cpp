#include "agent/commands/ShowVerb.h"

#include <chrono>

#include <nlohmann/json.hpp>

#include "agent/Duration.h"
#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/TimeWords.h"
#include "agent/commands/CommandSettings.h"
#include "agent/commands/RecordPrinter.h"
#include "agent/daemon/Agent.h"
#include "agent/incidents/IncidentJson.h"
#include "agent/state/ObjectKeys.h"
#include "agent/status/Look.h"
#include "agent/status/ObjectText.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kLastEvents = 5;
constexpr std::chrono::seconds kPatience{3};

// The one object that is meant; anything else is an error that names what to say instead.
ObjectKey theOne(const MachineState& state, const std::string& wanted) {
    const std::vector<ObjectKey> found = findObjects(state, wanted);
    if (found.empty()) {
        throw Failure(Failure::kBadUse, "nothing here is called \"" + safeText(wanted) +
                                            "\"; \"raidwatch list\" shows names, serial numbers "
                                            "and places");
    }
    if (found.size() == 1) return found.front();
    std::string line = "\"" + safeText(wanted) + "\" names more than one thing; say which:";
    for (const ObjectKey& each : found) line += " \"" + safeText(each.key) + "\"";
    throw Failure(Failure::kBadUse, line);
}

// What is open about an object, and what was last recorded of it.
struct History {
    Json incidents = Json::array();
    Json events = Json::array();
};

// Without a daemon and its records there is none.
History historyOf(const AgentSettings& settings, const std::string& key) {
    History history;
    Agent agent(settings, kPatience);
    try {
        for (const Json& row : agent.ask({{"do", "incidents"}, {"all", false}})) {
            if (incidentFromJson(row).object == key) history.incidents.push_back(row);
        }
        history.events = agent.ask({{"do", "events"},
                                    {"object", key},
                                    {"notices", false},
                                    {"limit", kLastEvents},
                                    {"newest", true}});
    } catch (const Failure&) {
        return history;
    }
    return history;
}

void tell(const Context& context, const History& history, std::int64_t now) {
    if (!history.incidents.empty()) context.out.write("\nOpen incidents\n");
    for (const Json& row : history.incidents) {
        const Incident incident = incidentFromJson(row);
        context.out.line(
            "  #" + std::to_string(incident.id) + "  " + safeText(incident.value) + " since " +
            localTimeText(incident.openedAt) + " (" + durationText(now - incident.openedAt) + ")" +
            (incident.acknowledged() ? ", acknowledged by " + safeText(incident.ackBy)
                                     : "; raidwatch ack " + std::to_string(incident.id)));
    }
    if (history.events.empty()) return;
    context.out.write("\nLast events\n");
    RecordPrinter printer(context, RecordPrinter::Form::kTextAll);
    for (const Json& row : history.events) printer.print(row);
}

}  // namespace

void ShowVerb::declare(Flags& flags) {
    flags
        .words("OBJECT", object,
               "md0, /dev/sdb, a serial number, a WWN, c1:e2:s4, ld0, controller 1")
        .required();
    flags.option("--source", source, "read this source once, now, instead of asking the daemon");
    flags.flag("--json", json, "one JSON document");
}

int ShowVerb::run(const Context& context) {
    const AgentSettings settings = readSettings(context);
    const MachineState state = Look(settings).now(source).state;
    std::string name;
    for (const std::string& word : object) name += (name.empty() ? "" : " ") + word;
    const ObjectKey wanted = theOne(state, name);
    const History history = source.empty() ? historyOf(settings, wanted.key) : History();
    if (json) {
        Json document = objectJson(state, wanted.key);
        document["incidents"] = history.incidents;
        document["events"] = history.events;
        context.out.line(document.dump(2, ' ', false, Json::error_handler_t::replace));
        return Failure::kDone;
    }
    const std::int64_t now = Clock::current().now();
    context.out.write(objectText(state, wanted.key, now));
    tell(context, history, now);
    return Failure::kDone;
}
