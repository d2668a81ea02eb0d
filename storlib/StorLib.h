// StorLib: a storage library: reads the machine's configuration into a System.
#ifndef STORLIB_STORLIB_H
#define STORLIB_STORLIB_H

#include "storlib/Ret.h"

class System;

class StorLib {
public:
    virtual ~StorLib() = default;

    // Reads the whole configuration into a new tree. On failure the tree of the last good reading
    // stays.
    virtual Ret getSystemConfig() = 0;
    // The tree of the last good reading, null before the first. The library keeps one reference;
    // hold a RefSystem to keep the tree longer.
    virtual System* getSystem() const = 0;
};

#endif  // STORLIB_STORLIB_H
