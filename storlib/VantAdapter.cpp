#include "storlib/VantAdapter.h"

#include "storlib/Attributes.h"

bool VantAdapter::isInstanceOf(char const* name) const {
    return isNamed(name, "VantAdapter") || Adapter::isInstanceOf(name);
}

char const* VantAdapter::typeName() const { return "VantAdapter"; }
