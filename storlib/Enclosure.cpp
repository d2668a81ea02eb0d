#include "storlib/Enclosure.h"

#include "storlib/Attributes.h"
#include "storlib/SafteConfig.h"
#include "storlib/SafteStatus.h"

namespace {

constexpr int kNotSet = 0x7fffffff;

}  // namespace

Enclosure::Enclosure(Adapter* ownAdapter, Channel* ownChannel)
    : PhysicalDevice(ownAdapter, ownChannel) {}

Enclosure::~Enclosure() = default;

bool Enclosure::isInstanceOf(char const* name) const {
    return isNamed(name, "Enclosure") || PhysicalDevice::isInstanceOf(name);
}

char const* Enclosure::typeName() const { return "Enclosure"; }

char const* Enclosure::serializedName() const { return "Enclosure"; }

void Enclosure::build(SimpleXmlParser&) {}

unsigned short Enclosure::getFanCount() const {
    return safteDataValid && safteConfig ? safteConfig->fanCount : static_cast<unsigned short>(0);
}

unsigned short Enclosure::getPowerSupplyCount() const {
    return safteDataValid && safteConfig ? safteConfig->powerSupplyCount
                                         : static_cast<unsigned short>(0);
}

unsigned char Enclosure::getFanStatus(unsigned short fan) const {
    if (!safteDataValid || !safteStatus || fan >= SafteStatus::kUnits) return SafteStatus::kUnknown;
    return safteStatus->fanStatus[fan];
}

unsigned char Enclosure::getPowerSupplyStatus(unsigned short supply) const {
    if (!safteDataValid || !safteStatus || supply >= SafteStatus::kUnits) {
        return SafteStatus::kUnknown;
    }
    return safteStatus->powerSupplyStatus[supply];
}

bool Enclosure::isTempOutOfRange() const {
    return safteDataValid && safteStatus &&
           (safteStatus->tempFlags1 != 0 || safteStatus->tempFlags2 != 0);
}

int Enclosure::getSlotNumberFromDeviceID(int deviceID) const {
    if (!safteDataValid || !safteStatus) return kNotSet;
    for (int slot = 0; slot < SafteStatus::kSlots; ++slot) {
        if (safteStatus->slotDeviceID[slot] == deviceID) return slot;
    }
    return kNotSet;
}

int Enclosure::getDeviceIDFromSlotNumber(int slot) const {
    if (!safteDataValid || !safteStatus) return kNotSet;
    if (slot < 0 || slot >= SafteStatus::kSlots) return kNotSet;
    return safteStatus->slotDeviceID[slot];
}

void Enclosure::setSafteData(std::unique_ptr<SafteConfig> config,
                             std::unique_ptr<SafteStatus> status) {
    safteConfig = std::move(config);
    safteStatus = std::move(status);
    safteDataValid = safteConfig != nullptr && safteStatus != nullptr;
}
