#include "storlib/sources/LinuxTree.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "storlib/Attributes.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/SASPhy.h"
#include "storlib/SATAChannel.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "storlib/sources/SysfsReader.h"

namespace {

constexpr int kHighestMinor = 0xfffff;  // of md: 20 bits
constexpr int kMostMembers = 1920;
constexpr int kMostChannels = 0x10000;
constexpr PciPlace kArrayPlace(0, 0, 0);
constexpr PciPlace kNvmePlace(0, 0, 1);
constexpr PciPlace kOtherPlace(0, 0, 2);

// Device numbers whose low byte is 255 stand for spurious objects, so they are left out.
unsigned int deviceNumber(std::uint64_t position) {
    return static_cast<unsigned int>((position + position / 255) & 0x7fffffff);
}

// Target numbers come first, so that they are the device numbers of ordinary hosts.
unsigned int scsiNumber(const LinuxDrive& drive) {
    const std::uint64_t place = drive.target & 0xffff;
    return deviceNumber(place + ((drive.channel & 0x3f) << 16) +
                        (static_cast<std::uint64_t>(drive.lun & 0xff) << 22));
}

unsigned int otherNumber(const LinuxDrive& drive) {
    const std::int64_t place = PciPlace::onTheWayTo(drive.path).ordinal();
    if (place >= 0) return deviceNumber(static_cast<std::uint64_t>(place));
    const std::size_t digits = drive.name.find_first_of("0123456789");
    const std::uint64_t number =
        digits == std::string::npos
            ? 0
            : std::strtoul(drive.name.substr(digits, 6).c_str(), nullptr, 10);
    return deviceNumber(0x10000000U + number);
}

void setLimits(Adapter& adapter, int channels) {
    adapter.setLimit(kLimitLogicalDrives, kHighestMinor);
    adapter.setLimit(kLimitArrays, kHighestMinor + 1);
    adapter.setLimit(kLimitSpannedArrays, 0);
    adapter.setLimit(kLimitChannels, channels);
    adapter.setLimit(kLimitID, 0x7ffffffe);
    adapter.setLimit(kLimitDevicesPerArray, kMostMembers);
    adapter.setLimit(kLimitControllers, 256);
}

// "/dev/sda1" in the first column, with blanks written as \040, which no kernel name has.
std::set<std::string> mountedNames(SysfsReader& reader) {
    std::set<std::string> names;
    std::string table;
    (void)reader.read("/proc/mounts", table, SysfsReader::kTableLimit);
    std::size_t begin = 0;
    while (begin < table.size()) {
        std::size_t end = table.find('\n', begin);
        if (end == std::string::npos) end = table.size();
        if (table.compare(begin, 5, "/dev/") == 0) {
            const std::size_t blank = table.find(' ', begin);
            if (blank < end) names.insert(table.substr(begin + 5, blank - begin - 5));
        }
        begin = end + 1;
    }
    return names;
}

// The device itself or one of its partitions: "sda1", "nvme0n1p2", "md0p1".
bool isMounted(const std::set<std::string>& mounts, const std::string& name) {
    for (auto mount = mounts.lower_bound(name); mount != mounts.end(); ++mount) {
        if (mount->compare(0, name.size(), name) != 0) return false;
        std::string rest = mount->substr(name.size());
        const bool digitAtEnd = name.back() >= '0' && name.back() <= '9';
        if (!rest.empty() && digitAtEnd) {
            if (rest[0] != 'p') continue;
            rest.erase(0, 1);
        }
        if (rest.find_first_not_of("0123456789") == std::string::npos) return true;
    }
    return false;
}

// What matters most when a drive is in several arrays, by its partitions.
int urgency(int state) {
    switch (state) {
        case kDriveFailed:
            return 4;
        case kDriveRebuilding:
            return 3;
        case kDriveMember:
            return 2;
        case kDriveHotSpare:
            return 1;
        default:
            return 0;
    }
}

// What the arrays say about their members, in the order of the members' places.
std::vector<std::pair<std::string, int>> memberRoles(const LinuxLook& look) {
    std::vector<std::pair<std::string, int>> roles;
    for (const MdArray& array : look.arrays) {
        for (const MdMember& member : array.members) {
            roles.emplace_back(member.blockPath, MdArrays::memberState(array, member));
        }
    }
    std::sort(roles.begin(), roles.end());
    return roles;
}

// By the roles of the drive itself and of its partitions.
int driveState(const LinuxDrive& drive, const std::vector<std::pair<std::string, int>>& roles,
               bool failing) {
    int state = kDriveReady;
    const std::size_t length = drive.path.size();
    for (auto role = std::lower_bound(roles.begin(), roles.end(), std::pair(drive.path, INT_MIN));
         role != roles.end() && role->first.compare(0, length, drive.path) == 0; ++role) {
        const bool here = role->first.size() == length || role->first[length] == '/';
        if (here && urgency(role->second) > urgency(state)) state = role->second;
    }
    if (!drive.answers) return kDriveNotPresent;
    return failing && state == kDriveMember ? static_cast<int>(kDriveFailed) : state;
}

// A drive that the kernel has given up counts as pulled, for its arrays too.
void loseSilentDrives(LinuxLook& look, const std::vector<LinuxDrive>& drives) {
    for (const LinuxDrive& drive : drives) {
        if (drive.answers) continue;
        for (MdArray& array : look.arrays) {
            for (MdMember& member : array.members) {
                if (member.blockPath == drive.path ||
                    member.blockPath.compare(0, drive.path.size() + 1, drive.path + "/") == 0) {
                    member.gone = true;
                }
            }
        }
    }
}

}  // namespace

