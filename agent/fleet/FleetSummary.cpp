#include "agent/fleet/FleetSummary.h"

#include <algorithm>
#include <map>
#include <tuple>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/JsonFields.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kForm = 1;
constexpr int kMostCounted = 100000;  // drives of one machine

Json knownOrNull(int number) { return number < 0 ? Json(nullptr) : Json(number); }

Json arrayJson(const FleetSummary::Array& array) {
    return {{"name", array.name},
            {"level", array.level},
            {"state", array.state},
            {"devices", array.devices},
            {"working", array.working},
            {"survives", knownOrNull(array.survives)},
            {"fullSurvives", knownOrNull(array.fullSurvives)},
            {"exposedSince", timeOrNull(array.exposedSince)}};
}

// A number that sums of can be made, whatever was sent.
int countOf(const Json& json, const char* name, int otherwise = 0) {
    return std::clamp(intOf(json, name, otherwise), -1, kMostCounted);
}

FleetSummary::Array arrayOf(const Json& json) {
    FleetSummary::Array array;
    array.name = shortTextOf(json, "name");
    array.level = shortTextOf(json, "level");
    array.state = shortTextOf(json, "state");
    array.devices = countOf(json, "devices");
    array.working = countOf(json, "working");
    array.survives = countOf(json, "survives", -1);
    array.fullSurvives = countOf(json, "fullSurvives", -1);
    array.exposedSince = timeOf(json, "exposedSince");
    return array;
}

Json modelJson(const FleetSummary::Model& model) {
    return {{"vendor", model.vendor},
            {"model", model.model},
            {"firmware", model.firmware},
            {"drives", model.drives}};
}

FleetSummary::Model modelOf(const Json& json) {
    return {shortTextOf(json, "vendor"), shortTextOf(json, "model"), shortTextOf(json, "firmware"),
            std::max(countOf(json, "drives"), 0)};
}

Json troubleJson(const FleetSummary::Trouble& trouble) {
    return {{"object", trouble.object},
            {"value", trouble.value},
            {"severity", trouble.severity},
            {"since", timeOrNull(trouble.since)},
            {"acknowledged", trouble.acknowledged}};
}

FleetSummary::Trouble troubleOf(const Json& json) {
    return {shortTextOf(json, "object"), shortTextOf(json, "value"), intOf(json, "severity"),
            timeOf(json, "since"), truthOf(json, "acknowledged", false)};
}

template <typename Thing>
Json listOf(const std::vector<Thing>& things, Json (*write)(const Thing&)) {
    Json list = Json::array();
    for (const Thing& thing : things) list.push_back(write(thing));
    return list;
}

// As many as fit; who sends more has sent something else.
template <typename Thing>
void readList(const Json& json, const char* name, std::size_t most, Thing (*read)(const Json&),
              std::vector<Thing>& things) {
    if (!json.is_object() || !json.contains(name) || !json[name].is_array()) return;
    for (const Json& each : json[name]) {
        if (things.size() == most) return;
        things.push_back(read(each));
    }
}

Verdict::Level levelOf(const std::string& word) {
    for (const Verdict::Level level : {Verdict::kOk, Verdict::kWarning, Verdict::kCritical}) {
        if (word == levelWord(level)) return level;
    }
    return Verdict::kUnknown;
}

std::vector<FleetSummary::Model> modelsOf(const MachineState& state) {
    std::map<std::tuple<std::string, std::string, std::string>, int> counts;
    for (const DriveState& drive : state.drives) {
        ++counts[{drive.vendor, drive.model, drive.firmware}];
    }
    std::vector<FleetSummary::Model> models;
    for (const auto& [key, count] : counts) {
        if (models.size() == FleetSummary::kMostModels) break;
        models.push_back({std::get<0>(key), std::get<1>(key), std::get<2>(key), count});
    }
    return models;
}

std::vector<FleetSummary::Trouble> troublesOf(const std::vector<Incident>& open) {
    std::vector<FleetSummary::Trouble> troubles;
    troubles.reserve(open.size());
    for (const Incident& incident : open) {
        troubles.push_back({incident.objectName, incident.value, incident.severity,
                            incident.openedAt, incident.acknowledged()});
    }
    std::stable_sort(troubles.begin(), troubles.end(),
                     [](const auto& a, const auto& b) { return a.severity < b.severity; });
    if (troubles.size() > FleetSummary::kMostTroubles) {
        troubles.resize(FleetSummary::kMostTroubles);
    }
    return troubles;
}

}  // namespace

FleetSummary summaryOf(const MachineState& state, const std::vector<Incident>& open) {
    FleetSummary summary;
    summary.host = state.host;
    // As of that look; how old it is, the beat says.
    const Verdict found = verdict(state, open, state.polledAt, 1);
    summary.level = found.level;
    summary.sentence = found.sentence;
    for (const ArrayState& array : state.arrays) {
        if (summary.arrays.size() == FleetSummary::kMostArrays) break;
        summary.arrays.push_back({array.name, array.level, array.state, array.devices,
                                  array.working, array.survives, array.fullSurvives,
                                  array.exposedSince});
    }
    summary.drives = static_cast<int>(state.drives.size());
    for (const DriveState& drive : state.drives) {
        if (drive.state == "failed") ++summary.failedDrives;
        if (drive.predicted) ++summary.predictedDrives;
    }
    summary.models = modelsOf(state);
    summary.troubles = troublesOf(open);
    summary.openIncidents = static_cast<int>(open.size());
    return summary;
}

std::string FleetSummary::json() const {
    return jsonLine(Json{{"form", kForm},
                         {"host", host},
                         {"verdict", levelWord(level)},
                         {"sentence", sentence},
                         {"arrays", listOf(arrays, arrayJson)},
                         {"drives", drives},
                         {"failedDrives", failedDrives},
                         {"predictedDrives", predictedDrives},
                         {"models", listOf(models, modelJson)},
                         {"openIncidents", openIncidents},
                         {"incidents", listOf(troubles, troubleJson)}});
}

FleetSummary FleetSummary::of(const std::string& json) {
    const Json read = Json::parse(json, nullptr, false);
    FleetSummary summary;
    summary.host = shortTextOf(read, "host");
    summary.level = levelOf(shortTextOf(read, "verdict"));
    summary.sentence = shortTextOf(read, "sentence");
    readList(read, "arrays", kMostArrays, arrayOf, summary.arrays);
    summary.drives = countOf(read, "drives");
    summary.failedDrives = countOf(read, "failedDrives");
    summary.predictedDrives = countOf(read, "predictedDrives");
    readList(read, "models", kMostModels, modelOf, summary.models);
    readList(read, "incidents", kMostTroubles, troubleOf, summary.troubles);
    summary.openIncidents = countOf(read, "openIncidents");
    return summary;
}
