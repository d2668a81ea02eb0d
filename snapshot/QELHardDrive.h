// QELHardDrive: the snapshot's copy of a drive, a "HardDrive" element with its "SASPhy" children.
// The size is written whole and read as a signed 32-bit number of MB.
#ifndef SNAPSHOT_QELHARDDRIVE_H
#define SNAPSHOT_QELHARDDRIVE_H

#include <string>

#include "storlib/HardDrive.h"
#include "xml/XmlAttributeList.h"

class QELHardDrive : public HardDrive {
public:
    QELHardDrive(Adapter* adapter, Channel* channel);  // borrowed, may be null

    bool isInstanceOf(char const* name) const override;
    void writeTo(Writer* writer) const override;

    void build(SimpleXmlParser& parser) override;  // see QELSystem::build
    void build(HardDrive* source);                 // null copies nothing

    std::string LDPath;  // library path; whoever copied the drive stores it here

private:
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELHARDDRIVE_H
