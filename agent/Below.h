// below(): everything of one kind that hangs below an object of the storage library's tree.
//
//   for (const HardDrive* drive : below<HardDrive>(*adapter, "HardDrive")) ...
//
// Ownership  The objects stay the tree's. Threads: any, while nobody changes the tree.
#ifndef AGENT_BELOW_H
#define AGENT_BELOW_H

#include <vector>

#include "storlib/RaidObject.h"

// In tree order, at any depth. `type` is the name that the tree knows the kind by.
template <class Kind>
std::vector<const Kind*> below(const RaidObject& object, const char* type) {
    std::vector<RaidObject*> list;
    object.getChildren(list, type, true, true);
    std::vector<const Kind*> found;
    for (RaidObject* each : list) {
        if (const auto* kind = dynamic_cast<const Kind*>(each)) found.push_back(kind);
    }
    return found;
}

#endif  // AGENT_BELOW_H
