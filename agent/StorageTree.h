// StorageTree: what the readers of a configuration tree share.
//
//   for (const LogicalDrive* array : objectsBelow<LogicalDrive>(adapter, "LogicalDrive")) ...
//   placeText(drive->addr)    // "0:1:3", as the events number drives
//
// The objects stay the tree's. Pure functions; any thread that may read the tree.
#ifndef AGENT_STORAGETREE_H
#define AGENT_STORAGETREE_H

#include <string>
#include <vector>

#include "storlib/Addr.h"
#include "storlib/RaidObject.h"

// All of one type, at any depth; `type` is what RaidObject::getChildren() calls it.
template <class Kind>
std::vector<const Kind*> objectsBelow(const RaidObject& object, const char* type) {
    std::vector<RaidObject*> list;
    object.getChildren(list, type, true, true);
    std::vector<const Kind*> found;
    for (RaidObject* each : list) {
        if (const auto* kind = dynamic_cast<const Kind*>(each)) found.push_back(kind);
    }
    return found;
}

inline std::string placeText(const Addr& at) {
    return std::to_string(at.controllerID) + ":" + std::to_string(at.channelID) + ":" +
           std::to_string(at.deviceID);
}

#endif  // AGENT_STORAGETREE_H
