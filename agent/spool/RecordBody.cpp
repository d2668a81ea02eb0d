#include "agent/spool/RecordBody.h"

#include <ctime>

#include <nlohmann/json.hpp>

#include "agent/JsonFields.h"
#include "agent/incidents/IncidentJson.h"
#include "agent/spool/StoredJson.h"

namespace {

using Json = nlohmann::ordered_json;

struct PlaceField {
    const char* name;
    unsigned int Addr::*member;
};

constexpr PlaceField kPlaceFields[] = {
    {"controllerID", &Addr::controllerID},
    {"arrayID", &Addr::arrayID},
    {"logicalDriveID", &Addr::logicalDriveID},
    {"channelID", &Addr::channelID},
    {"deviceID", &Addr::deviceID},
    {"itemID", &Addr::itemID},
    {"phyID", &Addr::phyID},
};

struct NumberField {
    const char* name;
    int QELEvent::*member;
};

constexpr NumberField kNumberFields[] = {
    {"code", &QELEvent::eventCode},  {"severity", &QELEvent::severity},
    {"type", &QELEvent::objectType}, {"value1", &QELEvent::value1},
    {"value2", &QELEvent::value2},   {"value3", &QELEvent::value3},
    {"flags", &QELEvent::flags},
};

struct TextField {
    const char* name;
    std::string QELEvent::*member;
};

constexpr TextField kTextFields[] = {
    {"text", &QELEvent::text},       {"detail", &QELEvent::detail},
    {"eventId", &QELEvent::eventId}, {"adapterSerial", &QELEvent::adapterSerial},
    {"extra1", &QELEvent::extra1},   {"extra2", &QELEvent::extra2},
};

Json placeBody(const Addr& at) {
    Json json = Json::object();
    for (const PlaceField& field : kPlaceFields) {
        if (at.*field.member != Addr::kNotSet) json[field.name] = at.*field.member;
    }
    if (at.chunkID != Addr::kChunkNotSet) json["chunkID"] = at.chunkID;
    return json;
}

Addr placeOf(const Json& json) {
    Addr at;
    for (const PlaceField& field : kPlaceFields) {
        at.*field.member = static_cast<unsigned int>(numberOf(json, field.name, Addr::kNotSet));
    }
    at.chunkID = numberOf(json, "chunkID", Addr::kChunkNotSet);
    return at;
}

Json eventBody(const QELEvent& event) {
    Json json;
    json["time"] = static_cast<std::int64_t>(event.timeStamp);
    for (const NumberField& field : kNumberFields) json[field.name] = event.*field.member;
    for (const TextField& field : kTextFields) json[field.name] = event.*field.member;
    json["location"] = placeBody(event.location);
    return json;
}

QELEvent eventOf(const Json& json) {
    QELEvent event;
    event.timeStamp = static_cast<std::time_t>(numberOf(json, "time"));
    for (const NumberField& field : kNumberFields) {
        event.*field.member = intOf(json, field.name, event.*field.member);
    }
    for (const TextField& field : kTextFields) event.*field.member = textOf(json, field.name);
    if (json.contains("location")) event.location = placeOf(json["location"]);
    return event;
}

}  // namespace

std::string recordBody(const Record& record) {
    return storedJson(record.kind == Record::Kind::kEvent ? eventBody(record.event)
                                                          : noticeJson(record.notice));
}

bool readRecordBody(const std::string& body, Record& record) {
    const Json json = fromStoredJson(body);
    if (!json.is_object()) return false;
    if (record.kind == Record::Kind::kEvent) {
        record.event = eventOf(json);
    } else {
        record.notice = noticeFromJson(json);
    }
    return true;
}
