// PhysicalDevice: what sits at a channel and device number: a drive or an enclosure.
//
// Texts end with NUL, are trimmed and hold "" when not known. A number that is not known is
// 0x7fffffff where 0 would mean something.
#ifndef STORLIB_PHYSICALDEVICE_H
#define STORLIB_PHYSICALDEVICE_H

#include <string>

#include "storlib/RaidObject.h"
#include "storlib/StorEnums.h"

class Adapter;
class Channel;

class PhysicalDevice : public RaidObject {
public:
    // Both borrowed, both may be null; controller and channel number are inherited.
    PhysicalDevice(Adapter* adapter, Channel* channel);

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
    void writeTo(Writer* writer) const override;
    void readFrom(Reader* reader) override;

    virtual Adapter* getAdapter() const { return adapter; }
    virtual Channel* getChannel() const { return channel; }

    int deviceType = 0;  // SCSI peripheral device type: 0 disk, 13 enclosure (T10 SPC)
    char vendor[32] = {};
    char model[64] = {};
    char serialNumber[64] = {};
    char firmwareLevel[32] = {};
    char fruNumber[32] = {};  // part number to order as a replacement
    char wwn[32] = {};        // world-wide name as text
    int state = kDriveReady;  // EnumPhysicalDeviceState
    int interfaceType = 0;    // EnumChannelType of the drive's own interface
    unsigned int wwn0 = 0;    // world-wide name in storage order, first four bytes, low byte first
    unsigned int wwn1 = 0;    // the last four bytes
    int sataPort = 0x7fffffff;
    std::string osName;  // the system's present name for it, "sdb"; no snapshot keeps it

private:
    Adapter* adapter;
    Channel* channel;
};

#endif  // STORLIB_PHYSICALDEVICE_H
