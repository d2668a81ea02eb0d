// QELSESElement: the snapshot's copy of an element of a SES-2 enclosure, a "SESElement" element
// with its "SASPhy" children.
#ifndef SNAPSHOT_QELSESELEMENT_H
#define SNAPSHOT_QELSESELEMENT_H

#include "storlib/SESElement.h"
#include "xml/XmlAttributeList.h"

class SimpleXmlParser;

class QELSESElement : public SESElement {
public:
    QELSESElement() = default;

    bool isInstanceOf(char const* name) const override;  // "QELSESElement" or "SESElement"

    void build(SimpleXmlParser& parser);  // see QELSystem::build
    void build(SESElement* source);       // null copies nothing
    // Converts what the element at hand has of "status", "descriptor" and "elementType"; a field
    // whose attribute is absent stays as it is. Nothing happens when no element is being read.
    void build();

private:
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELSESELEMENT_H
