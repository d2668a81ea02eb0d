#include "agent/ConfigJson.h"

#include <cstdio>

#include <nlohmann/json.hpp>

#include "agent/JsonWriter.h"
#include "storlib/Adapter.h"
#include "storlib/Enclosure.h"
#include "storlib/LogicalDrive.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/System.h"

namespace {

using Json = nlohmann::ordered_json;

Json describe(const RaidObject& object);

// What an object knows and does not write about itself, because the snapshot adds it or has no
// place for it.
void addAdapter(const Adapter& adapter, Json& json) {
    json["controllerSerial"] = adapter.controllerSerial;
    json["pciBus"] = adapter.pciBus;
    json["pciDevice"] = adapter.pciDevice;
    json["pciFunction"] = adapter.pciFunction;
    json["batteryStatus"] = static_cast<int>(adapter.batStatus);
    json["batteryTooHot"] = adapter.batTempWarning;
    json["versionMismatch"] = adapter.versionMatchStatus == 1;
    const bool measured = adapter.getFeature(kFeatureTemperature) != 0;
    json["temperature"] = measured ? Json(adapter.temperature) : Json(nullptr);
    json["temperatureLimit"] = measured ? Json(adapter.temperatureLimit) : Json(nullptr);
    json["biosVersion"] = adapter.getBiosVersion();
    json["firmwareVersion"] = adapter.getFirmwareVersion();
    json["deviceDriverVersion"] = adapter.getDeviceDriverVersion();
}

// "2026-11-21T03:46:46", local time; null when not known.
Json creationTime(const LogicalDrive& array) {
    if (array.createYear == 0) return nullptr;
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", array.createYear,
                  array.createMonth, array.createDay, array.createHour, array.createMinute,
                  array.createSecond);
    return text;
}

void addLogicalDrive(const LogicalDrive& array, Json& json) {
    json["dataSpace"] = array.getDataSpace64();
    json["subState"] = array.getSubState();
    json["logicalName"] = array.logicalName;
    json["secondaryLogicals"] = array.secondaryLogicals;
    json["created"] = creationTime(array);
    json["taskInProgress"] = array.bTaskInProgress;
}

template <class Kind>
void addUnits(const Kind& enclosure, bool valid, Json& json) {
    json["dataValid"] = valid;
    json["fanCount"] = enclosure.getFanCount();
    json["powerSupplyCount"] = enclosure.getPowerSupplyCount();
    json["temperatureOutOfRange"] = enclosure.isTempOutOfRange();
}

void addOwnMembers(const RaidObject& object, Json& json) {
    if (const auto* adapter = dynamic_cast<const Adapter*>(&object)) addAdapter(*adapter, json);
    if (const auto* array = dynamic_cast<const LogicalDrive*>(&object)) {
        addLogicalDrive(*array, json);
    }
    if (const auto* shelf = dynamic_cast<const Enclosure*>(&object)) {
        addUnits(*shelf, shelf->isSafteDataValid(), json);
    }
    if (const auto* shelf = dynamic_cast<const SES2EnclosureDevice*>(&object)) {
        addUnits(*shelf, shelf->isSESDataValid(), json);
    }
}

Json describeChildren(const RaidObject& object) {
    Json list = Json::array();
    for (const RaidObject* child : object.getChildren()) {
        if (child != nullptr) list.push_back(describe(*child));
    }
    return list;
}

Json describe(const RaidObject& object) {
    JsonWriter writer;
    object.writeTo(&writer);
    Json described;
    described["type"] = object.typeName();
    described.update(writer.members());
    addOwnMembers(object, described);
    Json children = describeChildren(object);
    if (!children.empty()) described["children"] = std::move(children);
    return described;
}

}  // namespace

std::string configJson(const System& system) {
    Json document;
    document["adapters"] = describeChildren(system);
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}
