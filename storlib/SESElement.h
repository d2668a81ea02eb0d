// SESElement: one element of a SES-2 enclosure: a slot, fan, power supply, sensor. Children are
// the SAS phys of the drive in the slot. The element's number is addr.itemID.
#ifndef STORLIB_SESELEMENT_H
#define STORLIB_SESELEMENT_H

#include <string>

#include "storlib/RaidObject.h"
#include "storlib/StorEnums.h"

class SESElement : public RaidObject {
public:
    bool isInstanceOf(char const* name) const override;  // "SESElement" only
    char const* typeName() const override;
    char const* serializedName() const override;
    void writeTo(Writer* writer) const override;  // a byte 0xff of the descriptor as 0x7f
    // Besides what every object does: the object added gets this element's itemID, so that a phy
    // tells which element it belongs to.
    void descendantAdded(RaidObject* object) override;
    void readFrom(Reader* reader) override;

    virtual int getType() const { return elementType; }  // EnumSESElementType
    virtual std::string getDescriptor() const { return descriptor; }
    virtual int getStatus() const { return static_cast<int>(status); }  // EnumSESStatusCodes

    unsigned int status = kSesUnsupported;
    std::string descriptor;  // for example "SLOT 3"
    int elementType = 0;
    // What the element measures: degrees Celsius of a temperature sensor, turns a minute of a fan;
    // 0x7fffffff when it does not tell. No snapshot keeps it.
    int reading = 0x7fffffff;
};

#endif  // STORLIB_SESELEMENT_H
