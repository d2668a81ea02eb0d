#include "agent/web/WebKnowledge.h"

#include <sys/stat.h>

#include <cstdlib>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/SafeFile.h"
#include "agent/state/StateJson.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr char kUnknown[] = "unknown";

// "" when there is no file.
std::string stampOf(const std::string& file) {
    struct stat info {};
    if (stat(file.c_str(), &info) != 0) return "";
    return std::to_string(info.st_ino) + " " + std::to_string(info.st_size) + " " +
           std::to_string(info.st_mtim.tv_sec) + " " + std::to_string(info.st_mtim.tv_nsec);
}

template <class List>
void makeUnknown(List& list) {
    for (auto& each : list) each.state = kUnknown;
}

MachineState withoutStates(MachineState state) {
    makeUnknown(state.arrays);
    makeUnknown(state.drives);
    makeUnknown(state.enclosures);
    makeUnknown(state.controllers);
    for (ArrayState& array : state.arrays) {
        makeUnknown(array.members);
        array.survives = -1;
        array.task = TaskState();
    }
    for (DriveState& drive : state.drives) drive.temperature = -1;
    for (ControllerState& controller : state.controllers) controller.temperature = -1;
    for (EnclosureState& enclosure : state.enclosures) {
        makeUnknown(enclosure.elements);
        for (ElementState& element : enclosure.elements) element.value = -1;
    }
    return state;
}

// Each with its topic before it, as {"spool": "the disk is full"} says it.
std::vector<std::string> problemsIn(const Json& state) {
    std::vector<std::string> lines;
    const Json daemon = state.value("daemon", Json::object());
    const Json found = daemon.is_object() ? daemon.value("problems", Json::object()) : Json();
    if (!found.is_object()) return lines;
    for (const auto& [topic, line] : found.items()) {
        if (line.is_string()) lines.push_back(topic + ": " + line.get<std::string>());
    }
    return lines;
}

}  // namespace

std::int64_t WebKnowledge::now() { return Clock::current().now(); }

void WebKnowledge::look() {
    const std::string fresh = stampOf(parts.stateFile);
    if (fresh == stamp) return;
    stamp.clear();
    seen = MachineState();
    trouble.clear();
    std::string text;
    if (!fresh.empty() && readSafely(parts.stateFile, text)) {
        const Json json = Json::parse(text, nullptr, false);
        if (!json.is_object()) throw Failure(Failure::kFailed, parts.stateFile + " is damaged");
        seen = stateFromJson(json);
        trouble = problemsIn(json);
    }
    unknown = withoutStates(seen);
    stamp = fresh;
}

const MachineState& WebKnowledge::lastSeen() {
    look();
    return seen;
}

bool WebKnowledge::isStale() {
    look();
    return seen.polledAt == 0 || std::llabs(now() - seen.polledAt) > parts.staleAfter;
}

const MachineState& WebKnowledge::machine() { return isStale() ? unknown : seen; }

const std::vector<std::string>& WebKnowledge::problems() {
    look();
    return trouble;
}

Spool& WebKnowledge::spool() {
    if (database && !database->isCurrent()) database.reset();  // it was set aside
    try {
        if (!database) {
            database = std::make_unique<Spool>(parts.spoolFile, Spool::Access::kReadOnly);
        }
    } catch (const SpoolError& e) {
        throw SpoolError(reasonFor(e), e.kind);
    }
    return *database;
}

// The daemon knows better why there is none.
std::string WebKnowledge::reasonFor(const SpoolError& error) {
    const std::string topic = "spool: ";
    for (const std::string& line : problems()) {
        if (line.compare(0, topic.size(), topic) == 0) return line.substr(topic.size());
    }
    return error.what();
}

Verdict WebKnowledge::verdictNow(const std::vector<Incident>& open) {
    return verdict(lastSeen(), open, now(), parts.staleAfter);
}

TemperatureLog WebKnowledge::temperatures() {
    std::string text;
    if (parts.temperatureFile.empty() || !readSafely(parts.temperatureFile, text)) return {};
    return TemperatureLog::parse(text);
}

void WebKnowledge::forget() {
    database.reset();
    stamp.clear();
    seen = MachineState();
    unknown = MachineState();
    trouble.clear();
}
