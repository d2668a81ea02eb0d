// SesPages: the diagnostic pages of a SES enclosure (T10 SES-3), as bytes and as what they say.
//
//   SesPages pages;
//   pages.configuration = ...; pages.status = ...;   // the rest may stay empty
//   for (const SesUnit& unit : pages.units()) ...
//
// Bytes from outside: every length in them is checked, and what does not fit is left out.
#ifndef STORLIB_SOURCES_SESPAGES_H
#define STORLIB_SOURCES_SESPAGES_H

#include <string>
#include <vector>

#include "storlib/StorEnums.h"
#include "storlib/sources/SasPhys.h"

// One element of an enclosure.
struct SesUnit {
    static constexpr int kNoReading = 0x7fffffff;

    int type = 0;  // EnumSESElementType
    unsigned int status = kSesUnsupported;
    int reading = kNoReading;  // degrees Celsius of a sensor, turns a minute of a fan
    std::string descriptor;
    std::vector<SasLink> links;  // of the drive in a slot, as the enclosure sees them
};

struct SesPages {
    static constexpr int kConfiguration = 0x01;
    static constexpr int kStatus = 0x02;
    static constexpr int kThresholds = 0x05;
    static constexpr int kDescriptors = 0x07;
    static constexpr int kAdditional = 0x0a;

    std::string configuration;
    std::string status;
    std::string thresholds;
    std::string descriptors;
    std::string additional;

    // All elements in the enclosure's order, without the overall ones. Empty unless configuration
    // and status are there and belong together.
    std::vector<SesUnit> units() const;
    // Whether the other pages still describe the enclosure that `statusPage` comes from.
    bool fits(const std::string& statusPage) const;
};

#endif  // STORLIB_SOURCES_SESPAGES_H
