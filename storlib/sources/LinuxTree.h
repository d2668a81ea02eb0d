// LinuxTree: makes a configuration tree from what was read of a Linux machine.
//
// Controller 0 is the md driver with the arrays. Then come the storage controllers of the PCI bus
// by address, one controller for NVMe drives and one for drives without any (USB, virtio, loop),
// where there are such drives. Numbers come from places, never from names that the kernel gives
// again:
//   channel   PCI controller: its host's position; NVMe: the drive's PCI place; other drives: 0
//             without a host, else 1 + the host's number
//   device    SCSI: the target; NVMe: the namespace; others: the PCI place
// An enclosure hangs below the controller of the drives that it holds, on a channel of its own
// when it was reached through another host.
//
// What was shown once keeps its controller for as long as this object lives, so that pulling the
// last drive takes no controller away. Threads: one at a time.
#ifndef STORLIB_SOURCES_LINUXTREE_H
#define STORLIB_SOURCES_LINUXTREE_H

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "storlib/sources/BlockDrives.h"
#include "storlib/sources/LinuxHosts.h"
#include "storlib/sources/LinuxLook.h"
#include "storlib/sources/SmartHealth.h"

class Adapter;
class Channel;
class HardDrive;
class SysfsReader;
class System;

class LinuxTree {
public:
    explicit LinuxTree(SysfsReader& source) : reader(source) {}

    // Fills the empty `system`; `places` then tells where everything stands. `health` may be null.
    // False when the reader ran short meanwhile: what came of it is to be thrown away, and nothing
    // of it is remembered.
    bool build(System& system, const LinuxLook& look, const std::vector<LinuxDrive>& drives,
               const SmartHealth* health, LinuxPlaces& places);

private:
    struct Branch;                                       // one controller under construction
    struct Lasting {                                     // from build to build
        std::map<std::string, PciPlace> enclosureHomes;  // by place of the enclosure
        bool nvme = false;                               // there have been such drives
        bool others = false;
    };
    using Links = std::map<std::string, std::vector<SasLink>>;  // by SAS address of the drive
    using Roles = std::vector<std::pair<std::string, int>>;     // of members, by place

    void buildWhole(System& system, const LinuxLook& seen, const std::vector<LinuxDrive>& drives,
                    const SmartHealth* health, LinuxPlaces& places);
    void addArrays(System& system, const LinuxLook& look);
    void addController(System& system, const LinuxController& controller, unsigned int number,
                       std::vector<Branch>& branches);
    void addHostPhys(const ScsiHost& host, SasPhys& phys, Adapter& adapter);
    Channel* channelFor(Branch& branch, unsigned int number, int type);
    Branch* branchOf(std::vector<Branch>& branches, const LinuxDrive& drive);
    void addDrive(Branch& branch, const LinuxDrive& drive, const Roles& roles,
                  const SmartHealth* health, SasPhys& phys, LinuxPlaces& places);
    Branch* homeOf(std::vector<Branch>& branches, const LinuxEnclosure& enclosure);
    void addEnclosure(std::vector<Branch>& branches, const LinuxEnclosure& enclosure,
                      LinuxPlaces& places);
    static void placeMembers(const System& system, const LinuxLook& look,
                             const LinuxPlaces& places);

    SysfsReader& reader;           // borrowed
    std::set<std::string> mounts;  // kernel names that hold mounted file systems
    Links links;
    std::map<std::string, unsigned int> linkOwners;  // controller of a drive, by SAS address
    Lasting lasting;
};

#endif  // STORLIB_SOURCES_LINUXTREE_H
