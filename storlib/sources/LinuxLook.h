// LinuxLook: what a Linux machine shows at one moment, as far as it can change by itself.
//
// A look costs a few small reads per array member and is taken at every poll. Two looks are
// compared by their conditions; what happened between two looks is told by LinuxChanges.
#ifndef STORLIB_SOURCES_LINUXLOOK_H
#define STORLIB_SOURCES_LINUXLOOK_H

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "storlib/Addr.h"
#include "storlib/sources/MdArrays.h"
#include "storlib/sources/MdStat.h"
#include "storlib/sources/SesEnclosures.h"

class SysfsReader;

// Where the drives and enclosures of the last tree stand.
struct LinuxPlaces {
    std::unordered_map<std::string, Addr> drives;    // by path of the block device
    std::map<std::string, unsigned int> enclosures;  // controller, by path of the device
    unsigned int controllers = 0;

    // The drive at a block device or at a partition of it; null when it is none of ours.
    const Addr* driveAt(const std::string& blockPath) const;
};

struct LinuxLook {
    bool readable = false;  // there is a /proc/mdstat, a /sys/block or anything below /sys/class
    MdStat mdstat;
    std::vector<BlockName> blocks;
    std::vector<MdArray> arrays;
    std::vector<LinuxEnclosure> enclosures;

    // `before` is the look before this one; an empty one when there was none.
    static LinuxLook take(SysfsReader& reader, SesEnclosures& enclosures, MdArrays::Depth depth,
                          const LinuxLook& before);

    const MdArray* findArray(const std::string& name) const;  // null when there is none
    // A text per controller that changes whenever what the controller shows has changed; what is
    // nobody's counts for controller 0.
    std::map<unsigned int, std::string> conditions(const LinuxPlaces& places) const;
};

#endif  // STORLIB_SOURCES_LINUXLOOK_H
