#include "storlib/AddressIndex.h"

#include <cstddef>

#include "storlib/RaidObject.h"

namespace {

constexpr std::size_t kFirstSlots = 64;
constexpr std::size_t kGrowth = 4;  // every growth enters all places again

}  // namespace

// Four products that do not wait for each other, where a chain of eight would.
std::uint32_t AddressIndex::hashOf(const Addr& address) {
    const auto pair = [](std::uint32_t low, std::uint32_t high) {
        return low | std::uint64_t{high} << 32;
    };
    std::uint64_t hash = pair(address.controllerID, address.arrayID) * 0x9e3779b97f4a7c15ULL;
    hash ^= pair(address.logicalDriveID, address.channelID) * 0xbf58476d1ce4e5b9ULL;
    hash ^= pair(address.deviceID, address.itemID) * 0x94d049bb133111ebULL;
    hash ^= (static_cast<std::uint64_t>(address.chunkID) + address.phyID) * 0xd6e8feb86659fd93ULL;
    hash ^= hash >> 32;
    hash *= 0x9e3779b97f4a7c15ULL;
    return static_cast<std::uint32_t>(hash >> 32);
}

// The slot of the address, or the free one where it belongs.
AddressIndex::Slot& AddressIndex::slotFor(const Addr& address, std::uint32_t hash) {
    const std::size_t mask = slots.size() - 1;
    std::size_t at = hash & mask;
    while (slots[at].place != 0 &&
           (slots[at].hash != hash || !entries[slots[at].place - 1].address.IsEqual(address))) {
        at = (at + 1) & mask;
    }
    return slots[at];
}

void AddressIndex::grow() {
    std::vector<Slot> old(slots.empty() ? kFirstSlots : slots.size() * kGrowth);
    old.swap(slots);
    const std::size_t mask = slots.size() - 1;
    for (const Slot& slot : old) {
        if (slot.place == 0) continue;
        std::size_t at = slot.hash & mask;
        while (slots[at].place != 0) at = (at + 1) & mask;
        slots[at] = slot;
    }
}

bool AddressIndex::enter(const Addr& address, RaidObject* object) {
    if (entries.size() * 2 >= slots.size()) grow();
    const std::uint32_t hash = hashOf(address);
    Slot& slot = slotFor(address, hash);
    if (slot.place != 0) return false;
    entries.push_back({address, object});
    slot = {hash, static_cast<std::uint32_t>(entries.size())};
    return true;
}

bool AddressIndex::enterTree(RaidObject* object) {
    bool allNew = enter(object->addr, object);
    for (RaidObject* child : object->getChildren()) {
        if (child != nullptr && !enterTree(child)) allNew = false;
    }
    return allNew;
}

RaidObject* AddressIndex::find(const Addr& address) {
    const std::uint32_t next = lastHit + step;
    if (next >= entries.size() || !entries[next].address.IsEqual(address)) {
        return findByHash(address);
    }
    lastHit = next;
    return entries[next].object;
}

RaidObject* AddressIndex::findByHash(const Addr& address) {
    if (slots.empty()) return nullptr;
    const Slot& slot = slotFor(address, hashOf(address));
    if (slot.place == 0) return nullptr;
    const std::uint32_t place = slot.place - 1;
    step = place - lastHit;
    lastHit = place;
    return entries[place].object;
}

void AddressIndex::replace(const Addr& address, RaidObject* object) {
    if (enter(address, object)) return;
    entries[slotFor(address, hashOf(address)).place - 1].object = object;
}
