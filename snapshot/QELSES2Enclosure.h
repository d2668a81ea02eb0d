// QELSES2Enclosure: the snapshot's copy of a SES-2 enclosure, a "SESEnclosureDevice" element with
// its "SESElement" children, from which the inherited queries are answered.
#ifndef SNAPSHOT_QELSES2ENCLOSURE_H
#define SNAPSHOT_QELSES2ENCLOSURE_H

#include "storlib/SES2EnclosureDevice.h"
#include "xml/XmlAttributeList.h"

class QELSES2Enclosure : public SES2EnclosureDevice {
public:
    QELSES2Enclosure(Adapter* adapter, Channel* channel);  // borrowed, may be null

    bool isInstanceOf(char const* name) const override;
    void writeTo(Writer* writer) const override;

    void build(SimpleXmlParser& parser) override;  // see QELSystem::build
    void build(SES2EnclosureDevice* source);       // null copies nothing

private:
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELSES2ENCLOSURE_H
