// RaidObject: root of everything that a storage library shows: an address, a parent, and an
// ordered list of children that it owns.
//
//   auto* drive = new HardDrive(adapter, channel);   // inherits controllerID and channelID
//   drive->addr.deviceID = 3;
//   channel->addChild(drive);                        // the channel deletes it
//   adapter->getObject(0, Addr::kNotSet, Addr::kNotSet, 1, 3);  // finds it again
//
// Ownership  A parent deletes its children. A child is in one list only.
// Look-up    getObject() answers in constant expected time from an index that the object asked
//            builds at the first question. Addresses are plain data and may change afterwards:
//            every hit is checked against the object's present address, and a miss or a stale hit
//            walks the tree once before it counts.
// Threads    None inside. A tree belongs to one thread; even getObject() writes (its index).
// Errors     None. Nothing is logged.
//
// The virtual operations stand in a fixed order that derived kinds continue.
#ifndef STORLIB_RAIDOBJECT_H
#define STORLIB_RAIDOBJECT_H

#include <memory>
#include <vector>

#include "storlib/Addr2.h"

class AddressIndex;
class Reader;
class Writer;

class RaidObject {
public:
    RaidObject();
    virtual ~RaidObject();
    RaidObject(const RaidObject&) = delete;
    RaidObject& operator=(const RaidObject&) = delete;

    // True for the name of the object's own class and of each class it derives from.
    virtual bool isInstanceOf(char const* name) const;
    virtual char const* typeName() const;        // class name, for example "HardDrive"
    virtual char const* serializedName() const;  // element name, not always the class name
    // Writes the attributes, the defined identifiers of the address first.
    virtual void writeTo(Writer* writer) const;
    // Puts the children into address order; equal addresses keep their order.
    virtual void sortChildren();
    virtual void addChild(RaidObject* child);  // at the end; takes ownership
    // In front of the child at `index`; at the end when there are not so many. A null child keeps
    // an empty place in the list, which typed lists hand on so that readers can report it.
    virtual void addChild(RaidObject* child, unsigned long index);
    // Called on every ancestor, nearest first, after `object` (with all below it) came into the
    // tree. An override calls the base first.
    virtual void descendantAdded(RaidObject* object);
    virtual void readFrom(Reader* reader);  // fills the attributes that the reader has

    // Appends to `list`, in tree order (a parent before its children), the objects below this one
    // that are of kind `type`, and every empty place found on the way. With `recursive` at any
    // depth, else direct children only; with `derived` whoever isInstanceOf(type), else only
    // objects of exactly that typeName().
    void getChildren(std::vector<RaidObject*>& list, char const* type, bool recursive,
                     bool derived) const;
    const std::vector<RaidObject*>& getChildren() const { return children; }
    unsigned long getChildCount() const { return children.size(); }
    RaidObject* getChild(unsigned long index) const;  // null when there are not so many
    RaidObject* getParent() const { return parent; }

    // The first object in tree order, this one included, whose address equals `address` in all
    // identifiers; null when there is none. Borrowed: valid until the tree changes.
    RaidObject* getObject(const Addr& address) const;
    // The same with the five numbers of drives and logical drives; all other identifiers not set.
    RaidObject* getObject(unsigned int controllerID, unsigned int arrayID,
                          unsigned int logicalDriveID, unsigned int channelID,
                          unsigned int deviceID) const;

    void deleteAllChildren();
    // Takes a child (with all below it) out of the tree; null when it is not a child of this one.
    std::unique_ptr<RaidObject> removeChild(RaidObject* child);

    Addr2 addr;

private:
    void dropIndexes() const;  // of this object and of all ancestors
    RaidObject* findByWalk(const Addr& address) const;

    RaidObject* parent = nullptr;       // borrowed
    std::vector<RaidObject*> children;  // owned; may hold nulls
    mutable std::unique_ptr<AddressIndex> index;
};

#endif  // STORLIB_RAIDOBJECT_H
