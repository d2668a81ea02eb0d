#include "storlib/sources/LinuxLook.h"

#include "storlib/sources/SysfsReader.h"

namespace {

// Written to or not is no change: an array goes to and fro between these all day.
std::string steadyState(const std::string& state) {
    const bool runs =
        state == "clean" || state == "active" || state == "active-idle" || state == "write-pending";
    return runs ? "runs" : state;
}

std::string textOf(const MdMember& member) {
    std::string text = member.name + "=";
    for (const bool flag : {member.faulty, member.inSync, member.spare, member.gone, member.retired,
                            member.wantsReplacement, member.isReplacement}) {
        text += flag ? '1' : '0';
    }
    return text + "@" + std::to_string(member.slot) + member.blockPath + "\n";
}

std::string textOf(const MdArray& array) {
    return array.name + " " + array.level + " " + steadyState(array.arrayState) + " " +
           std::to_string(array.disks) + " " + std::to_string(array.degraded) + " " + array.action +
           "\n";
}

}  // namespace

const Addr* LinuxPlaces::driveAt(const std::string& blockPath) const {
    auto found = drives.find(blockPath);
    if (found == drives.end()) found = drives.find(blockPath.substr(0, blockPath.rfind('/')));
    return found == drives.end() ? nullptr : &found->second;
}

LinuxLook LinuxLook::take(SysfsReader& reader, SesEnclosures& enclosureReader,
                          MdArrays::Depth depth, const LinuxLook& before) {
    LinuxLook look;
    std::string table;
    std::vector<std::string> classes;
    look.readable = reader.read("/proc/mdstat", table, SysfsReader::kTableLimit);
    look.mdstat = MdStat::parse(table);
    look.blocks = BlockDrives::names(reader);
    look.readable = look.readable || !look.blocks.empty() || reader.exists("/sys/class/scsi_host");
    look.arrays = MdArrays::read(reader, look.mdstat, look.blocks, depth, before.arrays);
    look.enclosures = enclosureReader.read(depth == MdArrays::Depth::kTree);
    return look;
}

const MdArray* LinuxLook::findArray(const std::string& name) const {
    for (const MdArray& array : arrays) {
        if (array.name == name) return &array;
    }
    return nullptr;
}

std::map<unsigned int, std::string> LinuxLook::conditions(const LinuxPlaces& places) const {
    std::map<unsigned int, std::string> texts;
    texts[0] = mdstat.standing;
    for (const BlockName& block : blocks) {
        const Addr* drive = places.driveAt(block.path);
        texts[drive == nullptr ? 0 : drive->controllerID] += block.name + " " + block.path + "\n";
    }
    for (const MdArray& array : arrays) {
        texts[0] += textOf(array);
        for (const MdMember& member : array.members) {
            const std::string text = textOf(member);
            texts[0] += text;
            const Addr* drive = places.driveAt(member.blockPath);
            if (drive != nullptr) texts[drive->controllerID] += array.name + " " + text;
        }
    }
    for (const LinuxEnclosure& enclosure : enclosures) {
        const auto owner = places.enclosures.find(enclosure.device.devicePath);
        std::string& text = texts[owner == places.enclosures.end() ? 0 : owner->second];
        text += enclosure.device.name;
        for (const SesUnit& unit : enclosure.units) text += " " + std::to_string(unit.status);
        text += "\n";
    }
    return texts;
}
