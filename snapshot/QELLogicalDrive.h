// QELLogicalDrive: the snapshot's copy of a logical drive, a "LogicalDrive" element.
#ifndef SNAPSHOT_QELLOGICALDRIVE_H
#define SNAPSHOT_QELLOGICALDRIVE_H

#include <string>

#include "storlib/LogicalDrive.h"
#include "xml/XmlAttributeList.h"

class SimpleXmlParser;

class QELLogicalDrive : public LogicalDrive {
public:
    explicit QELLogicalDrive(Adapter* adapter);  // borrowed, may be null

    bool isInstanceOf(char const* name) const override;
    void writeTo(Writer* writer) const override;

    void build(SimpleXmlParser& parser);  // see QELSystem::build
    void build(LogicalDrive* source);     // null copies nothing

    std::string LDPath;  // library path; whoever copied the drive stores it here

private:
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELLOGICALDRIVE_H
