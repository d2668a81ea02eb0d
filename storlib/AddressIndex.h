// AddressIndex: the objects of one tree by the address that they had when they were entered.
// The first object entered under an address keeps it. Belongs to RaidObject.
#ifndef STORLIB_ADDRESSINDEX_H
#define STORLIB_ADDRESSINDEX_H

#include <cstddef>
#include <unordered_map>

#include "storlib/Addr.h"

class RaidObject;

class AddressIndex {
public:
    // The object and everything below it. False when some address was taken already: the index
    // then cannot tell which of the two stands first in the tree.
    bool enterTree(RaidObject* object);
    RaidObject* find(const Addr& address) const;  // null when nothing was entered there
    void replace(const Addr& address, RaidObject* object) { objects[address] = object; }

private:
    struct Hash {
        std::size_t operator()(const Addr& address) const;
    };
    struct Equal {
        bool operator()(const Addr& a, const Addr& b) const { return a.IsEqual(b); }
    };
    std::unordered_map<Addr, RaidObject*, Hash, Equal> objects;
};

#endif  // STORLIB_ADDRESSINDEX_H
