#include "storlib/RaidObject.h"

#include <algorithm>
#include <cstring>
#include <tuple>

#include "storlib/AddressIndex.h"
#include "storlib/Attributes.h"
#include "storlib/Reader.h"
#include "storlib/Writer.h"

namespace {

bool addressBefore(const RaidObject* a, const RaidObject* b) {
    if (a == nullptr || b == nullptr) return a != nullptr && b == nullptr;  // empty places last
    const auto key = [](const Addr& addr) {
        return std::make_tuple(addr.controllerID, addr.arrayID, addr.logicalDriveID, addr.channelID,
                               addr.deviceID, addr.chunkID, addr.itemID, addr.phyID);
    };
    return key(a->addr) < key(b->addr);
}

}  // namespace

RaidObject::RaidObject() = default;

RaidObject::~RaidObject() {
    index.reset();
    for (RaidObject* child : children) {
        if (child != nullptr) child->parent = nullptr;
        delete child;
    }
}

bool RaidObject::isInstanceOf(char const* name) const { return isNamed(name, "RaidObject"); }

char const* RaidObject::typeName() const { return "RaidObject"; }

char const* RaidObject::serializedName() const { return typeName(); }

void RaidObject::writeTo(Writer* writer) const { writer->writeAddrDefinedIDsOnly(addr); }

void RaidObject::readFrom(Reader* reader) {
    reader->readUInt("controllerID", addr.controllerID);
    reader->readUInt("arrayID", addr.arrayID);
    reader->readUInt("logicalDriveID", addr.logicalDriveID);
    reader->readUInt("channelID", addr.channelID);
    reader->readUInt("deviceID", addr.deviceID);
    reader->readI64("chunkID", addr.chunkID);
    reader->readUInt("itemID", addr.itemID);
    reader->readUInt("phyID", addr.phyID);
}

void RaidObject::sortChildren() {
    std::stable_sort(children.begin(), children.end(), addressBefore);
    dropIndexes();  // the first of two equal addresses may be another one now
}

void RaidObject::addChild(RaidObject* child) { addChild(child, children.size()); }

void RaidObject::addChild(RaidObject* child, unsigned long position) {
    const bool atEnd = position >= children.size();
    const auto offset = static_cast<std::ptrdiff_t>(atEnd ? children.size() : position);
    children.insert(children.begin() + offset, child);
    if (child == nullptr) return;
    child->parent = this;
    if (!atEnd) dropIndexes();
    for (RaidObject* ancestor = this; ancestor != nullptr; ancestor = ancestor->parent) {
        ancestor->descendantAdded(child);
    }
}

void RaidObject::descendantAdded(RaidObject* object) {
    // Of two equal addresses the first in the tree counts, and that may be the new one.
    if (index != nullptr && !index->enterTree(object)) index.reset();
}

void RaidObject::getChildren(std::vector<RaidObject*>& list, char const* type, bool recursive,
                             bool derived) const {
    for (RaidObject* child : children) {
        if (child == nullptr) {
            list.push_back(nullptr);
            continue;
        }
        if (derived ? child->isInstanceOf(type) : std::strcmp(child->typeName(), type) == 0) {
            list.push_back(child);
        }
        if (recursive && !child->children.empty()) {
            child->getChildren(list, type, recursive, derived);
        }
    }
}

RaidObject* RaidObject::getChild(unsigned long position) const {
    return position < children.size() ? children[position] : nullptr;
}

RaidObject* RaidObject::getObject(const Addr& address) const {
    if (index == nullptr) {
        index = std::make_unique<AddressIndex>();
        (void)index->enterTree(const_cast<RaidObject*>(this));  // in tree order: the first stays
    }
    RaidObject* hit = index->find(address);
    if (hit != nullptr && hit->addr.IsEqual(address)) return hit;
    RaidObject* walked = findByWalk(address);
    if (walked != nullptr) index->replace(address, walked);
    return walked;
}

RaidObject* RaidObject::getObject(unsigned int controllerID, unsigned int arrayID,
                                  unsigned int logicalDriveID, unsigned int channelID,
                                  unsigned int deviceID) const {
    return getObject(Addr(controllerID, arrayID, logicalDriveID, channelID, deviceID));
}

RaidObject* RaidObject::findByWalk(const Addr& address) const {
    if (addr.IsEqual(address)) return const_cast<RaidObject*>(this);
    for (RaidObject* child : children) {
        RaidObject* found = child == nullptr ? nullptr : child->findByWalk(address);
        if (found != nullptr) return found;
    }
    return nullptr;
}

void RaidObject::dropIndexes() const {
    for (const RaidObject* object = this; object != nullptr; object = object->parent) {
        object->index.reset();
    }
}

void RaidObject::deleteAllChildren() {
    dropIndexes();
    std::vector<RaidObject*> doomed;
    doomed.swap(children);
    for (RaidObject* child : doomed) {
        if (child != nullptr) child->parent = nullptr;
        delete child;
    }
}

std::unique_ptr<RaidObject> RaidObject::removeChild(RaidObject* child) {
    const auto place = std::find(children.begin(), children.end(), child);
    if (child == nullptr || place == children.end()) return nullptr;
    dropIndexes();
    children.erase(place);
    child->parent = nullptr;
    return std::unique_ptr<RaidObject>(child);
}
