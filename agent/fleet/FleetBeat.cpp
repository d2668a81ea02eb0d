#include "agent/fleet/FleetBeat.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/JsonFields.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kForm = 1;
constexpr std::int64_t kLongest = 86400;

}  // namespace

std::string FleetBeat::json() const {
    return jsonLine(Json{{"form", kForm},
                         {"machine", machine},
                         {"instance", instance},
                         {"beat", beat},
                         {"host", host},
                         {"version", version},
                         {"polledAt", timeOrNull(polledAt)},
                         {"lastSequence", lastSequence},
                         {"every", every}});
}

FleetBeat FleetBeat::of(const std::string& json) {
    const Json read = shallowJson(json);
    FleetBeat beat;
    beat.machine = shortTextOf(read, "machine");
    beat.instance = shortTextOf(read, "instance");
    beat.beat = shortTextOf(read, "beat");
    beat.host = shortTextOf(read, "host");
    beat.version = shortTextOf(read, "version");
    beat.polledAt = timeOf(read, "polledAt");
    beat.lastSequence = numberOf(read, "lastSequence");
    beat.every = std::clamp<std::int64_t>(numberOf(read, "every", 60), 1, kLongest);
    return beat;
}