struct LinuxTree::Branch {
    LinuxController controller;
    VantAdapter* adapter = nullptr;  // owned by the system
    std::map<unsigned int, Channel*> channels;
    std::map<int, unsigned int> hostChannels;               // channel number by host number
    std::set<std::pair<unsigned int, unsigned int>> taken;  // channel and device numbers in use

    unsigned int freeNumber(unsigned int channel, unsigned int wanted) {
        while ((wanted & 0xff) == 0xff || !taken.insert({channel, wanted}).second) ++wanted;
        return wanted;
    }
};

void LinuxTree::addArrays(System& system, const LinuxLook& look) {
    auto* adapter = new VantAdapter;
    adapter->addr.controllerID = 0;
    setText(adapter->deviceVendor, "Linux");
    setText(adapter->deviceName, "MD");
    setText(adapter->deviceDriverVersion, LinuxHosts::kernelRelease(reader).c_str());
    adapter->pciBus = kArrayPlace.bus;
    adapter->pciDevice = kArrayPlace.device;
    adapter->pciFunction = kArrayPlace.function;
    setLimits(*adapter, 0);
    for (const MdArray& array : look.arrays) {
        if (MdArrays::isContainer(array)) continue;
        auto* drive = new LogicalDrive(adapter);
        drive->addr.logicalDriveID = array.minor;
        drive->state = MdArrays::state(array);
        drive->raidLevel = MdArrays::raidLevel(array);
        drive->badBlockCount = MdArrays::badStripes(array);
        drive->dataSpace = static_cast<unsigned long long>(array.sectors / 2048);
        drive->uniqueID = array.uniqueID;
        drive->logicalName = array.name;
        drive->OSPartition = isMounted(mounts, array.name);
        drive->bTaskInProgress = !MdArrays::operation(array).empty();
        drive->osName = array.name;
        drive->raidDevices = std::max(0, array.disks);
        drive->copies = MdArrays::copies(array);
        drive->members = MdArrays::roles(array);
        adapter->addChild(drive);
    }
    system.addChild(adapter);
}

Channel* LinuxTree::channelFor(Branch& branch, unsigned int number, int type) {
    Channel*& channel = branch.channels[number];
    if (channel != nullptr) return channel;
    if (type == kChannelSata) {
        auto* sata = new SATAChannel(branch.adapter);
        sata->portCount = 1;  // each ATA host is one port
        channel = sata;
    } else {
        channel = new Channel(branch.adapter);
        channel->channelType = type;
    }
    channel->addr.channelID = number;
    branch.adapter->addChild(channel);
    return channel;
}

