#include "snapshot/QELSystem.h"

#include "snapshot/ElementReader.h"
#include "snapshot/QELAdapter.h"
#include "snapshot/QELProgressCollection.h"

namespace {

// clang-format off
constexpr ChildRow<QELSystem> kChildren[] = {
    {"Controller", [](QELSystem& system, SimpleXmlParser& parser) {
        readInto<QELAdapter>(system, parser);
    }},
    {"ProgressCollection", [](QELSystem& system, SimpleXmlParser& parser) {
        readInto<QELProgressCollection>(system, parser);
    }},
};
// clang-format on

}  // namespace

QELSystem::QELSystem(EnumStorLibType type) : System(type) {}

bool QELSystem::isInstanceOf(char const* name) const {
    return isNamed(name, "QELSystem") || System::isInstanceOf(name);
}

void QELSystem::writeTo(Writer*) const {}

void QELSystem::buildChildren(StorLib*, Ret&) {}

int QELSystem::getControllerCount(StorLib*, Ret&) { return 0; }

void QELSystem::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readElement(*this, parser, "System", attributes, {}, kChildren);
}

void QELSystem::build(System* source) {
    if (source == nullptr) return;
    addr = source->addr;
    forEachChild(*source, [this](RaidObject* child) {
        if (child->isInstanceOf("Adapter")) {
            copyInto<QELAdapter>(*this, static_cast<Adapter*>(child));
        }
    });
}
