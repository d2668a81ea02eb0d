// SesEnclosures: the SES enclosures of a Linux machine. Which there are is told by the kernel's
// enclosure class; what they hold by their diagnostic pages, or, where these cannot be read, by
// the slots that the class shows.
//
// On this machine the pages are asked for with RECEIVE DIAGNOSTIC RESULTS through the enclosure's
// own generic device, opened for reading only. In a recording they are the files
// lab/ses/H:C:T:L/page_NN.bin. The pages that describe the enclosure are asked for anew only when
// its generation code has changed.
#ifndef STORLIB_SOURCES_SESENCLOSURES_H
#define STORLIB_SOURCES_SESENCLOSURES_H

#include <map>
#include <string>
#include <vector>

#include "storlib/sources/BlockDrives.h"
#include "storlib/sources/SesPages.h"

class SysfsReader;

struct LinuxEnclosure {
    LinuxDrive device;  // place and identity; devicePath ends in "/1:0:1:0"
    std::vector<SesUnit> units;
};

class SesEnclosures {
public:
    explicit SesEnclosures(SysfsReader& source) : reader(source) {}

    // With `identified` false, only what can change from one look to the next.
    std::vector<LinuxEnclosure> read(bool identified);

private:
    bool fetch(const LinuxDrive& device, int code, std::string& page);
    std::vector<SesUnit> unitsOf(const LinuxDrive& device, bool fresh);
    std::vector<SesUnit> slotsOfClass(const LinuxDrive& device);

    SysfsReader& reader;                    // borrowed
    std::map<std::string, SesPages> known;  // by device path
};

#endif  // STORLIB_SOURCES_SESENCLOSURES_H
