// SasPhys: the SAS links of a Linux machine, from the classes sas_phy, sas_port and sas_device.
//
// Addresses are 16 upper-case hexadecimal digits; "" is not known. Some drivers report at their own
// phys what is attached to them instead of themselves: the address of such a host is not known.
#ifndef STORLIB_SOURCES_SASPHYS_H
#define STORLIB_SOURCES_SASPHYS_H

#include <map>
#include <string>
#include <vector>

#include "storlib/sources/BlockDrives.h"
#include "storlib/sources/LinuxHosts.h"

class SASPhy;
class SysfsReader;

struct SasLink {
    unsigned int phyID = 0;
    std::string address;
    unsigned int initiatorProtocols = 0;
    unsigned int targetProtocols = 0;
    unsigned int attachedPhyID = 0;
    std::string attachedAddress;
    unsigned int attachedTargetProtocols = 0;
    int attachedType = 0;  // 0 nothing, 1 end device, 2 expander
    int rate = 0;          // codes of SPL, see SASPhy
    int leastRate = 0;
    int mostRate = 0;
    int leastHardwareRate = 0;
    int mostHardwareRate = 0;

    void copyTo(SASPhy& phy) const;
};

class SasPhys {
public:
    explicit SasPhys(SysfsReader& source) : reader(source) {}

    // The phys of a SAS host, in the order of their numbers.
    std::vector<SasLink> ofHost(const ScsiHost& host);
    // The phys of the drive's end device; empty when it is none.
    std::vector<SasLink> ofDrive(const LinuxDrive& drive);

    // "0x5001122300000100" as 16 digits; "" for zero and for anything else.
    static std::string address(const std::string& text);

private:
    SysfsReader& reader;                               // borrowed
    std::map<std::string, std::string> hostAddresses;  // by path
};

#endif  // STORLIB_SOURCES_SASPHYS_H
