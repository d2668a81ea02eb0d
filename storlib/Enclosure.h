// Enclosure: a SAF-TE enclosure. It owns its configuration and its state bytes, which are not
// children; both are there exactly when the enclosure answered.
//
// "Not set" below is 0x7fffffff.
#ifndef STORLIB_ENCLOSURE_H
#define STORLIB_ENCLOSURE_H

#include <memory>

#include "storlib/PhysicalDevice.h"

class SafteConfig;
class SafteStatus;
class SimpleXmlParser;

class Enclosure : public PhysicalDevice {
public:
    Enclosure(Adapter* adapter, Channel* channel);
    ~Enclosure() override;

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
    char const* serializedName() const override;  // "Enclosure"

    virtual void build(SimpleXmlParser& parser);  // see Adapter::build
    virtual bool isSafteDataValid() const { return safteDataValid; }
    virtual unsigned short getFanCount() const;          // 0 without valid data
    virtual unsigned short getPowerSupplyCount() const;  // 0 without valid data
    // The raw state byte (see SafteStatus); 128 without valid data or beyond 31.
    virtual unsigned char getFanStatus(unsigned short fan) const;
    virtual unsigned char getPowerSupplyStatus(unsigned short supply) const;
    virtual bool isTempOutOfRange() const;  // false without valid data
    // First slot whose drive has this device number, or not set.
    virtual int getSlotNumberFromDeviceID(int deviceID) const;
    // Device number in a slot (0 to 63), or not set.
    virtual int getDeviceIDFromSlotNumber(int slot) const;
    virtual SafteConfig* getSafteConfig() const { return safteConfig.get(); }  // may be null
    virtual SafteStatus* getSafteStatus() const { return safteStatus.get(); }  // may be null

    // Hands over what the enclosure answered and marks it valid; null marks it as silent.
    void setSafteData(std::unique_ptr<SafteConfig> config, std::unique_ptr<SafteStatus> status);

    bool safteDataValid = false;

private:
    std::unique_ptr<SafteConfig> safteConfig;
    std::unique_ptr<SafteStatus> safteStatus;
};

#endif  // STORLIB_ENCLOSURE_H
