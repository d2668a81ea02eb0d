#include "storlib/AddressIndex.h"

#include <cstdint>

#include "storlib/RaidObject.h"

std::size_t AddressIndex::Hash::operator()(const Addr& address) const {
    std::uint64_t hash = 0xcbf29ce484222325ULL;  // FNV-1a over whole identifiers
    const auto mix = [&hash](std::uint64_t value) { hash = (hash ^ value) * 0x100000001b3ULL; };
    mix(address.controllerID);
    mix(address.arrayID);
    mix(address.logicalDriveID);
    mix(address.channelID);
    mix(address.deviceID);
    mix(static_cast<std::uint64_t>(address.chunkID));
    mix(address.itemID);
    mix(address.phyID);
    return static_cast<std::size_t>(hash ^ (hash >> 32));
}

bool AddressIndex::enterTree(RaidObject* object) {
    bool allNew = objects.emplace(object->addr, object).second;
    for (RaidObject* child : object->getChildren()) {
        if (child != nullptr && !enterTree(child)) allNew = false;
    }
    return allNew;
}

RaidObject* AddressIndex::find(const Addr& address) const {
    const auto found = objects.find(address);
    return found == objects.end() ? nullptr : found->second;
}
