// QELEnclosure: the snapshot's copy of a SAF-TE enclosure, an "Enclosure" element with its
// "SafteConfig" and "SafteStatus" children.
//
// The enclosure keeps the configuration and the status for its own queries and hands a second copy
// of each to its children, which is what the file is written from. Its SAF-TE data is valid exactly
// when both are held; the attribute "qelSafteDataValid" is written for people and never read.
//
// getSafteConfig() and getSafteStatus() are the live enclosure's and stay null here.
#ifndef SNAPSHOT_QELENCLOSURE_H
#define SNAPSHOT_QELENCLOSURE_H

#include <memory>

#include "snapshot/QELSafteConfig.h"
#include "snapshot/QELSafteStatus.h"
#include "storlib/Enclosure.h"
#include "xml/XmlAttributeList.h"

class QELEnclosure : public Enclosure {
public:
    QELEnclosure(Adapter* adapter, Channel* channel);  // borrowed, may be null
    QELEnclosure(const QELEnclosure& other);           // with the same adapter and channel
    QELEnclosure& operator=(const QELEnclosure&) = delete;

    bool isInstanceOf(char const* name) const override;
    char const* serializedName() const override;
    void writeTo(Writer* writer) const override;

    void build(SimpleXmlParser& parser) override;  // see QELSystem::build
    void build(Enclosure* source);                 // null copies nothing

    bool isSafteDataValid() const override;
    unsigned short getFanCount() const override;
    unsigned short getPowerSupplyCount() const override;
    unsigned char getFanStatus(unsigned short fan) const override;
    unsigned char getPowerSupplyStatus(unsigned short supply) const override;
    bool isTempOutOfRange() const override;
    int getSlotNumberFromDeviceID(int deviceID) const override;
    int getDeviceIDFromSlotNumber(int slot) const override;

    // Take the place of what is held; a copy becomes a child.
    void keepConfig(std::unique_ptr<QELSafteConfig> newConfig);
    void keepStatus(std::unique_ptr<QELSafteStatus> newStatus);

private:
    void settleValidity();

    std::unique_ptr<QELSafteConfig> config;
    std::unique_ptr<QELSafteStatus> status;
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELENCLOSURE_H
