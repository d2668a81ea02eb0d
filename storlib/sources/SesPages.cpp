#include "storlib/sources/SesPages.h"

#include <cstdint>
#include <cstdio>

#include "storlib/sources/CleanText.h"

namespace {

constexpr std::size_t kHeader = 8;  // code, flags, length, generation
constexpr std::size_t kMostUnits = 4096;
constexpr int kProtocolSas = 6;

unsigned int byteAt(const std::string& page, std::size_t at) {
    return at < page.size() ? static_cast<unsigned char>(page[at]) : 0;
}

unsigned int wordAt(const std::string& page, std::size_t at) {
    return byteAt(page, at) * 256 + byteAt(page, at + 1);
}

bool isPage(const std::string& page, int code) {
    return page.size() >= kHeader && byteAt(page, 0) == static_cast<unsigned int>(code);
}

struct TypeHeader {
    int type;
    unsigned int count;
};

std::vector<TypeHeader> typeHeaders(const std::string& page) {
    std::size_t at = kHeader;
    unsigned int types = 0;
    for (unsigned int enclosure = 0; enclosure <= byteAt(page, 1); ++enclosure) {
        if (at + 4 > page.size()) return {};
        types += byteAt(page, at + 2);
        at += 4 + byteAt(page, at + 3);
    }
    std::vector<TypeHeader> headers;
    for (unsigned int i = 0; i < types && at + 4 <= page.size(); ++i, at += 4) {
        headers.push_back({static_cast<int>(byteAt(page, at)), byteAt(page, at + 1)});
    }
    return headers;
}

bool isSlot(int type) { return type == kSesDevice || type == kSesArrayDevice; }

// A sensor that calls itself well but reads beyond its own limits is not; the reading and the
// limits are degrees above -20, a limit of 0 is none.
unsigned int judgedTemperature(unsigned int status, unsigned int reading, const std::string& limits,
                               std::size_t at) {
    if (status == kSesCritical || status == kSesNonCritical || status == kSesUnrecoverable ||
        status == kSesNotInstalled || reading == 0) {
        return status;
    }
    const unsigned int highCritical = byteAt(limits, at);
    const unsigned int highWarning = byteAt(limits, at + 1);
    const unsigned int lowWarning = byteAt(limits, at + 2);
    const unsigned int lowCritical = byteAt(limits, at + 3);
    if ((highCritical != 0 && reading >= highCritical) || reading < lowCritical) {
        return kSesCritical;
    }
    if ((highWarning != 0 && reading >= highWarning) || reading < lowWarning) {
        return kSesNonCritical;
    }
    return status;
}

// Degrees are counted from -20, 0 is none. A fan counts tens of turns in 11 bits; one that stands
// and one that does not count both say 0, and its status tells which.
int readingAt(int type, const std::string& page, std::size_t at) {
    const int low = static_cast<int>(byteAt(page, at + 2));
    if (type == kSesTemperature && low != 0) return low - 20;
    const int tens = static_cast<int>(byteAt(page, at + 1) & 7) * 256 + low;
    if (type == kSesCooling && tens != 0) return tens * 10;
    return SesUnit::kNoReading;
}

std::string addressAt(const std::string& page, std::size_t at) {
    char digits[17];
    for (std::size_t i = 0; i < 8; ++i) {
        std::snprintf(digits + i * 2, 3, "%02X", byteAt(page, at + i));
    }
    return SasPhys::address(digits);
}

SasLink linkAt(const std::string& page, std::size_t at) {
    SasLink link;
    link.attachedType = byteAt(page, at) >> 4 & 7;
    link.initiatorProtocols = byteAt(page, at + 2) & 0x0f;
    link.targetProtocols = byteAt(page, at + 3) & 0x0f;
    link.attachedAddress = addressAt(page, at + 4);
    link.address = addressAt(page, at + 12);
    link.phyID = byteAt(page, at + 20);
    return link;
}

void setSlot(SesUnit& unit, unsigned int slot) { unit.descriptor = "SLOT " + std::to_string(slot); }

void readSlot(const std::string& page, std::size_t at, std::size_t end, bool numbered,
              SesUnit& unit) {
    constexpr std::size_t kLinkSize = 28;
    const std::size_t links = at + (numbered ? 4 : 2);
    if (byteAt(page, at + 1) >> 6 != 0) return;  // not the form that device slots have
    if (numbered) setSlot(unit, byteAt(page, at + 3));
    for (unsigned int i = 0; i < byteAt(page, at); ++i) {
        const std::size_t place = links + i * kLinkSize;
        if (place + kLinkSize > end) return;
        const SasLink link = linkAt(page, place);
        if (!link.address.empty()) unit.links.push_back(link);
    }
}

// Where the descriptor of page 0x0a belongs: an index over all elements, with or without the
// overall ones, or, without an index, the next device slot.
std::size_t unitOf(const std::vector<std::size_t>& withOverall, unsigned int flags,
                   unsigned int index) {
    if ((flags & 3) != 1) return index;
    for (std::size_t unit = 0; unit < withOverall.size(); ++unit) {
        if (withOverall[unit] == index) return unit;
    }
    return withOverall.size();
}

void readAdditional(const std::string& page, const std::vector<std::size_t>& withOverall,
                    std::vector<SesUnit>& units) {
    std::size_t at = kHeader;
    std::size_t nextSlot = 0;
    while (at + 4 <= page.size()) {
        const unsigned int flags = byteAt(page, at);
        const std::size_t end = at + 2 + byteAt(page, at + 1);
        const bool indexed = (flags & 0x10) != 0;
        if (end > page.size() || end < at + 4) return;
        std::size_t unit = nextSlot;
        if (indexed) {
            unit = unitOf(withOverall, byteAt(page, at + 2), byteAt(page, at + 3));
        } else {
            while (unit < units.size() && !isSlot(units[unit].type)) ++unit;
            nextSlot = unit + 1;
        }
        if (unit < units.size() && isSlot(units[unit].type) && (flags & 0x0f) == kProtocolSas) {
            readSlot(page, at + (indexed ? 4 : 2), end, indexed, units[unit]);
        }
        at = end;
    }
}

std::string nextText(const std::string& page, std::size_t& at) {
    if (at + 4 > page.size()) return std::string();
    const std::size_t length = wordAt(page, at + 2);
    const std::string text = cleanText(page.substr(at + 4, length));
    at += 4 + length;
    return text;
}

// "Slot 07" names slot 7 to people; whoever looks for the slot of a drive reads "SLOT 7".
void nameSlot(SesUnit& unit, unsigned int position) {
    const std::size_t last = unit.descriptor.find_last_not_of("0123456789");
    const std::string digits =
        unit.descriptor.substr(last == std::string::npos ? 0 : last + 1).substr(0, 6);
    setSlot(unit, digits.empty() ? position : static_cast<unsigned int>(std::stoul(digits)));
}

}  // namespace

