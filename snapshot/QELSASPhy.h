// QELSASPhy: the snapshot's copy of a SAS phy, a "SASPhy" element.
#ifndef SNAPSHOT_QELSASPHY_H
#define SNAPSHOT_QELSASPHY_H

#include "storlib/SASPhy.h"
#include "xml/XmlAttributeList.h"

class SimpleXmlParser;

class QELSASPhy : public SASPhy {
public:
    QELSASPhy() = default;

    bool isInstanceOf(char const* name) const override;

    void build(SimpleXmlParser& parser);  // see QELSystem::build
    void build(SASPhy* source);           // null copies nothing

private:
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELSASPHY_H
