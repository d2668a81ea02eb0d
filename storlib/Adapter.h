// Adapter: one storage controller. Its children are channels, logical drives and, for a SAS
// controller, its own phys.
//
// Identity   (pciBus, pciDevice, pciFunction) is unique and stable for each controller of a
//            machine; the controller number addr.controllerID is only its place in the list.
// Texts      End with NUL, are trimmed, and are empty when not known.
// Units      Temperatures in degrees Celsius.
#ifndef STORLIB_ADAPTER_H
#define STORLIB_ADAPTER_H

#include "storlib/RaidObject.h"
#include "storlib/StorEnums.h"

class SimpleXmlParser;

class Adapter : public RaidObject {
public:
    static constexpr int kFeatures = 128;
    static constexpr int kLimits = 8;  // numbered from 1

    Adapter();

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
    char const* serializedName() const override;  // "Controller"
    void writeTo(Writer* writer) const override;
    void readFrom(Reader* reader) override;

    // Reads the element from a snapshot. Only kinds that can do so override it; here it does
    // nothing.
    virtual void build(SimpleXmlParser& parser);
    virtual int getAdapterStatus() const { return controllerStatus; }
    virtual int getPhysicalSlot() const { return physicalSlot; }
    virtual char const* getBiosVersion() const { return biosVersion; }
    virtual char const* getFirmwareVersion() const { return firmwareVersion; }
    virtual char const* getDeviceDriverVersion() const { return deviceDriverVersion; }
    // 0 when the controller lacks the feature or the number is unknown.
    virtual int getFeature(FeatureEnum feature) const;
    // 0 when the limit is unknown.
    virtual int getLimit(Limit limit) const;

    void setFeature(FeatureEnum feature, bool present);
    void setLimit(Limit limit, int value);

    int controllerType = 0;
    int physicalSlot = 0x7fffffff;  // 0x7fffffff: not known
    int controllerStatus = kAdapterNormal;
    char deviceVendor[32] = {};
    char deviceName[64] = {};
    char controllerSerial[64] = {};
    int pciBus = 0;  // the PCI domain is folded in: domain * 256 + bus
    int pciDevice = 0;
    int pciFunction = 0;
    EnumBatteryStatus batStatus = kBatteryNone;
    bool batTempWarning = false;
    int versionMatchStatus = 0;  // 1: BIOS, firmware and driver do not match
    int temperature = 0;
    int temperatureLimit = 0;
    char biosVersion[32] = {};
    char firmwareVersion[32] = {};
    char deviceDriverVersion[64] = {};

private:
    unsigned char features[kFeatures] = {};
    int limits[kLimits] = {};
};

#endif  // STORLIB_ADAPTER_H
