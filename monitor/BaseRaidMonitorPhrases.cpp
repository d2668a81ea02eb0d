// Phrases that name objects in event texts. Each reads the catalogue afresh, so they are made only
// for events that are raised.
#include "monitor/BaseRaidMonitor.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>

#include "monitor/PhraseKeys.h"
#include "storlib/Adapter.h"
#include "storlib/Enclosure.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/SASPhy.h"
#include "storlib/SATAChannel.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "util/Number.h"

namespace {

constexpr int kNotSet = 0x7fffffff;

// What a catalogue text is asked for.
struct Phrase {
    const PhraseKey* key;
    std::vector<std::string> args;
};

// By RAID level: digits that are the same in every language, or a text of the catalogue.
struct LevelText {
    char const* digits;
    const PhraseKey* key;
};

// clang-format off
constexpr LevelText kLevelTexts[] = {
    {"0", nullptr},
    {"1", nullptr},
    {nullptr, &phrases::kRaid1E},
    {"3", nullptr},
    {"4", nullptr},
    {"5", nullptr},
    {nullptr, &phrases::kRaid5E},
    {nullptr, &phrases::kRaid5EE},
    {nullptr, &phrases::kRaid00},
    {nullptr, &phrases::kRaid10},
    {nullptr, &phrases::kRaid1E0},
    {nullptr, &phrases::kRaid50},
    {"", nullptr},  // 12 has a family of its own but no name
    {nullptr, &phrases::kSpannedVolume},
    {nullptr, &phrases::kRaidVolume},
    {nullptr, &phrases::kSimpleVolume},
    {"6", nullptr},  // added late, hence out of order
    {nullptr, &phrases::kRaid60},
};
// clang-format on

std::string decimal(int value) { return NLSParser::itoa(value, 10); }
std::string decimal(unsigned int value) { return decimal(static_cast<int>(value)); }

template <std::size_t N>
bool equalTexts(char const (&a)[N], char const (&b)[N]) {
    return std::strncmp(a, b, N) == 0;
}

// The objects of a kind below `root`, in tree order, without empty places.
template <class Kind>
std::vector<Kind*> below(const RaidObject& root, char const* type) {
    std::vector<RaidObject*> found;
    root.getChildren(found, type, true, true);
    std::vector<Kind*> objects;
    for (RaidObject* object : found) {
        if (object == nullptr || !object->isInstanceOf(type)) continue;
        objects.push_back(static_cast<Kind*>(object));
    }
    return objects;
}

// --- where a drive is ---
//
// Each place below is tried in turn; the arguments after the controller are filled in.

std::optional<Phrase> inSafteEnclosure(const HardDrive& drive) {
    if (drive.getAdapter() == nullptr) return std::nullopt;
    for (const Enclosure* enclosure : below<Enclosure>(*drive.getAdapter(), "Enclosure")) {
        if (!enclosure->isSafteDataValid()) continue;
        const int slot =
            enclosure->getSlotNumberFromDeviceID(static_cast<int>(drive.addr.deviceID));
        if (slot == kNotSet) continue;
        return Phrase{&phrases::kSataEnclosureDrive,
                      {decimal(enclosure->addr.deviceID), decimal(slot)}};
    }
    return std::nullopt;
}

// Ports are numbered through all SATA channels of a controller, in the order of the list.
std::optional<Phrase> onSataPort(const HardDrive& drive, const Channel& channel) {
    if (drive.getAdapter() == nullptr) return std::nullopt;
    unsigned int portsBefore = 0;
    for (const SATAChannel* candidate : below<SATAChannel>(*drive.getAdapter(), "SATAChannel")) {
        if (candidate->addr.channelID != channel.addr.channelID) {
            portsBefore += static_cast<unsigned int>(candidate->getPortCount());
            continue;
        }
        const unsigned int port = drive.sataPort == kNotSet
                                      ? drive.addr.deviceID
                                      : static_cast<unsigned int>(drive.sataPort);
        return Phrase{&phrases::kSataDrive, {decimal(portsBefore + port)}};
    }
    return std::nullopt;
}

Phrase onScsiChannel(const HardDrive& drive) {
    const Channel* channel = drive.getChannel();
    return Phrase{&phrases::kScsiDrive,
                  {channel == nullptr ? decimal(kNotSet) : decimal(channel->addr.channelID + 1),
                   decimal(drive.addr.deviceID)}};
}

bool isBelieved(const SES2EnclosureDevice& enclosure, const Adapter& adapter) {
    return enclosure.isSESDataValid() || adapter.isInstanceOf("ZorAdapter");
}

bool hasPhyLike(const SESElement& element, const SASPhy& drivePhy) {
    for (const SASPhy* phy : below<SASPhy>(element, "SASPhy")) {
        if (equalTexts(phy->SASaddress, drivePhy.SASaddress) &&
            equalTexts(phy->attachedSASaddress, drivePhy.attachedSASaddress)) {
            return true;
        }
    }
    return false;
}

// The number is read from the sixth character on, wherever the word stands: enclosures begin the
// descriptor with it, and those that do not have always been shown with the 0 that this gives.
std::optional<int> slotOf(const std::string& descriptor) {
    constexpr std::size_t kNumberAt = 5;
    if (descriptor.find("SLOT ") == std::string::npos &&
        descriptor.find("slot ") == std::string::npos) {
        return std::nullopt;
    }
    return strtol32(descriptor.c_str() + kNumberAt, 10);
}

std::optional<Phrase> inSesSlot(const Adapter& adapter, const SASPhy& drivePhy) {
    for (const auto* enclosure : below<SES2EnclosureDevice>(adapter, "SES2EnclosureDevice")) {
        if (!isBelieved(*enclosure, adapter)) continue;
        for (const SESElement* element : below<SESElement>(*enclosure, "SESElement")) {
            if (!hasPhyLike(*element, drivePhy)) continue;
            const std::optional<int> slot = slotOf(element->getDescriptor());
            if (!slot) continue;
            return Phrase{&phrases::kSasEnclosureDrive,
                          {decimal(enclosure->addr.deviceID), decimal(*slot)}};
        }
    }
    return std::nullopt;
}

bool areCabled(const SASPhy& adapterPhy, const SASPhy& drivePhy) {
    return adapterPhy.addr.phyID == drivePhy.attachedPhyID &&
           adapterPhy.attachedPhyID == drivePhy.addr.phyID &&
           equalTexts(adapterPhy.SASaddress, drivePhy.attachedSASaddress) &&
           equalTexts(adapterPhy.attachedSASaddress, drivePhy.SASaddress);
}

// All phys below the adapter are looked at, those of its drives and enclosures too.
std::optional<Phrase> onAdapterPhy(const Adapter& adapter, const SASPhy& drivePhy) {
    for (const SASPhy* phy : below<SASPhy>(adapter, "SASPhy")) {
        if (!areCabled(*phy, drivePhy)) continue;
        return Phrase{&phrases::kSasDirectDrive, {decimal(phy->addr.phyID)}};
    }
    return std::nullopt;
}

// Both ways are tried for one phy before the next one has its turn.
std::optional<Phrase> onSasLink(const HardDrive& drive) {
    const Adapter* adapter = drive.getAdapter();
    if (adapter == nullptr) return std::nullopt;
    for (const SASPhy* phy : below<SASPhy>(drive, "SASPhy")) {
        if (phy->attachedDeviceType == 0) continue;
        if (auto phrase = inSesSlot(*adapter, *phy)) return phrase;
        if (auto phrase = onAdapterPhy(*adapter, *phy)) return phrase;
    }
    return std::nullopt;
}

// The bytes as they lie in storage: each word from its low byte up.
Phrase byWorldWideName(const HardDrive& drive) {
    char digits[17];
    char* at = digits;
    for (const unsigned int word : {drive.wwn0, drive.wwn1}) {
        for (unsigned int shift = 0; shift < 32; shift += 8, at += 2) {
            std::snprintf(at, 3, "%02X", (word >> shift) & 0xffu);
        }
    }
    return Phrase{&phrases::kSasWwnDrive, {std::string(digits)}};
}

Phrase sataPlace(const HardDrive& drive, const Channel& channel) {
    if (auto phrase = inSafteEnclosure(drive)) return *phrase;
    if (auto phrase = onSataPort(drive, channel)) return *phrase;
    return onScsiChannel(drive);
}

Phrase sasPlace(const HardDrive& drive) {
    if (auto phrase = onSasLink(drive)) return *phrase;
    return byWorldWideName(drive);
}

Phrase placeOf(const HardDrive& drive) {
    const Channel* channel = drive.getChannel();
    if (channel == nullptr) return onScsiChannel(drive);
    if (channel->getChannelType() == kChannelSas) return sasPlace(drive);
    if (channel->getChannelType() == kChannelSata) return sataPlace(drive, *channel);
    return onScsiChannel(drive);
}

// --- how large a logical drive is ---

// 0 for families whose unit is not known.
double gigabytes(const LogicalDrive& drive, const Adapter& adapter) {
    const unsigned long long space = drive.getDataSpace64();
    // Through memory, so that a 32-bit build rounds to the same 53 bits.
    if (adapter.isInstanceOf("VantAdapter")) {
        const volatile double megabytes = static_cast<double>(space);
        return megabytes / 1024.0;
    }
    if (adapter.isInstanceOf("ZorAdapter")) {
        const volatile double bytes = static_cast<double>(space << 9);
        return bytes / 1073741824.0;
    }
    return 0.0;
}

}  // namespace

