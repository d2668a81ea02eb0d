// BlockDrives: the whole disks among the block devices of a Linux machine, and who they are.
//
//   std::vector<BlockName> names = BlockDrives::names(reader);
//   for (const LinuxDrive& drive : BlockDrives::read(reader, names)) ...
//
// A drive is what a person could pull out or plug in: SCSI, SATA, SAS, USB, NVMe, virtio and card
// drives, and loop devices over a writable file, which stand in for drives in tests. Arrays,
// mapped devices, memory disks, optical drives and empty card readers are not.
//
// Kernel names move and are given again, so nothing is told from them; a drive is told by its
// place, its serial number and its world-wide name. Values that cannot be read are empty or 0.
#ifndef STORLIB_SOURCES_BLOCKDRIVES_H
#define STORLIB_SOURCES_BLOCKDRIVES_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "storlib/sources/MdArrays.h"

class SysfsReader;

struct LinuxDrive {
    enum class Kind { kScsi, kNvme, kOther };

    Kind kind = Kind::kOther;
    std::string name;        // "sda"
    std::string path;        // ".../block/sda"
    std::string devicePath;  // what the block device belongs to: ".../0:0:1:0", ".../nvme0"
    int host = -1;           // SCSI: host, channel, target, lun
    unsigned int channel = 0;
    unsigned int target = 0;
    unsigned int lun = 0;
    unsigned int instance = 0;   // NVMe: the controller's number
    unsigned int nameSpace = 0;  // NVMe: the namespace's number
    std::string vendor;
    std::string model;
    std::string serial;
    std::string firmware;
    std::string wwn;  // hexadecimal digits without prefix; "" when not known
    std::array<unsigned char, 8> wwnBytes{};
    std::int64_t megabytes = 0;  // of 2^20 bytes
    bool answers = true;         // false once the kernel has given the drive up but still lists it
};

namespace BlockDrives {

// Everything below /sys/block with the place that it leads to, in the order of the names.
std::vector<BlockName> names(SysfsReader& reader);

// The whole disks among `names`, in the order of their places.
std::vector<LinuxDrive> read(SysfsReader& reader, const std::vector<BlockName>& names);

// The vendor, model, serial number and firmware of a SCSI device that is no disk.
void identify(SysfsReader& reader, LinuxDrive& device);

// Serial number in a VPD page 0x80 as the kernel delivers it; "" when the page is damaged.
std::string serialOfPage80(const std::string& page);

}  // namespace BlockDrives

#endif  // STORLIB_SOURCES_BLOCKDRIVES_H
