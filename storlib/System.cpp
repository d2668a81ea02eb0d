#include "storlib/System.h"

#include "storlib/Attributes.h"

System::System(EnumStorLibType type) { addr.storlibType = type; }

bool System::isInstanceOf(char const* name) const {
    return isNamed(name, "System") || RaidObject::isInstanceOf(name);
}

char const* System::typeName() const { return "System"; }

void System::buildChildren(StorLib*, Ret& result) { result = Ret{}; }

int System::getControllerCount(StorLib*, Ret& result) {
    result = Ret{};
    std::vector<RaidObject*> adapters;
    getChildren(adapters, "Adapter", false, true);
    return static_cast<int>(adapters.size());
}
