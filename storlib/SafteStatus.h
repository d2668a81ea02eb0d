// SafteStatus: the state bytes of a SAF-TE enclosure (SAF-TE interface, "read enclosure status").
// Fan: 0 operational, 1 failed, 2 not installed, 0x80 not known. Power supply: 0 operational and
// on, 0x10 failed and on, 0x20 not present, 0x80 not known. Slot: SCSI id of the drive, 0xff none.
#ifndef STORLIB_SAFTESTATUS_H
#define STORLIB_SAFTESTATUS_H

#include "storlib/RaidObject.h"

class SafteStatus : public RaidObject {
public:
    static constexpr int kUnits = 32;
    static constexpr int kSlots = 64;
    static constexpr unsigned char kUnknown = 128;
    static constexpr unsigned char kNoDevice = 0xff;

    SafteStatus();

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;

    unsigned char fanStatus[kUnits];
    unsigned char powerSupplyStatus[kUnits];
    unsigned char slotDeviceID[kSlots];
    unsigned char tempFlags1 = 0;  // any bit: a sensor is out of range
    unsigned char tempFlags2 = 0;
};

#endif  // STORLIB_SAFTESTATUS_H
