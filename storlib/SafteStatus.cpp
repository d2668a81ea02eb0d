#include "storlib/SafteStatus.h"

#include <cstring>

#include "storlib/Attributes.h"

SafteStatus::SafteStatus() {
    std::memset(fanStatus, kUnknown, sizeof fanStatus);
    std::memset(powerSupplyStatus, kUnknown, sizeof powerSupplyStatus);
    std::memset(slotDeviceID, kNoDevice, sizeof slotDeviceID);
}

bool SafteStatus::isInstanceOf(char const* name) const {
    return isNamed(name, "SafteStatus") || RaidObject::isInstanceOf(name);
}

char const* SafteStatus::typeName() const { return "SafteStatus"; }