bool SesPages::fits(const std::string& statusPage) const {
    return isPage(configuration, kConfiguration) && isPage(statusPage, kStatus) &&
           configuration.compare(4, 4, statusPage, 4, 4) == 0;
}

std::vector<SesUnit> SesPages::units() const {
    std::vector<SesUnit> found;
    if (!fits(status)) return found;
    std::vector<std::size_t> withOverall;
    std::size_t place = 0;
    std::size_t textAt = kHeader;
    std::size_t statusAt = kHeader;
    for (const TypeHeader& header : typeHeaders(configuration)) {
        (void)nextText(descriptors, textAt);  // the overall element of the type
        ++place;
        statusAt += 4;
        for (unsigned int i = 0; i < header.count; ++i, ++place, statusAt += 4) {
            if (statusAt + 4 > status.size() || found.size() >= kMostUnits) return found;
            SesUnit unit;
            unit.type = header.type;
            unit.status = byteAt(status, statusAt) & 0x0f;
            if (unit.type == kSesTemperature) {
                unit.status = judgedTemperature(unit.status, byteAt(status, statusAt + 2),
                                                thresholds, statusAt);
            }
            if (unit.status != kSesNotInstalled) {
                unit.reading = readingAt(unit.type, status, statusAt);
            }
            unit.descriptor = nextText(descriptors, textAt);
            if (isSlot(unit.type)) nameSlot(unit, i);
            withOverall.push_back(place);
            found.push_back(unit);
        }
    }
    if (isPage(additional, kAdditional)) readAdditional(additional, withOverall, found);
    return found;
}
