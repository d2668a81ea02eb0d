#include "agent/state/TemperatureLog.h"

#include <algorithm>
#include <cstddef>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostTimes = TemperatureLog::kKeptSeconds / TemperatureLog::kEverySeconds + 1;

bool areNumbers(const Json& list) {
    return list.is_array() && std::all_of(list.begin(), list.end(), [](const Json& each) {
               return each.is_number_integer();
           });
}

}  // namespace

TemperatureLog TemperatureLog::parse(const std::string& text) {
    TemperatureLog log;
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object() || !json.contains("at") || !json.contains("of")) return log;
    const Json& at = json["at"];
    const Json& of = json["of"];
    if (!areNumbers(at) || !of.is_object() || at.size() > kMostTimes) return log;
    at.get_to(log.times);
    if (!std::is_sorted(log.times.begin(), log.times.end())) return TemperatureLog();
    for (const auto& [key, degrees] : of.items()) {
        if (!areNumbers(degrees) || degrees.size() != log.times.size()) continue;
        degrees.get_to(log.columns[key]);
    }
    return log;
}

std::string TemperatureLog::text() const {
    Json of = Json::object();
    for (const auto& [key, degrees] : columns) of[key] = degrees;
    return jsonLine({{"at", times}, {"of", of}}) + "\n";
}

bool TemperatureLog::note(const MachineState& machine) {
    const std::int64_t now = machine.polledAt;
    if (now <= 0) return false;
    // A clock that was set back: what is dated ahead of it says nothing any more.
    while (!times.empty() && times.back() > now) {
        times.pop_back();
        for (auto& [key, degrees] : columns) degrees.pop_back();
    }
    if (!times.empty() && now - times.back() < kEverySeconds) return false;
    times.push_back(now);
    for (auto& [key, degrees] : columns) degrees.push_back(kNone);
    for (const DriveState& drive : machine.drives) set(drive.key, drive.temperature);
    for (const ControllerState& each : machine.controllers) set(each.key, each.temperature);
    for (const EnclosureState& enclosure : machine.enclosures) {
        for (const ElementState& element : enclosure.elements) {
            if (element.kind == "temperature") set(enclosure.key, element.value);
        }
    }
    dropBefore(now - kKeptSeconds);
    return true;
}

void TemperatureLog::set(const std::string& key, int degrees) {
    if (degrees < 0) return;
    std::vector<int>& column = columns[key];
    column.resize(times.size(), kNone);
    column.back() = std::max(column.back(), degrees);
}

void TemperatureLog::dropBefore(std::int64_t when) {
    const auto first = std::lower_bound(times.begin(), times.end(), when);
    const auto count = first - times.begin();
    times.erase(times.begin(), first);
    for (auto column = columns.begin(); column != columns.end();) {
        std::vector<int>& degrees = column->second;
        degrees.erase(degrees.begin(), degrees.begin() + count);
        const bool isEmpty =
            std::all_of(degrees.begin(), degrees.end(), [](int each) { return each == kNone; });
        column = isEmpty ? columns.erase(column) : std::next(column);
    }
}

std::vector<TemperatureLog::Sample> TemperatureLog::of(std::string_view key) const {
    std::vector<Sample> samples;
    const auto column = columns.find(key);
    if (column == columns.end()) return samples;
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (column->second[i] != kNone) samples.push_back({times[i], column->second[i]});
    }
    return samples;
}
