// SafteConfig: what a SAF-TE enclosure holds, in units.
#ifndef STORLIB_SAFTECONFIG_H
#define STORLIB_SAFTECONFIG_H

#include "storlib/RaidObject.h"

class SafteConfig : public RaidObject {
public:
    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;

    unsigned short fanCount = 0;
    unsigned short powerSupplyCount = 0;
    unsigned short slotCount = 0;
};

#endif  // STORLIB_SAFTECONFIG_H
