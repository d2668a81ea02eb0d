#include "agent/daemon/ChangeRequests.h"

#include <cstddef>
#include <ctime>

#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/JsonFields.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostEvents = 2000;

[[noreturn]] void refuse(const std::string& line) { throw Failure(Failure::kBadUse, line); }

// Without a time it happens now.
QELEvent eventOf(const Json& json) {
    if (!json.is_object()) refuse("each of \"events\" is an object; see raidwatch watch --json");
    QELEvent event = eventFromObject(json);
    if (event.timeStamp == 0) event.timeStamp = static_cast<std::time_t>(Clock::current().now());
    return event;
}

}  // namespace

std::string ChangeRequests::wordOf(const Json& request) { return textOf(request, "do"); }

std::int64_t ChangeRequests::idOf(const Json& request) {
    const std::int64_t id = numberOf(request, "id");
    if (id <= 0) refuse("\"id\" is missing: give the number of the incident or silence");
    return id;
}

AckRequest ChangeRequests::ackOf(const Json& request) {
    return {idOf(request), textOf(request, "by"), textOf(request, "comment"),
            timeOf(request, "until")};
}

Silence ChangeRequests::silenceOf(const Json& request, std::int64_t now) {
    Silence silence;
    silence.object = textOf(request, "object");
    silence.objectName = textOf(request, "objectName");
    silence.from = timeOf(request, "from");
    if (silence.from == 0) silence.from = now;
    silence.until = timeOf(request, "until");
    silence.reason = textOf(request, "reason");
    silence.by = textOf(request, "by");
    if (silence.until <= now || silence.until <= silence.from) {
        refuse("a silence needs an end in the future; give it with --for");
    }
    return silence;
}

std::vector<std::string> ChangeRequests::sinksOf(const Json& request) {
    std::vector<std::string> sinks;
    const auto found = request.find("sinks");
    if (found == request.end() || !found->is_array()) return sinks;
    for (const Json& name : *found) {
        if (!name.is_string()) refuse("\"sinks\" is a list of names");
        sinks.push_back(name.get<std::string>());
    }
    return sinks;
}

std::vector<QELEvent> ChangeRequests::eventsOf(const Json& request) {
    const auto found = request.find("events");
    if (found == request.end() || !found->is_array() || found->empty()) {
        refuse("a drill needs \"events\"");
    }
    if (found->size() > kMostEvents) {
        refuse("a drill takes at most " + std::to_string(kMostEvents) + " events");
    }
    std::vector<QELEvent> events;
    for (const Json& json : *found) events.push_back(eventOf(json));
    return events;
}