void LinuxTree::addHostPhys(const ScsiHost& host, SasPhys& phys, Adapter& adapter) {
    for (const SasLink& link : phys.ofHost(host)) {
        auto* phy = new SASPhy;
        phy->addr.controllerID = adapter.addr.controllerID;
        link.copyTo(*phy);
        adapter.addChild(phy);
    }
}

void LinuxTree::addController(System& system, const LinuxController& controller,
                              unsigned int number, std::vector<Branch>& branches) {
    Branch branch;
    branch.controller = controller;
    auto* adapter = new VantAdapter;
    adapter->addr.controllerID = number;
    setText(adapter->deviceVendor, controller.vendor.c_str());
    setText(adapter->deviceName, controller.name.c_str());
    setText(adapter->controllerSerial, controller.serial.c_str());
    setText(adapter->biosVersion, controller.biosVersion.c_str());
    setText(adapter->firmwareVersion, controller.firmwareVersion.c_str());
    setText(adapter->deviceDriverVersion, controller.driverVersion.c_str());
    adapter->pciBus = controller.pci.bus;
    adapter->pciDevice = controller.pci.device;
    adapter->pciFunction = controller.pci.function;
    setLimits(*adapter, kMostChannels);
    branch.adapter = adapter;
    system.addChild(adapter);
    if (controller.kind == LinuxController::Kind::kPci) {
        for (const ScsiHost& host : controller.hosts) {
            const auto position = static_cast<unsigned int>(branch.hostChannels.size());
            const int type = host.kind == ScsiHost::Kind::kAta   ? kChannelSata
                             : host.kind == ScsiHost::Kind::kSas ? kChannelSas
                                                                 : kChannelScsi;
            branch.hostChannels[host.number] = position;
            (void)channelFor(branch, position, type);
        }
    }
    branches.push_back(std::move(branch));
}

LinuxTree::Branch* LinuxTree::branchOf(std::vector<Branch>& branches, const LinuxDrive& drive) {
    Branch* other = nullptr;
    for (Branch& branch : branches) {
        const LinuxController::Kind kind = branch.controller.kind;
        if (kind == LinuxController::Kind::kOther) other = &branch;
        if (drive.kind == LinuxDrive::Kind::kNvme && kind == LinuxController::Kind::kNvme) {
            return &branch;
        }
        if (drive.kind == LinuxDrive::Kind::kScsi && branch.hostChannels.count(drive.host) != 0) {
            return &branch;
        }
    }
    return drive.kind == LinuxDrive::Kind::kNvme ? nullptr : other;
}

