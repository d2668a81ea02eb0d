#include "agent/EventJson.h"

#include <ctime>

#include <nlohmann/json.hpp>

#include "agent/EventNames.h"
#include "agent/JsonFields.h"

namespace {

using Json = nlohmann::ordered_json;  // members in the order in which they are documented

Json numberOrNull(int number) { return number == QELEvent::kNotSet ? Json(nullptr) : Json(number); }

struct Identifier {
    const char* name;
    unsigned int Addr::*member;
};

// The chunk, which has another type, stands before the last two.
constexpr Identifier kIdentifiers[] = {
    {"controllerID", &Addr::controllerID},
    {"arrayID", &Addr::arrayID},
    {"logicalDriveID", &Addr::logicalDriveID},
    {"channelID", &Addr::channelID},
    {"deviceID", &Addr::deviceID},
};
constexpr Identifier kLastIdentifiers[] = {{"itemID", &Addr::itemID}, {"phyID", &Addr::phyID}};

Json location(const Addr& at) {
    Json set = Json::object();
    const auto add = [&](const Identifier& id) {
        if (at.*id.member != Addr::kNotSet) set[id.name] = at.*id.member;
    };
    for (const Identifier& id : kIdentifiers) add(id);
    // Both forms of "no chunk" occur.
    if (at.chunkID != Addr::kChunkNotSet && at.chunkID != -1) set["chunkID"] = at.chunkID;
    for (const Identifier& id : kLastIdentifiers) add(id);
    return set;
}

Addr locationOf(const Json& set) {
    Addr at;
    const auto take = [&](const Identifier& id) {
        at.*id.member = static_cast<unsigned int>(numberOf(set, id.name, Addr::kNotSet));
    };
    for (const Identifier& id : kIdentifiers) take(id);
    for (const Identifier& id : kLastIdentifiers) take(id);
    at.chunkID = numberOf(set, "chunkID", Addr::kChunkNotSet);
    return at;
}

int objectTypeOf(const std::string& word) {
    for (int type = QELEvent::kUnknown; type <= QELEvent::kPowerSupply; ++type) {
        if (word == objectTypeWord(type)) return type;
    }
    return QELEvent::kUnknown;
}

}  // namespace

Json eventObject(const QELEvent& event) {
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

QELEvent eventFromObject(const Json& object) {
    QELEvent event;
    event.timeStamp = static_cast<std::time_t>(timeOf(object, "time"));
    event.eventCode = intOf(object, "code", QELEvent::kNotSet);
    event.severity = intOf(object, "severity", QELEvent::kNotSet);
    event.eventId = textOf(object, "eventId");
    event.text = textOf(object, "text");
    event.objectType = objectTypeOf(textOf(object, "objectType"));
    if (object.is_object() && object.contains("location")) {
        event.location = locationOf(object["location"]);
    }
    event.detail = textOf(object, "detail");
    event.value1 = intOf(object, "value1", QELEvent::kNotSet);
    event.value2 = intOf(object, "value2", QELEvent::kNotSet);
    event.value3 = intOf(object, "value3", QELEvent::kNotSet);
    event.adapterSerial = textOf(object, "adapterSerial");
    event.extra1 = textOf(object, "extra1");
    event.extra2 = textOf(object, "extra2");
    event.flags = intOf(object, "flags");
    return event;
}

std::string jsonLine(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string eventJson(const QELEvent& event) { return jsonLine(eventObject(event)); }

std::string eventJson(const QELEvent& event, const std::string& step) {
    Json object = eventObject(event);
    object["step"] = step;
    return jsonLine(object);
}

std::string rfc3339(std::int64_t when) {
    const auto seconds = static_cast<std::time_t>(when);
    std::tm parts{};
    if (gmtime_r(&seconds, &parts) == nullptr) return "1970-01-01T00:00:00Z";
    char text[40];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return std::string(text, length);
}
