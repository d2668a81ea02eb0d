// AddressIndex: the objects of one tree by the address that they had when they were entered.
// The first object entered under an address keeps it. Belongs to RaidObject.
//
// The entries stand in one array, in the order in which they came, and a table of places in it is
// found by hash. Whoever compares two trees asks for one drive after the other, so the entry as
// far behind the last hit as that was behind the hit before is tried first.
#ifndef STORLIB_ADDRESSINDEX_H
#define STORLIB_ADDRESSINDEX_H

#include <cstdint>
#include <vector>

#include "storlib/Addr.h"

class RaidObject;

class AddressIndex {
public:
    // The object and everything below it. False when some address was taken already: the index
    // then cannot tell which of the two stands first in the tree.
    bool enterTree(RaidObject* object);
    RaidObject* find(const Addr& address);  // null when nothing was entered there
    void replace(const Addr& address, RaidObject* object);

private:
    struct Entry {
        Addr address;
        RaidObject* object;
    };
    struct Slot {
        std::uint32_t hash;
        std::uint32_t place;  // in `entries`, counted from 1; 0: free
    };

    static std::uint32_t hashOf(const Addr& address);
    Slot& slotFor(const Addr& address, std::uint32_t hash);
    bool enter(const Addr& address, RaidObject* object);
    RaidObject* findByHash(const Addr& address);
    void grow();

    std::vector<Entry> entries;
    std::vector<Slot> slots;  // a power of two of them, at most half of them used
    std::uint32_t lastHit = 0;
    std::uint32_t step = 1;  // from one hit to the next, modulo 2^32
};

#endif  // STORLIB_ADDRESSINDEX_H
