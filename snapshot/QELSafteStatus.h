// QELSafteStatus: the snapshot's copy of the state bytes of a SAF-TE enclosure, a "SafteStatus"
// element. SafteStatus tells what the bytes mean.
#ifndef SNAPSHOT_QELSAFTESTATUS_H
#define SNAPSHOT_QELSAFTESTATUS_H

#include "storlib/RaidObject.h"
#include "xml/XmlAttributeList.h"

class SafteStatus;
class SimpleXmlParser;

class QELSafteStatus : public RaidObject {
public:
    static constexpr int kUnits = 32;
    static constexpr int kSlots = 64;
    static constexpr unsigned char kUnknown = 128;
    static constexpr unsigned char kNoDevice = 0xff;
    static constexpr int kNotFound = 0x7fffffff;

    QELSafteStatus();
    QELSafteStatus(const QELSafteStatus& other);
    QELSafteStatus& operator=(const QELSafteStatus&) = delete;

    bool isInstanceOf(char const* name) const override;  // "QELSafteStatus" only
    char const* typeName() const override;               // "SafteStatus"
    char const* serializedName() const override;         // "SafteStatus"
    void writeTo(Writer* writer) const override;         // nothing of the base, no address

    void build(SimpleXmlParser& parser);  // see QELSystem::build
    void build(SafteStatus* source);      // null copies nothing, here and below
    void build(QELSafteStatus* source);

    unsigned char getFanStatus(unsigned short fan) const;  // kUnknown above 31
    unsigned char getPowerSupplyStatus(unsigned short supply) const;
    bool isTempOutOfRange() const;  // any bit of either flag byte
    // The first slot (0 to 63) with this device number, or kNotFound.
    int getSlotNumberFromDeviceID(int deviceID) const;
    int getDeviceIDFromSlotNumber(int slot) const;  // kNotFound when out of range

    unsigned char fanStatus[kUnits];
    unsigned char powerSupplyStatus[kUnits];
    unsigned char slotDeviceID[kSlots];
    unsigned char tempFlags1 = 0;
    unsigned char tempFlags2 = 0;

private:
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELSAFTESTATUS_H