void LinuxTree::addDrive(Branch& branch, const LinuxDrive& drive, const Roles& roles,
                         const SmartHealth* health, SasPhys& phys, LinuxPlaces& places) {
    unsigned int channelNumber = 0;
    unsigned int wanted = 0;
    if (drive.kind == LinuxDrive::Kind::kNvme) {
        const std::int64_t place = PciPlace::onTheWayTo(drive.path).ordinal();
        channelNumber =
            place >= 0 ? static_cast<unsigned int>(place) : 0x10000000U + drive.instance;
        wanted = deviceNumber(drive.nameSpace);
    } else if (drive.kind == LinuxDrive::Kind::kScsi) {
        const auto known = branch.hostChannels.find(drive.host);
        channelNumber = known != branch.hostChannels.end()
                            ? known->second
                            : 1U + static_cast<unsigned int>(drive.host);
        wanted = scsiNumber(drive);
    } else {
        wanted = otherNumber(drive);
    }
    Channel* channel = channelFor(branch, channelNumber, kChannelScsi);
    const SmartHealth::Health smart = health == nullptr ? SmartHealth::kUnknown : health->of(drive);
    auto* object = new HardDrive(branch.adapter, channel);
    object->addr.deviceID = branch.freeNumber(channelNumber, wanted);
    setText(object->vendor, drive.vendor.c_str());
    setText(object->model, drive.model.c_str());
    setText(object->serialNumber, drive.serial.c_str());
    setText(object->firmwareLevel, drive.firmware.c_str());
    setText(object->wwn, drive.wwn.c_str());
    for (unsigned int i = 0; i < 4; ++i) {
        object->wwn0 |= static_cast<unsigned int>(drive.wwnBytes[i]) << (8 * i);
        object->wwn1 |= static_cast<unsigned int>(drive.wwnBytes[i + 4]) << (8 * i);
    }
    object->interfaceType = channel->getChannelType();
    if (channel->getChannelType() == kChannelSata) {
        object->sataPort = static_cast<int>((drive.channel + drive.target) & 0xff);
    }
    object->size = drive.megabytes;
    object->pfaSupported = smart != SmartHealth::kUnknown;
    object->pfaError = smart == SmartHealth::kFailing;
    if (health != nullptr) object->temperature = health->temperatureOf(drive);
    object->state = driveState(drive, roles, object->pfaError);
    object->taskInProgress = object->state == kDriveRebuilding;
    object->OSPartition = isMounted(mounts, drive.name);
    if (channel->getChannelType() == kChannelSas) {
        for (const SasLink& link : phys.ofDrive(drive)) {
            auto* phy = new SASPhy;
            static_cast<Addr&>(phy->addr) = object->addr;
            link.copyTo(*phy);
            object->addChild(phy);
            if (link.address.empty()) continue;
            links[link.address].push_back(link);
            linkOwners[link.address] = branch.adapter->addr.controllerID;
        }
    }
    object->osName = drive.name;
    places.drives[drive.path] = object->addr;
    channel->addChild(object);
}

// The controller of the drives that it names, wherever it was reached; else that of its own host.
LinuxTree::Branch* LinuxTree::homeOf(std::vector<Branch>& branches,
                                     const LinuxEnclosure& enclosure) {
    const std::string& place = enclosure.device.devicePath;
    const auto usual = lasting.enclosureHomes.find(place);
    for (Branch& branch : branches) {
        if (usual != lasting.enclosureHomes.end() && branch.controller.pci == usual->second) {
            return &branch;
        }
    }
    Branch* home = branchOf(branches, enclosure.device);
    for (const SesUnit& unit : enclosure.units) {
        for (const SasLink& link : unit.links) {
            const auto owner = linkOwners.find(link.address);
            if (owner == linkOwners.end()) continue;
            for (Branch& branch : branches) {
                if (branch.adapter->addr.controllerID == owner->second) home = &branch;
            }
        }
    }
    if (home != nullptr) lasting.enclosureHomes[place] = home->controller.pci;
    return home;
}

void LinuxTree::addEnclosure(std::vector<Branch>& branches, const LinuxEnclosure& enclosure,
                             LinuxPlaces& places) {
    const LinuxDrive& device = enclosure.device;
    Branch* home = homeOf(branches, enclosure);
    if (home == nullptr) return;
    const auto own = home->hostChannels.find(device.host);
    unsigned int channelNumber = 1U + static_cast<unsigned int>(device.host);
    if (own != home->hostChannels.end()) {
        channelNumber = own->second;
    } else if (home->controller.kind == LinuxController::Kind::kPci) {
        channelNumber = static_cast<unsigned int>(home->hostChannels.size());
        home->hostChannels[device.host] = channelNumber;  // after those of its own hosts
    }
    Channel* channel = channelFor(*home, channelNumber, kChannelScsi);
    auto* object = new SES2EnclosureDevice(home->adapter, channel);
    object->addr.deviceID = home->freeNumber(channelNumber, scsiNumber(device));
    object->deviceType = 13;
    setText(object->vendor, device.vendor.c_str());
    setText(object->model, device.model.c_str());
    setText(object->serialNumber, device.serial.c_str());
    setText(object->firmwareLevel, device.firmware.c_str());
    setText(object->wwn, device.wwn.c_str());
    object->sesDataValid = !enclosure.units.empty();
    unsigned int item = 0;
    for (const SesUnit& unit : enclosure.units) {
        auto* element = new SESElement;
        static_cast<Addr&>(element->addr) = object->addr;
        element->addr.itemID = item++;
        element->status = unit.status;
        element->elementType = unit.type;
        element->reading = unit.reading;
        element->descriptor = unit.descriptor;
        for (const SasLink& seen : unit.links) {
            // The drive's own view of its links, so that both can be told to be the same.
            const auto known = links.find(seen.address);
            const std::vector<SasLink> single = {seen};
            for (const SasLink& link : known == links.end() ? single : known->second) {
                auto* phy = new SASPhy;
                static_cast<Addr&>(phy->addr) = object->addr;
                link.copyTo(*phy);
                element->addChild(phy);
            }
        }
        object->addChild(element);
    }
    places.enclosures[device.devicePath] = home->adapter->addr.controllerID;
    channel->addChild(object);
}

