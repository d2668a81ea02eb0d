#include "agent/state/StateBuilder.h"

#include <unistd.h>

#include <algorithm>
#include <set>
#include <vector>

#include "agent/NumberWord.h"
#include "agent/SataPort.h"
#include "agent/StorageTree.h"
#include "agent/StorageWords.h"
#include "agent/incidents/Redundancy.h"
#include "storlib/Adapter.h"
#include "storlib/Channel.h"
#include "storlib/Enclosure.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/ProgressCollection.h"
#include "storlib/SASPhy.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "storlib/SafteConfig.h"
#include "storlib/SafteStatus.h"
#include "storlib/System.h"
#include "storlib/VantLib.h"

namespace {

constexpr char kUnknown[] = "unknown";

// clang-format off
constexpr NumberWord kMemberWords[] = {
    {ArrayMember::kActive,     "active"},
    {ArrayMember::kRebuilding, "rebuilding"},
    {ArrayMember::kFailed,     "failed"},
    {ArrayMember::kSpare,      "spare"},
    {ArrayMember::kMissing,    "missing"},
};
constexpr NumberWord kTaskWords[] = {
    {kTaskInitialize,  "initialize"},
    {kTaskSynchronize, "resync"},
    {kTaskVerify,      "check"},
    {kTaskRebuild,     "rebuild"},
};
constexpr NumberWord kElementWords[] = {
    {kSesOk,            "normal"},
    {kSesCritical,      "failed"},
    {kSesNonCritical,   "degraded"},
    {kSesUnrecoverable, "failed"},
    {kSesNotInstalled,  "missing"},
};
constexpr NumberWord kBatteryWords[] = {
    {kBatteryNone,        ""},
    {kBatteryCharging,    "charging"},
    {kBatteryNormal,      "normal"},
    {kBatteryNew,         "normal"},
    {kBatteryOptimal,     "normal"},
    {kBatteryLow,         "low"},
    {kBatteryDischarging, "discharging"},
};
// SAF-TE, "read enclosure status".
constexpr NumberWord kSafteFanWords[] = {{0, "normal"}, {1, "failed"}, {2, "missing"}};
constexpr NumberWord kSafteSupplyWords[] = {{0, "normal"}, {0x10, "failed"}, {0x20, "missing"}};
constexpr NumberWord kRates[] = {
    {1, "disabled"}, {2, "failed"}, {8, "1.5 Gbit"}, {9, "3 Gbit"}, {10, "6 Gbit"},
    {11, "12 Gbit"}, {12, "22.5 Gbit"},
};
// clang-format on

std::string hostName() {
    char name[256] = {};
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

std::string orEmpty(const char* text) { return text == nullptr ? std::string() : text; }

// What people see has -1 for a number that is not known.
int readingOf(int measured) {
    constexpr int kNotSet = 0x7fffffff;
    return measured < 0 || measured == kNotSet ? -1 : measured;
}

// A serial number is as unique as its maker is careful; a second drive with the same one is told
// by its place as well.
class KeyGiver {
public:
    std::string give(const std::string& kind, const std::string& serial, const std::string& wwn,
                     const std::string& place) {
        const std::string& name = serial.empty() ? wwn : serial;
        std::string key = kind + ":" + (name.empty() ? "at:" + place : name);
        if (!given.insert(key).second) key += "@" + place;
        given.insert(key);
        return key;
    }

private:
    std::set<std::string> given;
};

DriveState driveOf(const HardDrive& drive, KeyGiver& keys) {
    DriveState state;
    state.adapter = static_cast<int>(drive.addr.controllerID);
    state.channel = static_cast<int>(drive.addr.channelID);
    state.device = static_cast<int>(drive.addr.deviceID);
    state.name = "drive " + placeText(drive.addr);
    state.osName = drive.osName;
    state.vendor = drive.vendor;
    state.model = drive.model;
    state.serial = drive.serialNumber;
    state.wwn = drive.wwn;
    state.partNumber = drive.fruNumber;
    state.firmware = drive.firmwareLevel;
    state.sizeMB = std::max<std::int64_t>(0, drive.size);
    state.state = driveWord(drive.state);
    state.predicted = drive.getPfaError();
    state.temperature = readingOf(drive.temperature);
    state.key = keys.give("drive", state.serial, state.wwn, placeText(drive.addr));
    state.slotName = sataPortName(drive);
    return state;
}

ArrayState arrayOf(const LogicalDrive& array, bool inBlocks) {
    ArrayState state;
    state.adapter = static_cast<int>(array.addr.controllerID);
    state.number = static_cast<int>(array.addr.logicalDriveID);
    const std::string place = std::to_string(state.adapter) + ":" + std::to_string(state.number);
    state.key = "array:" + place;
    state.name = array.osName.empty() ? "array " + place : array.osName;
    if (array.logicalName != array.osName) state.label = array.logicalName;
    state.level = raidLevelWord(array.getRaidLevel());
    const unsigned long long size = array.getDataSpace64();
    state.sizeMB = static_cast<std::int64_t>(inBlocks ? size / 2048 : size);
    state.state = arrayWord(array.getState());
    if (array.getBlockedAccess()) state.state = "offline";
    state.devices = array.raidDevices;
    state.badStripes = array.badBlockCount;
    for (const ArrayMember& each : array.members) {
        MemberState member;
        member.slot = each.slot;
        member.state = wordFor(kMemberWords, each.role, kUnknown);
        member.name = each.osName;
        if (each.role == ArrayMember::kActive) ++state.working;
        if (each.role == ArrayMember::kSpare) ++state.spares;
        state.members.push_back(member);
    }
    if (state.devices > 0) state.working = std::min(state.working, state.devices);
    state.fullSurvives = fullRedundancy(array.getRaidLevel(), state.devices, array.copies);
    const bool lost = state.state == "failed" || state.state == "offline";
    state.survives =
        lost ? 0
             : survivesFailures(array.getRaidLevel(), state.devices, state.working, array.copies);
    return state;
}

// Ties members to the drives that stand at their addresses, and drives to their array.
void linkMembers(MachineState& machine, ArrayState& state, const LogicalDrive& array) {
    for (std::size_t i = 0; i < state.members.size(); ++i) {
        const Addr& at = array.members[i].drive;
        MemberState& member = state.members[i];
        if (at.deviceID == Addr::kNotSet) continue;
        for (DriveState& drive : machine.drives) {
            if (drive.adapter != static_cast<int>(at.controllerID) ||
                drive.channel != static_cast<int>(at.channelID) ||
                drive.device != static_cast<int>(at.deviceID)) {
                continue;
            }
            member.drive = drive.key;
            if (member.name.empty()) member.name = drive.name;
            if (drive.array.empty() || member.state != "spare") drive.array = state.key;
        }
    }
}

TaskState taskOf(VantLib& lib, const LogicalDrive& array) {
    ProgressCollection tasks;
    TaskState state;
    if (lib.getTasks(array.addr, tasks).status != Ret::kOk) return state;
    for (int i = 0; i < tasks.getProgressCount(); ++i) {
        const Progress* task = tasks.getProgress(i);
        if (task->getType() == kTaskNone || task->getStatus() == kTaskFinished) continue;
        state.kind = wordFor(kTaskWords, task->getType(), kUnknown);
        if (state.kind == kUnknown) state.kind = "task";
        state.percent = task->getPercent();
        state.waiting = task->getStatus() == kTaskPaused;
    }
    return state;
}

EnclosureState enclosureOf(const PhysicalDevice& device, KeyGiver& keys) {
    EnclosureState state;
    state.adapter = static_cast<int>(device.addr.controllerID);
    state.channel = static_cast<int>(device.addr.channelID);
    state.device = static_cast<int>(device.addr.deviceID);
    state.name = "enclosure " + placeText(device.addr);
    state.vendor = device.vendor;
    state.model = device.model;
    state.serial = device.serialNumber;
    state.partNumber = device.fruNumber;
    state.key = keys.give("enclosure", state.serial, device.wwn, placeText(device.addr));
    return state;
}

void addElement(EnclosureState& state, const char* kind, std::size_t index, const std::string& word,
                int value = -1) {
    ElementState element;
    element.kind = kind;
    element.name = std::string(kind) + " " + std::to_string(index + 1);
    element.state = word;
    element.value = value;
    state.elements.push_back(element);
}

void judge(EnclosureState& state, bool valid) {
    state.state = valid ? "normal" : "unknown";
    for (const ElementState& element : state.elements) {
        if (element.state == "failed" || element.state == "too hot") state.state = "degraded";
    }
}

EnclosureState safteState(const Enclosure& enclosure, KeyGiver& keys) {
    EnclosureState state = enclosureOf(enclosure, keys);
    for (unsigned short i = 0; i < enclosure.getFanCount(); ++i) {
        addElement(state, "fan", i, wordFor(kSafteFanWords, enclosure.getFanStatus(i), kUnknown));
    }
    for (unsigned short i = 0; i < enclosure.getPowerSupplyCount(); ++i) {
        addElement(state, "supply", i,
                   wordFor(kSafteSupplyWords, enclosure.getPowerSupplyStatus(i), kUnknown));
    }
    if (enclosure.isSafteDataValid()) {
        addElement(state, "temperature", 0, enclosure.isTempOutOfRange() ? "too hot" : "normal");
        if (enclosure.getSafteConfig() != nullptr) {
            state.slots = enclosure.getSafteConfig()->slotCount;
        }
    }
    judge(state, enclosure.isSafteDataValid());
    return state;
}

void placeBySafte(MachineState& machine, const EnclosureState& state, const Enclosure& enclosure) {
    for (DriveState& drive : machine.drives) {
        if (drive.adapter != state.adapter || drive.channel != state.channel) continue;
        const int slot = enclosure.getSlotNumberFromDeviceID(drive.device);
        if (slot < 0 || slot >= SafteStatus::kSlots) continue;
        drive.enclosure = state.key;
        drive.slot = slot;
        drive.slotName = "slot " + std::to_string(slot);
    }
}

EnclosureState sesState(const SES2EnclosureDevice& enclosure, KeyGiver& keys) {
    EnclosureState state = enclosureOf(enclosure, keys);
    std::size_t fans = 0;
    std::size_t supplies = 0;
    std::size_t sensors = 0;
    for (const SESElement* element : objectsBelow<SESElement>(enclosure, "SESElement")) {
        const std::string word = wordFor(kElementWords, element->getStatus(), kUnknown);
        const int value = readingOf(element->reading);
        if (element->getType() == kSesCooling) addElement(state, "fan", fans++, word, value);
        if (element->getType() == kSesPowerSupply) addElement(state, "supply", supplies++, word);
        if (element->getType() == kSesTemperature) {
            const bool hot = word == "failed" || word == "degraded";
            addElement(state, "temperature", sensors++, hot ? "too hot" : word, value);
        }
        if (element->getType() == kSesArrayDevice || element->getType() == kSesDevice) {
            ++state.slots;
        }
    }
    judge(state, enclosure.isSESDataValid());
    return state;
}

// Enclosure and drive know each other by the SAS addresses that the slot's element and the drive
// share.
void placeBySes(MachineState& machine, const EnclosureState& state,
                const SES2EnclosureDevice& enclosure,
                const std::map<std::string, std::vector<std::size_t>>& byAddress) {
    int slot = -1;
    for (const SESElement* element : objectsBelow<SESElement>(enclosure, "SESElement")) {
        if (element->getType() != kSesArrayDevice && element->getType() != kSesDevice) continue;
        ++slot;
        for (const SASPhy* phy : objectsBelow<SASPhy>(*element, "SASPhy")) {
            const auto found = byAddress.find(phy->SASaddress);
            if (found == byAddress.end()) continue;
            for (const std::size_t index : found->second) {
                machine.drives[index].enclosure = state.key;
                machine.drives[index].slot = slot;
                machine.drives[index].slotName = element->getDescriptor();
            }
        }
    }
}

ControllerState controllerOf(const Adapter& adapter) {
    ControllerState state;
    state.number = static_cast<int>(adapter.addr.controllerID);
    state.vendor = adapter.deviceVendor;
    state.name = adapter.deviceName;
    state.serial = adapter.controllerSerial;
    state.pci = std::to_string(adapter.pciBus) + "-" + std::to_string(adapter.pciDevice) + "-" +
                std::to_string(adapter.pciFunction);
    state.key = "controller:" + (state.serial.empty() ? state.pci : state.serial);
    state.driver = orEmpty(adapter.getDeviceDriverVersion());
    state.firmware = orEmpty(adapter.getFirmwareVersion());
    state.state = adapter.getAdapterStatus() == kAdapterNormal ? "normal" : "failed";
    state.battery = wordFor(kBatteryWords, adapter.batStatus, kUnknown);
    if (adapter.getFeature(kFeatureTemperature) != 0) state.temperature = adapter.temperature;
    return state;
}

PhyState phyOf(const SASPhy& phy, const std::string& owner, const std::string& place) {
    PhyState state;
    state.place = place;
    state.rate = wordFor(kRates, phy.negPhyLinkRate, kUnknown);
    state.owner = owner;
    return state;
}

// All that hangs on one controller.
void addController(MachineState& machine, const Adapter& adapter, KeyGiver& keys) {
    machine.controllers.push_back(controllerOf(adapter));
    std::map<std::string, std::vector<std::size_t>> byAddress;
    for (const HardDrive* drive : objectsBelow<HardDrive>(adapter, "HardDrive")) {
        machine.drives.push_back(driveOf(*drive, keys));
        for (const SASPhy* phy : objectsBelow<SASPhy>(*drive, "SASPhy")) {
            const DriveState& owner = machine.drives.back();
            if (phy->SASaddress[0] != 0) {
                byAddress[phy->SASaddress].push_back(machine.drives.size() - 1);
            }
            machine.phys.push_back(
                phyOf(*phy, owner.key,
                      "phy " + placeText(drive->addr) + " " + std::to_string(phy->addr.phyID)));
        }
    }
    for (const Enclosure* enclosure : objectsBelow<Enclosure>(adapter, "Enclosure")) {
        machine.enclosures.push_back(safteState(*enclosure, keys));
        placeBySafte(machine, machine.enclosures.back(), *enclosure);
    }
    for (const auto* enclosure :
         objectsBelow<SES2EnclosureDevice>(adapter, "SES2EnclosureDevice")) {
        machine.enclosures.push_back(sesState(*enclosure, keys));
        placeBySes(machine, machine.enclosures.back(), *enclosure, byAddress);
    }
}

bool isExposed(const ArrayState& array) {
    return array.state == "degraded" || array.state == "rebuilding" || array.state == "failed" ||
           array.state == "offline";
}

}  // namespace

MachineState StateBuilder::build(VantLib& lib, std::int64_t now) {
    MachineState machine;
    machine.host = hostName();
    machine.polledAt = now;
    machine.polls = ++polls;
    const System* system = lib.getSystem();
    if (system == nullptr) return machine;
    KeyGiver keys;
    const std::vector<const Adapter*> adapters = objectsBelow<Adapter>(*system, "Adapter");
    for (const Adapter* adapter : adapters) addController(machine, *adapter, keys);
    for (const Adapter* adapter : adapters) {
        const bool inBlocks = adapter->isInstanceOf("ZorAdapter");
        for (const LogicalDrive* drive : objectsBelow<LogicalDrive>(*adapter, "LogicalDrive")) {
            if (drive->getState() == kLogicalFree || drive->getState() == kLogicalHidden ||
                drive->getState() == kLogicalCriticalHidden) {
                continue;
            }
            machine.arrays.push_back(arrayOf(*drive, inBlocks));
            linkMembers(machine, machine.arrays.back(), *drive);
            machine.arrays.back().task = taskOf(lib, *drive);
            addTime(machine.arrays.back(), now);
        }
    }
    return machine;
}

void StateBuilder::addTime(ArrayState& array, std::int64_t now) {
    Memory& known = memory[array.key];
    if (!isExposed(array)) known.exposedSince = 0;
    if (isExposed(array) && known.exposedSince == 0) known.exposedSince = now;
    array.exposedSince = known.exposedSince;

    if (array.task.kind != known.task) {
        known.task = array.task.kind;
        known.taskSince = now;
        known.firstPercent = -1;
    }
    if (array.task.kind.empty()) return;
    array.task.startedAt = known.taskSince;
    const int percent = static_cast<int>(array.task.percent);
    if (array.task.waiting) return;
    if (known.firstPercent < 0 || percent < known.firstPercent) {
        known.firstPercent = percent;
        known.firstAt = now;
    }
    const int done = percent - known.firstPercent;
    const std::int64_t took = now - known.firstAt;
    if (done <= 0 || took <= 0) return;
    array.task.secondsLeft = took * (100 - percent) / done;
    const int dataDrives = std::max(1, array.devices - std::max(0, array.fullSurvives));
    array.task.megabytesPerSecond =
        static_cast<double>(array.sizeMB) / dataDrives * done / 100.0 / static_cast<double>(took);
}

void StateBuilder::remember(const MachineState& before) {
    for (const ArrayState& array : before.arrays) {
        Memory& known = memory[array.key];
        known.exposedSince = array.exposedSince;
        known.task = array.task.kind;
        known.taskSince = array.task.startedAt;
    }
}
