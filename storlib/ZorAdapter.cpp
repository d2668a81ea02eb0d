#include "storlib/ZorAdapter.h"

#include "storlib/Attributes.h"

bool ZorAdapter::isInstanceOf(char const* name) const {
    return isNamed(name, "ZorAdapter") || Adapter::isInstanceOf(name);
}

char const* ZorAdapter::typeName() const { return "ZorAdapter"; }
