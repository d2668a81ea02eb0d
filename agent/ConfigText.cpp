#include "agent/ConfigText.h"

#include <cstddef>
#include <cstdio>
#include <map>
#include <vector>

#include "agent/SafeText.h"
#include "agent/SataPort.h"
#include "agent/StorageTree.h"
#include "agent/StorageWords.h"
#include "agent/Wording.h"
#include "storlib/Adapter.h"
#include "storlib/Channel.h"
#include "storlib/Enclosure.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/SASPhy.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "storlib/System.h"

namespace {

std::string rightCell(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

constexpr std::size_t kPlaceWidth = 13;
constexpr std::size_t kKindWidth = 8;  // slot of a drive, level of an array
constexpr std::size_t kNameWidth = 20;
constexpr std::size_t kSerialWidth = 14;
constexpr std::size_t kSizeWidth = 8;

std::string row(const std::string& place, const std::string& kind, const std::string& name,
                const std::string& serial, const std::string& size, const std::string& state) {
    return "  " + tableCell(place, kPlaceWidth) + " " + tableCell(kind, kKindWidth) + " " +
           tableCell(name, kNameWidth) + " " + tableCell(serial, kSerialWidth) +
           rightCell(size, kSizeWidth) + "  " + state + "\n";
}

std::string place(const char* kind, const Addr& at) {
    return std::string(kind) + " " + placeText(at);
}

// Slot of a drive by the SAS address that the enclosure's slot element and the drive share.
class Slots {
public:
    explicit Slots(const System& system) {
        for (const SESElement* element : objectsBelow<SESElement>(system, "SESElement")) {
            for (const SASPhy* phy : objectsBelow<SASPhy>(*element, "SASPhy")) {
                if (phy->SASaddress[0] != 0) names[phy->SASaddress] = element->getDescriptor();
            }
        }
    }

    std::string of(const HardDrive& drive) const {
        for (const SASPhy* phy : objectsBelow<SASPhy>(drive, "SASPhy")) {
            const auto slot = names.find(phy->SASaddress);
            if (slot != names.end()) return slot->second;
        }
        return sataPortName(drive);
    }

private:
    std::map<std::string, std::string> names;
};

std::string adapterWord(int status) {
    if (status == kAdapterNormal) return "normal";
    return status == kAdapterFailed ? "FAILED" : "status " + std::to_string(status);
}

std::string adapterLine(const Adapter& adapter) {
    const std::string name = joined(adapter.deviceVendor, " ", adapter.deviceName);
    std::string line = "adapter " + std::to_string(adapter.addr.controllerID) + "  ";
    line += tableCell(name, 40);
    line += "  PCI " + std::to_string(adapter.pciBus) + "-" + std::to_string(adapter.pciDevice) +
            "-" + std::to_string(adapter.pciFunction);
    line += "  " + adapterWord(adapter.getAdapterStatus());
    return line + "\n";
}

std::string driveLine(const HardDrive& drive, const Slots& slots) {
    std::string state = listedDriveWord(drive.state);
    if (drive.getPfaError()) state += ", FAILING";
    const auto size = static_cast<unsigned long long>(drive.size < 0 ? 0 : drive.size);
    return row(place("drive", drive.addr), slots.of(drive), joined(drive.vendor, " ", drive.model),
               drive.serialNumber, sizeText(size), state);
}

std::string arrayLine(const LogicalDrive& array, bool inBlocks) {
    const unsigned long long size = array.getDataSpace64();
    std::string state = listedArrayWord(array.getState());
    if (array.getBlockedAccess()) state += ", BLOCKED";
    if (array.badBlockCount > 0) state += ", bad stripes";
    return row("array " + std::to_string(array.addr.logicalDriveID),
               raidLevelWord(array.getRaidLevel()), array.logicalName, "",
               sizeText(inBlocks ? size / 2048 : size), state);
}

template <class Kind>
std::string unitsOf(const Kind& enclosure, bool valid) {
    if (!valid) return "state not known";
    return std::to_string(enclosure.getFanCount()) + " fans, " +
           std::to_string(enclosure.getPowerSupplyCount()) + " supplies, temp. " +
           (enclosure.isTempOutOfRange() ? "ALARM" : "normal");
}

std::string enclosureLine(const PhysicalDevice& device, const std::string& units) {
    return "  " + tableCell(place("encl.", device.addr), kPlaceWidth) + " " +
           tableCell("", kKindWidth) + " " +
           tableCell(joined(device.vendor, " ", device.model), kNameWidth) + " " + units + "\n";
}

}  // namespace

std::string sizeText(unsigned long long megabytes) {
    if (megabytes == 0) return "-";
    char text[32];
    if (megabytes < 1024) {
        std::snprintf(text, sizeof text, "%llu MB", megabytes);
    } else if (megabytes < 1024ull * 1024) {
        std::snprintf(text, sizeof text, "%.1f GB", static_cast<double>(megabytes) / 1024);
    } else {
        std::snprintf(text, sizeof text, "%.1f TB", static_cast<double>(megabytes) / 1024 / 1024);
    }
    return text;
}

std::string configText(const System& system) {
    const Slots slots(system);
    std::string text;
    for (const Adapter* adapter : objectsBelow<Adapter>(system, "Adapter")) {
        text += adapterLine(*adapter);
        for (const HardDrive* drive : objectsBelow<HardDrive>(*adapter, "HardDrive")) {
            text += driveLine(*drive, slots);
        }
        const bool inBlocks = adapter->isInstanceOf("ZorAdapter");
        for (const LogicalDrive* array : objectsBelow<LogicalDrive>(*adapter, "LogicalDrive")) {
            text += arrayLine(*array, inBlocks);
        }
        for (const Enclosure* each : objectsBelow<Enclosure>(*adapter, "Enclosure")) {
            text += enclosureLine(*each, unitsOf(*each, each->isSafteDataValid()));
        }
        for (const auto* each :
             objectsBelow<SES2EnclosureDevice>(*adapter, "SES2EnclosureDevice")) {
            text += enclosureLine(*each, unitsOf(*each, each->isSESDataValid()));
        }
    }
    return text.empty() ? "no storage controllers\n" : text;
}