std::string BaseRaidMonitor::getEventID(Adapter* adapter) {
    if (adapter == nullptr) return std::string();
    return localise(phrases::kController.key, {getDetailedAdapterID(adapter)});
}

// The description begins with a blank whenever there is one: catalogue texts put it directly behind
// the number, so that an adapter without any leaves no gap.
std::string BaseRaidMonitor::getDetailedAdapterID(Adapter* adapter) {
    if (adapter == nullptr) return std::string();
    std::string description;
    if (adapter->deviceVendor[0] != 0) description += std::string(" ") + adapter->deviceVendor;
    if (adapter->deviceName[0] != 0) description += std::string(" ") + adapter->deviceName;
    if (adapter->controllerSerial[0] != 0) {
        description += std::string(" #") + adapter->controllerSerial;
    }
    const int slot = adapter->getPhysicalSlot();
    return localise(phrases::kControllerDescription.key,
                    {decimal(adapter->addr.controllerID + 1), description,
                     slot == kNotSet ? std::string("Unknown") : decimal(slot)});
}

// An object without an adapter shows the raw number that stands for "not set": better than a gap.
// The drive's forms are tried from the most to the least telling one.
std::string BaseRaidMonitor::getEventID(HardDrive* hardDrive) {
    if (hardDrive == nullptr || !hardDrive->isInstanceOf("HardDrive")) return std::string();
    Adapter* adapter = hardDrive->getAdapter();
    Phrase phrase = placeOf(*hardDrive);
    phrase.args.insert(phrase.args.begin(),
                       adapter == nullptr ? decimal(kNotSet) : getDetailedAdapterID(adapter));
    return localise(phrase.key->key, phrase.args);
}

