#include "agent/EventJson.h"

#include <ctime>

#include <nlohmann/json.hpp>

#include "agent/EventNames.h"

namespace {

using Json = nlohmann::ordered_json;  // members in the order in which they are documented

Json numberOrNull(int number) { return number == QELEvent::kNotSet ? Json(nullptr) : Json(number); }

Json location(const Addr& at) {
    struct Identifier {
        const char* name;
        unsigned int value;
    };
    Json set = Json::object();
    for (const Identifier& id :
         {Identifier{"controllerID", at.controllerID}, Identifier{"arrayID", at.arrayID},
          Identifier{"logicalDriveID", at.logicalDriveID}, Identifier{"channelID", at.channelID},
          Identifier{"deviceID", at.deviceID}}) {
        if (id.value != Addr::kNotSet) set[id.name] = id.value;
    }
    // Both forms of "no chunk" occur.
    if (at.chunkID != Addr::kChunkNotSet && at.chunkID != -1) set["chunkID"] = at.chunkID;
    if (at.itemID != Addr::kNotSet) set["itemID"] = at.itemID;
    if (at.phyID != Addr::kNotSet) set["phyID"] = at.phyID;
    return set;
}

Json members(const QELEvent& event) {
    Json object;
    object["time"] = rfc3339(event.timeStamp);
    object["code"] = numberOrNull(event.eventCode);
    object["severity"] = numberOrNull(event.severity);
    object["eventId"] = event.eventId;
    object["text"] = event.text;
    object["objectType"] = objectTypeWord(event.objectType);
    object["location"] = location(event.location);
    object["detail"] = event.detail;
    object["value1"] = numberOrNull(event.value1);
    object["value2"] = numberOrNull(event.value2);
    object["value3"] = numberOrNull(event.value3);
    object["adapterSerial"] = event.adapterSerial;
    object["extra1"] = event.extra1;
    object["extra2"] = event.extra2;
    object["flags"] = event.flags;
    return object;
}

std::string oneLine(const Json& object) {
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string eventJson(const QELEvent& event) { return oneLine(members(event)); }

std::string eventJson(const QELEvent& event, const std::string& step) {
    Json object = members(event);
    object["step"] = step;
    return oneLine(object);
}

std::string rfc3339(std::int64_t when) {
    const auto seconds = static_cast<std::time_t>(when);
    std::tm parts{};
    if (gmtime_r(&seconds, &parts) == nullptr) return "1970-01-01T00:00:00Z";
    char text[40];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return std::string(text, length);
}