// The arrays stand first in the tree, before anybody knows where their drives do.
void LinuxTree::placeMembers(const System& system, const LinuxLook& look,
                             const LinuxPlaces& places) {
    std::vector<RaidObject*> found;
    system.getChildren(found, "LogicalDrive", true, true);
    for (RaidObject* object : found) {
        auto* array = static_cast<LogicalDrive*>(object);
        const MdArray* read = look.findArray(array->osName);
        if (read == nullptr) continue;
        for (ArrayMember& member : array->members) {
            for (const MdMember& each : read->members) {
                const Addr* drive =
                    each.name == member.osName ? places.driveAt(each.blockPath) : nullptr;
                if (drive != nullptr && !each.gone) member.drive = *drive;
            }
        }
    }
}

bool LinuxTree::build(System& system, const LinuxLook& seen, const std::vector<LinuxDrive>& drives,
                      const SmartHealth* health, LinuxPlaces& places) {
    Lasting before = lasting;
    buildWhole(system, seen, drives, health, places);
    if (!reader.ranShort()) return true;
    lasting = std::move(before);
    return false;
}

void LinuxTree::buildWhole(System& system, const LinuxLook& seen,
                           const std::vector<LinuxDrive>& drives, const SmartHealth* health,
                           LinuxPlaces& places) {
    LinuxLook look = seen;
    loseSilentDrives(look, drives);
    mounts = mountedNames(reader);
    places = LinuxPlaces();
    links.clear();
    linkOwners.clear();
    addArrays(system, look);

    const std::vector<ScsiHost> hosts = LinuxHosts::hosts(reader);
    std::vector<Branch> branches;
    unsigned int number = 1;
    for (LinuxController& controller :
         LinuxHosts::controllers(reader, hosts, drives, lasting.nvme, lasting.others)) {
        if (controller.kind == LinuxController::Kind::kNvme) {
            lasting.nvme = true;
            controller.pci = kNvmePlace;
        } else if (controller.kind == LinuxController::Kind::kOther) {
            lasting.others = true;
            controller.pci = kOtherPlace;
        } else if (controller.pci == kNvmePlace || controller.pci == kOtherPlace) {
            controller.pci.function += 8;  // a real controller in a place that is given to others
        }
        addController(system, controller, number++, branches);
    }
    SasPhys phys(reader);
    for (Branch& branch : branches) {
        for (const ScsiHost& host : branch.controller.hosts) {
            if (host.kind == ScsiHost::Kind::kSas) addHostPhys(host, phys, *branch.adapter);
        }
    }
    const Roles roles = memberRoles(look);
    for (const LinuxDrive& drive : drives) {
        Branch* branch = branchOf(branches, drive);
        if (branch != nullptr) addDrive(*branch, drive, roles, health, phys, places);
    }
    for (const LinuxEnclosure& enclosure : look.enclosures) {
        if (homeOf(branches, enclosure) == nullptr) {
            LinuxController others = LinuxHosts::otherDrives();
            others.pci = kOtherPlace;
            lasting.others = true;
            addController(system, others, number++, branches);
        }
        addEnclosure(branches, enclosure, places);
    }
    places.controllers = number;
    placeMembers(system, look, places);
    system.sortChildren();
}
