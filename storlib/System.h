// System: root of one configuration tree, as read at one moment; its children are the adapters.
//
// A System is counted: RefSystem holds it, and the last reference deletes it. A storage library
// makes a new tree at each reading and never changes one that it has handed out.
#ifndef STORLIB_SYSTEM_H
#define STORLIB_SYSTEM_H

#include <atomic>

#include "storlib/RaidObject.h"
#include "storlib/Ret.h"
#include "storlib/StorEnums.h"

class StorLib;

class System : public RaidObject {
public:
    explicit System(EnumStorLibType type = kStorLibGeneric);

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;

    // Fills the tree from a library; `result` tells how it went. The base has nothing to read.
    virtual void buildChildren(StorLib* library, Ret& result);
    // Number of adapters below, as the library counts them.
    virtual int getControllerCount(StorLib* library, Ret& result);

private:
    friend class RefSystem;
    std::atomic<int> references{0};
};

#endif  // STORLIB_SYSTEM_H
