// DeviceCopy: what the snapshot keeps of every drive and enclosure.
#ifndef SNAPSHOT_DEVICECOPY_H
#define SNAPSHOT_DEVICECOPY_H

#include "storlib/Attributes.h"
#include "storlib/PhysicalDevice.h"

// Address, texts, state and port. The firmware level is not part of it: the snapshot keeps none
// for a SES-2 enclosure, whose firmware is that of its expander and changes with it.
inline void copyDevice(PhysicalDevice& to, const PhysicalDevice& from) {
    to.addr = from.addr;
    to.deviceType = from.deviceType;
    setText(to.vendor, from.vendor);
    setText(to.model, from.model);
    setText(to.serialNumber, from.serialNumber);
    setText(to.fruNumber, from.fruNumber);
    setText(to.wwn, from.wwn);
    to.state = from.state;
    to.interfaceType = from.interfaceType;
    to.wwn0 = from.wwn0;
    to.wwn1 = from.wwn1;
    to.sataPort = from.sataPort;
}

#endif  // SNAPSHOT_DEVICECOPY_H
