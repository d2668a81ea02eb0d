// Addr2: an address together with the kind of storage library that the object came from.
#ifndef STORLIB_ADDR2_H
#define STORLIB_ADDR2_H

#include "storlib/Addr.h"

struct Addr2 : Addr {
    Addr2() = default;
    Addr2(const Addr& address, int type) : Addr(address), storlibType(type) {}

    int storlibType = 0;  // EnumStorLibType; 0 is the generic kind and is not written out
};

#endif  // STORLIB_ADDR2_H
