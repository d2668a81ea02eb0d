// SES2EnclosureDevice: a SES-2 enclosure. Everything it knows of its units stands in its
// SESElement children: cooling elements are the fans, in order, and so on.
#ifndef STORLIB_SES2ENCLOSUREDEVICE_H
#define STORLIB_SES2ENCLOSUREDEVICE_H

#include "storlib/PhysicalDevice.h"

class SimpleXmlParser;

class SES2EnclosureDevice : public PhysicalDevice {
public:
    SES2EnclosureDevice(Adapter* adapter, Channel* channel);

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
    char const* serializedName() const override;  // "SESEnclosureDevice"

    virtual void build(SimpleXmlParser& parser);  // see Adapter::build
    virtual bool isSESDataValid() const { return sesDataValid; }
    virtual unsigned short getFanCount() const;
    virtual unsigned short getPowerSupplyCount() const;
    // Not installed for a unit beyond the count.
    virtual EnumSESStatusCodes getFanStatus(unsigned short fan) const;
    virtual EnumSESStatusCodes getPowerSupplyStatus(unsigned short supply) const;
    // True when a temperature sensor is critical, non-critical or unrecoverable.
    virtual bool isTempOutOfRange() const;

    bool sesDataValid = false;
};

#endif  // STORLIB_SES2ENCLOSUREDEVICE_H
