// LinuxHosts: the storage controllers of a Linux machine: SCSI hosts, NVMe controllers, and the
// PCI functions that they belong to.
//
//   for (const LinuxController& controller : LinuxHosts::read(reader, drives)) ...
#ifndef STORLIB_SOURCES_LINUXHOSTS_H
#define STORLIB_SOURCES_LINUXHOSTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "storlib/sources/BlockDrives.h"

class SysfsReader;

// A place on the PCI bus. The domain is folded into the bus number: domain * 256 + bus.
struct PciPlace {
    constexpr PciPlace() = default;
    constexpr PciPlace(int busNumber, int deviceNumber, int functionNumber)
        : bus(busNumber), device(deviceNumber), function(functionNumber) {}

    int bus = -1;  // -1: not on a PCI bus
    int device = 0;
    int function = 0;

    bool known() const { return bus >= 0; }
    bool operator<(const PciPlace& other) const;
    bool operator==(const PciPlace& other) const;
    // One number for the place, the same at every boot; -1 when it would not fit.
    std::int64_t ordinal() const;
    // The last PCI function named on the way to `path`; `functionPath`, when not null, is then the
    // part of the path up to it.
    static PciPlace onTheWayTo(const std::string& path, std::string* functionPath = nullptr);
};

struct ScsiHost {
    enum class Kind { kOther, kAta, kSas };

    int number = -1;           // the kernel's; counts on with every host that comes
    std::string path;          // ".../host4"
    std::string functionPath;  // of its PCI function; "" without one
    PciPlace pci;
    Kind kind = Kind::kOther;
};

struct LinuxController {
    enum class Kind { kPci, kNvme, kOther };

    Kind kind = Kind::kOther;
    PciPlace pci;
    std::string vendor;  // "[8086:2922]"
    std::string name;
    std::string serial;
    std::string biosVersion;
    std::string firmwareVersion;
    std::string driverVersion;
    std::vector<ScsiHost> hosts;  // in the order of their numbers
};

namespace LinuxHosts {

// All SCSI hosts, in the order of their numbers.
std::vector<ScsiHost> hosts(SysfsReader& reader);

// Controllers on the PCI bus that are storage and have hosts, in PCI address order; then one for
// NVMe drives and one for all other drives, where there are such drives or the flags ask for it.
std::vector<LinuxController> controllers(SysfsReader& reader, const std::vector<ScsiHost>& hosts,
                                         const std::vector<LinuxDrive>& drives, bool withNvme,
                                         bool withOther);

// The controller of drives that have none.
LinuxController otherDrives();

// The release of the running kernel, "6.1.0-56-amd64"; "" when not known.
std::string kernelRelease(SysfsReader& reader);

}  // namespace LinuxHosts

#endif  // STORLIB_SOURCES_LINUXHOSTS_H