// The number is shown as stored, unlike those of controllers and channels.
std::string BaseRaidMonitor::getEventID(LogicalDrive* logicalDrive) {
    if (logicalDrive == nullptr) return std::string();
    Adapter* adapter = logicalDrive->getAdapter();
    std::string drive = decimal(logicalDrive->addr.logicalDriveID);
    if (logicalDrive->isInstanceOf("ZorBasicLogicalDrive")) {
        drive = localise(phrases::kNamedLogicalDrive.key, {getLogicalName(logicalDrive), drive});
    }
    return localise(phrases::kLogicalDrive.key,
                    {adapter == nullptr ? decimal(kNotSet) : getDetailedAdapterID(adapter), drive});
}

std::string BaseRaidMonitor::getEventID(Channel* channel) {
    if (channel == nullptr) return std::string();
    Adapter* adapter = channel->getAdapter();
    return localise(phrases::kChannel.key,
                    {adapter == nullptr ? decimal(kNotSet) : getDetailedAdapterID(adapter),
                     decimal(channel->addr.channelID + 1)});
}

std::string BaseRaidMonitor::getReplacementID(PhysicalDevice* device) {
    if (device == nullptr) return std::string();
    if (device->fruNumber[0] != 0)
        return localise(phrases::kPartNumber.key, {std::string(device->fruNumber)});
    if (device->vendor[0] == 0 || device->model[0] == 0) return std::string();
    return localise(phrases::kVendorModel.key,
                    {std::string(device->vendor), std::string(device->model)});
}

// Hundredths without zero fill: 12.05 GB reads "12.5 GB" and 1.999 GB "1.100 GB". Intended: hosts
// compare this text with what older releases told them about the same drive.
std::string BaseRaidMonitor::getSize(LogicalDrive* logicalDrive) {
    if (logicalDrive == nullptr || logicalDrive->getAdapter() == nullptr) return "0 GB";
    const double size = gigabytes(*logicalDrive, *logicalDrive->getAdapter());
    const auto whole = static_cast<std::int64_t>(size);
    const auto hundredths = static_cast<int>((size - std::floor(size)) * 100.0 + 0.5);
    return std::to_string(whole) + "." + decimal(hundredths) + " GB";
}

std::string BaseRaidMonitor::getRaidLevel(LogicalDrive* logicalDrive) {
    if (logicalDrive == nullptr) return std::string();
    const auto level = static_cast<std::size_t>(logicalDrive->getRaidLevel());
    if (level >= std::size(kLevelTexts)) return std::string();
    const LevelText& text = kLevelTexts[level];
    return text.digits != nullptr ? std::string(text.digits) : nls.get(text.key->key);
}

// Begins with a comma, because event texts put it directly behind the RAID level.
std::string BaseRaidMonitor::getQuickInit(LogicalDrive* logicalDrive) {
    if (logicalDrive == nullptr || logicalDrive->getSubState() != kSubStateQuickInit) {
        return std::string();
    }
    return ", Method = " + nls.get(phrases::kQuickInit.key);
}
