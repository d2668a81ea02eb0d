// The making of storage objects from a scenario's model.
#include "storlib/sources/ScenarioModel.h"

#include <algorithm>

#include "storlib/Enclosure.h"
#include "storlib/HardDrive.h"
#include "storlib/ProgressCollection.h"
#include "storlib/SASPhy.h"
#include "storlib/SATAChannel.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "storlib/SafteConfig.h"
#include "storlib/SafteStatus.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "storlib/ZorAdapter.h"
#include "storlib/ZorBasicLogicalDrive.h"

namespace {

constexpr int kVantFamily = 1;
constexpr int kZorFamily = 2;
constexpr int kEnclosureDevice = 13;  // SCSI peripheral device type

// Settled by the model, so always there.
unsigned int numberOf(const ScenarioObject& object) {
    return static_cast<unsigned int>(object.number("number", 0));
}

void applyFields(const ScenarioObject& from, RaidObject& to) {
    for (const ScenarioField& field : from.kind->fields) {
        const auto given = from.fields.find(field.name);
        if (given != from.fields.end() && field.apply != nullptr) field.apply(to, given->second);
    }
}

void addPhys(const ScenarioObject& from, RaidObject& to) {
    for (const auto& object : from.list("phys")) {
        auto phy = std::make_unique<SASPhy>();
        static_cast<Addr&>(phy->addr) = to.addr;
        phy->addr.phyID = numberOf(*object);
        applyFields(*object, *phy);
        to.addChild(phy.release());
    }
}

void addDrives(const ScenarioObject& from, Adapter& adapter, Channel& channel) {
    for (const auto& object : from.list("drives")) {
        auto drive = std::make_unique<HardDrive>(&adapter, &channel);
        drive->pfaSupported = true;
        applyFields(*object, *drive);
        addPhys(*object, *drive);
        channel.addChild(drive.release());
    }
}

// The states of the units, and how many there are. The parser has bounded both.
template <std::size_t N>
unsigned short setUnits(unsigned char (&states)[N], const std::vector<int>& given) {
    const std::size_t count = std::min(given.size(), N);
    for (std::size_t i = 0; i < count; ++i) states[i] = static_cast<unsigned char>(given[i]);
    return static_cast<unsigned short>(count);
}

void addSafteEnclosures(const ScenarioObject& from, Adapter& adapter, Channel& channel) {
    for (const auto& object : from.list("safteEnclosures")) {
        auto enclosure = std::make_unique<Enclosure>(&adapter, &channel);
        enclosure->deviceType = kEnclosureDevice;
        applyFields(*object, *enclosure);
        if (object->flag("answers", true)) {
            auto config = std::make_unique<SafteConfig>();
            auto status = std::make_unique<SafteStatus>();
            config->fanCount = setUnits(status->fanStatus, object->numbers("fans"));
            config->powerSupplyCount =
                setUnits(status->powerSupplyStatus, object->numbers("supplies"));
            config->slotCount = setUnits(status->slotDeviceID, object->numbers("slots"));
            status->tempFlags1 = object->flag("tooHot", false) ? 1 : 0;
            enclosure->setSafteData(std::move(config), std::move(status));
        }
        channel.addChild(enclosure.release());
    }
}

void addSesEnclosures(const ScenarioObject& from, Adapter& adapter, Channel& channel) {
    for (const auto& object : from.list("sesEnclosures")) {
        auto enclosure = std::make_unique<SES2EnclosureDevice>(&adapter, &channel);
        enclosure->deviceType = kEnclosureDevice;
        enclosure->sesDataValid = true;
        applyFields(*object, *enclosure);
        for (const auto& described : object->list("elements")) {
            auto element = std::make_unique<SESElement>();
            static_cast<Addr&>(element->addr) = enclosure->addr;
            element->addr.itemID = numberOf(*described);
            element->status = kSesOk;
            applyFields(*described, *element);
            addPhys(*described, *element);
            enclosure->addChild(element.release());
        }
        channel.addChild(enclosure.release());
    }
}

std::unique_ptr<Channel> makeChannel(const ScenarioObject& object, Adapter& adapter) {
    if (object.number("type", kChannelScsi) != kChannelSata) {
        return std::make_unique<Channel>(&adapter);
    }
    auto sata = std::make_unique<SATAChannel>(&adapter);
    sata->portCount = static_cast<int>(object.number("ports", 0));
    return sata;
}

void addChannels(const ScenarioObject& from, Adapter& adapter) {
    for (const auto& object : from.list("channels")) {
        std::unique_ptr<Channel> channel = makeChannel(*object, adapter);
        channel->addr.channelID = numberOf(*object);
        applyFields(*object, *channel);
        addDrives(*object, adapter, *channel);
        addSafteEnclosures(*object, adapter, *channel);
        addSesEnclosures(*object, adapter, *channel);
        adapter.addChild(channel.release());
    }
}

void addLogicalDrives(const ScenarioObject& from, Adapter& adapter) {
    for (const auto& object : from.list("logicalDrives")) {
        std::unique_ptr<LogicalDrive> drive = object->flag("named", false)
                                                  ? std::make_unique<ZorBasicLogicalDrive>(&adapter)
                                                  : std::make_unique<LogicalDrive>(&adapter);
        drive->addr.logicalDriveID = numberOf(*object);
        applyFields(*object, *drive);
        adapter.addChild(drive.release());
    }
}

ArrayMember memberOf(const HardDrive& drive, ArrayMember::Role role) {
    ArrayMember member;
    member.drive = drive.addr;
    member.role = role;
    return member;
}

// A scenario does not say who belongs to which array. Where a controller has one array only, all
// its drives that belong to any do.
void addMembers(const Adapter& adapter) {
    std::vector<RaidObject*> arrays;
    adapter.getChildren(arrays, "LogicalDrive", true, true);
    if (arrays.size() != 1) return;
    auto& array = static_cast<LogicalDrive&>(*arrays.front());
    std::vector<RaidObject*> drives;
    adapter.getChildren(drives, "HardDrive", true, true);
    int active = 0;
    int rebuilding = 0;
    int failed = 0;
    for (const RaidObject* object : drives) {
        const auto& drive = static_cast<const HardDrive&>(*object);
        if (drive.state == kDriveMember) {
            array.members.push_back(memberOf(drive, ArrayMember::kActive));
            array.members.back().slot = active++;
        } else if (drive.state == kDriveRebuilding) {
            array.members.push_back(memberOf(drive, ArrayMember::kRebuilding));
            ++rebuilding;
        } else if (drive.state == kDriveFailed) {
            array.members.push_back(memberOf(drive, ArrayMember::kFailed));
            ++failed;
        } else if (drive.state == kDriveHotSpare) {
            array.members.push_back(memberOf(drive, ArrayMember::kSpare));
        }
    }
    const bool whole = array.state == kLogicalOptimal || array.state == kLogicalResyncing;
    array.raidDevices = active + (whole ? 0 : std::max({1, rebuilding, failed}));
}

std::unique_ptr<Adapter> makeAdapter(const ScenarioObject& object) {
    if (object.number("family", kVantFamily) == kZorFamily) return std::make_unique<ZorAdapter>();
    return std::make_unique<VantAdapter>();
}

}  // namespace

void ScenarioModel::fill(System& system) const {
    for (const auto& object : controllers()) {
        std::unique_ptr<Adapter> adapter = makeAdapter(*object);
        adapter->addr.controllerID = numberOf(*object);
        applyFields(*object, *adapter);
        addChannels(*object, *adapter);
        addLogicalDrives(*object, *adapter);
        addMembers(*adapter);
        addPhys(*object, *adapter);
        system.addChild(adapter.release());
    }
}

void ScenarioModel::tasksAt(const Addr& address, ProgressCollection& found) const {
    for (const auto& controller : controllers()) {
        for (const auto& task : controller->list("tasks")) {
            const Addr place = Addr::ofLogicalDrive(
                numberOf(*controller), static_cast<unsigned int>(task->number("on", 0)));
            if (!place.IsEqual(address)) continue;
            found.addProgress(Progress(static_cast<EnumTaskType>(task->number("type", kTaskNone)),
                                       static_cast<int>(task->number("percent", 0)),
                                       static_cast<EnumTaskStatus>(task->number("status", 0)),
                                       place));
        }
    }
}
