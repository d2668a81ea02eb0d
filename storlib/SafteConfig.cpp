#include "storlib/SafteConfig.h"

#include "storlib/Attributes.h"

bool SafteConfig::isInstanceOf(char const* name) const {
    return isNamed(name, "SafteConfig") || RaidObject::isInstanceOf(name);
}

char const* SafteConfig::typeName() const { return "SafteConfig"; }
