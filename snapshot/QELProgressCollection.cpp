#include "snapshot/QELProgressCollection.h"

#include "snapshot/ElementReader.h"
#include "snapshot/QELProgress.h"

namespace {

// clang-format off
constexpr ChildRow<QELProgressCollection> kChildren[] = {
    {"Progress", [](QELProgressCollection& collection, SimpleXmlParser& parser) {
        readInto<QELProgress>(collection, parser);
    }},
};
// clang-format on

}  // namespace

QELProgressCollection::QELProgressCollection(const QELProgressCollection& other) : RaidObject() {
    addCopies(other);
}

// Accumulates on purpose: hosts assign to empty collections only.
QELProgressCollection& QELProgressCollection::operator=(const QELProgressCollection& other) {
    addCopies(other);
    return *this;
}

bool QELProgressCollection::isInstanceOf(char const* name) const {
    return isNamed(name, "ProgressCollection");
}

char const* QELProgressCollection::typeName() const { return "ProgressCollection"; }

char const* QELProgressCollection::serializedName() const { return "ProgressCollection"; }

void QELProgressCollection::writeTo(Writer*) const {}

void QELProgressCollection::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readElement(*this, parser, "ProgressCollection", attributes, {}, kChildren);
}

void QELProgressCollection::build(QELProgressCollection* source) {
    if (source != nullptr) addCopies(*source);
}

void QELProgressCollection::addCopies(const QELProgressCollection& other) {
    forEachChild(other, [this](RaidObject* child) {
        if (!child->isInstanceOf("Progress")) return;
        adopt(*this, std::make_unique<QELProgress>(*static_cast<QELProgress*>(child)));
    });
}
