#include "snapshot/QELSESElement.h"

#include "snapshot/ElementReader.h"
#include "snapshot/QELSASPhy.h"

namespace {

// clang-format off
constexpr AttributeRow<QELSESElement> kAttributes[] = {
    // An element inherits no number from its enclosure; its file tells where it belongs. Its own
    // number, the itemID, is stored as soon as it is read.
    {"controllerID", asIDIfPresent<&Addr::controllerID>},
    {"channelID",    asIDIfPresent<&Addr::channelID>},
    {"deviceID",     asIDIfPresent<&Addr::deviceID>},
};

constexpr ChildRow<QELSESElement> kChildren[] = {
    {"SASPhy", [](QELSESElement& element, SimpleXmlParser& parser) {
        readInto<QELSASPhy>(element, parser);
    }},
};
// clang-format on

}  // namespace

bool QELSESElement::isInstanceOf(char const* name) const {
    return isNamed(name, "QELSESElement") || SESElement::isInstanceOf(name);
}

void QELSESElement::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "SESElement", attributes, {"itemID", &Addr::itemID}, kAttributes,
                 kChildren);
    build();
}

void QELSESElement::build(SESElement* source) {
    if (source == nullptr) return;
    addr = source->addr;
    status = static_cast<unsigned int>(source->getStatus());
    descriptor = source->getDescriptor();
    elementType = source->getType();
    forEachChild(*source, [this](RaidObject* child) {
        if (child->isInstanceOf("SASPhy")) {
            copyInto<QELSASPhy>(*this, static_cast<SASPhy*>(child));
        }
    });
}

void QELSESElement::build() {
    if (attributes.Exists("status")) {
        status = static_cast<unsigned int>(attributes.GetLong("status"));
    }
    if (attributes.Exists("descriptor")) descriptor = attributes.GetValue("descriptor");
    if (attributes.Exists("elementType")) {
        elementType = static_cast<int>(attributes.GetULong("elementType"));
    }
}
