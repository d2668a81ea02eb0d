// QELAdapter: the snapshot's copy of a controller, a "Controller" element with its "Channel",
// "LogicalDrive" and "SASPhy" children.
#ifndef SNAPSHOT_QELADAPTER_H
#define SNAPSHOT_QELADAPTER_H

#include <string>

#include "storlib/Adapter.h"
#include "xml/XmlAttributeList.h"

class QELAdapter : public Adapter {
public:
    QELAdapter() = default;

    bool isInstanceOf(char const* name) const override;
    void writeTo(Writer* writer) const override;

    void build(SimpleXmlParser& parser) override;  // see QELSystem::build
    void build(Adapter* source);                   // null copies nothing

    // Library path; whoever copied the controller stores it here. It is written and never read
    // back: a path belongs to the library that is running, not to the one of the last start.
    std::string LDPath;

private:
    void addLogicalDrive(RaidObject* source);

    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELADAPTER_H
