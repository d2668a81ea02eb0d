#include "agent/EventNames.h"

#include <algorithm>
#include <iterator>

#include "events/QELEvent.h"

namespace {

constexpr const char* kObjectTypes[] = {"unknown",   "system",       "adapter",
                                        "array",     "logicalDrive", "physicalDrive",
                                        "enclosure", "fan",          "powerSupply"};
constexpr const char* kSeverities[] = {"",     "ERROR",    "WARNING", "INFO",
                                       "TASK", "PROGRESS", "DETAIL",  "ALL"};
constexpr int kCompanions[] = {299, 399, 499};

template <class Table>
bool hasRow(const Table& table, int number) {
    return number >= 0 && number < static_cast<int>(std::size(table));
}

std::string number(unsigned int identifier) {
    return identifier == Addr::kNotSet ? "-" : std::to_string(identifier);
}

std::string devicePlace(const Addr& at) {
    return number(at.controllerID) + ":" + number(at.channelID) + ":" + number(at.deviceID);
}

// Units are counted from 1, as their labels and the event texts do.
std::string unit(const char* word, int index, const Addr& at) {
    const std::string which = index == QELEvent::kNotSet ? "-" : std::to_string(index + 1);
    return std::string(word) + " " + which + " " + devicePlace(at);
}

}  // namespace

std::string objectTypeWord(int objectType) {
    return hasRow(kObjectTypes, objectType) ? kObjectTypes[objectType] : kObjectTypes[0];
}

std::string severityWord(int severity) {
    if (severity == QELEvent::kNotSet) return "";
    if (severity > 0 && hasRow(kSeverities, severity)) return kSeverities[severity];
    return "LEVEL " + std::to_string(severity);
}

std::string objectPlace(const QELEvent& event) {
    const Addr& at = event.location;
    switch (event.objectType) {
        case QELEvent::kAdapter:
            return "adapter " + number(at.controllerID);
        case QELEvent::kArray:
            return "array " + number(at.arrayID);
        case QELEvent::kLogicalDrive:
            return "array " + number(at.logicalDriveID);
        case QELEvent::kPhysicalDrive:
            return "drive " + devicePlace(at);
        case QELEvent::kEnclosure:
            return "enclosure " + devicePlace(at);
        case QELEvent::kFan:
            return unit("fan", event.value2, at);
        case QELEvent::kPowerSupply:
            return unit("supply", event.value3, at);
        case QELEvent::kSystem:
            return "system";
        default:
            return "";
    }
}

bool isCompanion(int code) {
    return std::find(std::begin(kCompanions), std::end(kCompanions), code) != std::end(kCompanions);
}
