// QELChannel: the snapshot's copy of a channel, a "Channel" element with its "HardDrive",
// "Enclosure" and "SESEnclosureDevice" children.
#ifndef SNAPSHOT_QELCHANNEL_H
#define SNAPSHOT_QELCHANNEL_H

#include "storlib/Channel.h"
#include "xml/XmlAttributeList.h"

class SimpleXmlParser;

class QELChannel : public Channel {
public:
    explicit QELChannel(Adapter* adapter);  // borrowed, may be null

    bool isInstanceOf(char const* name) const override;

    void build(SimpleXmlParser& parser);  // see QELSystem::build
    void build(Channel* source);          // null copies nothing

private:
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELCHANNEL_H
