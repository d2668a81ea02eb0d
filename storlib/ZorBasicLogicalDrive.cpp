#include "storlib/ZorBasicLogicalDrive.h"

#include "storlib/Attributes.h"

bool ZorBasicLogicalDrive::isInstanceOf(char const* name) const {
    return isNamed(name, "ZorBasicLogicalDrive") || LogicalDrive::isInstanceOf(name);
}

char const* ZorBasicLogicalDrive::typeName() const { return "ZorBasicLogicalDrive"; }
