// SimpleState: a MachineState and keys of objects made straight from a tree, enough for tests that
// play recordings and scenarios through the incidents. Not the one that users see.
#ifndef TESTS_AGENT_SIMPLESTATE_H
#define TESTS_AGENT_SIMPLESTATE_H

#include <map>
#include <string>
#include <vector>

#include "agent/EventNames.h"
#include "agent/spool/Record.h"
#include "agent/state/MachineState.h"
#include "storlib/Adapter.h"
#include "storlib/Channel.h"
#include "storlib/Enclosure.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/StorEnums.h"
#include "storlib/System.h"

namespace simple {

inline std::string place(const Addr& at) {
    return std::to_string(at.controllerID) + ":" + std::to_string(at.channelID) + ":" +
           std::to_string(at.deviceID);
}

inline std::string driveKey(const std::string& serial, const Addr& at) {
    return serial.empty() ? "drive:at:" + place(at) : "drive:" + serial;
}

inline std::string arrayKey(unsigned adapter, unsigned number) {
    return "array:" + std::to_string(adapter) + ":" + std::to_string(number);
}

template <class Kind>
std::vector<const Kind*> below(const RaidObject& object, const char* type) {
    std::vector<RaidObject*> list;
    object.getChildren(list, type, true, true);
    std::vector<const Kind*> found;
    for (const RaidObject* each : list) {
        if (const auto* kind = dynamic_cast<const Kind*>(each)) found.push_back(kind);
    }
    return found;
}

inline std::string driveState(int state) {
    const std::map<int, std::string> words = {
        {kDriveReady, "unused"},   {kDriveMember, "normal"},         {kDriveFailed, "failed"},
        {kDriveHotSpare, "spare"}, {kDriveRebuilding, "rebuilding"}, {kDriveNotPresent, "missing"}};
    const auto word = words.find(state);
    return word == words.end() ? "unknown" : word->second;
}

inline std::string arrayState(int state) {
    const std::map<int, std::string> words = {{kLogicalOffline, "offline"},
                                              {kLogicalOptimal, "normal"},
                                              {kLogicalDegraded, "degraded"},
                                              {kLogicalResyncing, "checking"},
                                              {kLogicalRebuilding, "rebuilding"}};
    const auto word = words.find(state);
    return word == words.end() ? "unknown" : word->second;
}

inline ArrayState arrayOf(const LogicalDrive& logical) {
    ArrayState array;
    array.adapter = static_cast<int>(logical.addr.controllerID);
    array.number = static_cast<int>(logical.addr.logicalDriveID);
    array.key = arrayKey(logical.addr.controllerID, logical.addr.logicalDriveID);
    array.name = "array " + std::to_string(array.adapter) + ":" + std::to_string(array.number);
    array.state = arrayState(logical.getState());
    return array;
}

// With one array, all drives at work belong to it.
inline void giveMembers(MachineState& state) {
    if (state.arrays.size() != 1) return;
    ArrayState& array = state.arrays.front();
    for (DriveState& drive : state.drives) {
        const bool works = drive.state == "normal" || drive.state == "rebuilding";
        if (!works && drive.state != "spare") continue;
        if (works) drive.array = array.key;
        array.members.push_back({drive.key, drive.name, -1, works ? "active" : "spare"});
    }
}

inline MachineState stateOf(const System& system, std::int64_t now) {
    MachineState state;
    state.host = "stor7";
    state.polledAt = now;
    for (const HardDrive* drive : below<HardDrive>(system, "HardDrive")) {
        DriveState one;
        one.key = driveKey(drive->serialNumber, drive->addr);
        one.name = "drive " + place(drive->addr);
        one.adapter = static_cast<int>(drive->addr.controllerID);
        one.serial = drive->serialNumber;
        one.state = driveState(drive->state);
        one.predicted = drive->getPfaError();
        state.drives.push_back(one);
    }
    for (const LogicalDrive* logical : below<LogicalDrive>(system, "LogicalDrive")) {
        if (logical->getState() != kLogicalFree) state.arrays.push_back(arrayOf(*logical));
    }
    const auto addEnclosure = [&state](const Addr& at, bool answers) {
        EnclosureState one;
        one.key = "enclosure:" + place(at);
        one.name = "enclosure " + place(at);
        one.adapter = static_cast<int>(at.controllerID);
        one.channel = static_cast<int>(at.channelID);
        one.device = static_cast<int>(at.deviceID);
        one.state = answers ? "normal" : "failed";
        state.enclosures.push_back(one);
    };
    for (const auto* each : below<Enclosure>(system, "Enclosure"))
        addEnclosure(each->addr, each->isSafteDataValid());
    for (const auto* each : below<SES2EnclosureDevice>(system, "SES2EnclosureDevice")) {
        addEnclosure(each->addr, each->isSESDataValid());
    }
    return state;
}

inline Record recordOf(const QELEvent& event, std::int64_t sequence) {
    Record record;
    record.sequence = sequence;
    record.event = event;
    record.objectName = objectPlace(event);
    const Addr& at = event.location;
    switch (event.objectType) {
        case QELEvent::kAdapter:
            record.object = "adapter:" + std::to_string(at.controllerID);
            break;
        case QELEvent::kLogicalDrive:
            record.object = arrayKey(at.controllerID, at.logicalDriveID);
            break;
        case QELEvent::kPhysicalDrive:
            record.object = driveKey(event.extra1, at);
            break;
        default:
            record.object = record.objectName;
    }
    return record;
}

}  // namespace simple

#endif  // TESTS_AGENT_SIMPLESTATE_H
