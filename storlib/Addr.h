// Addr: where an object stands in the storage tree.
//
// Each identifier is a number counted from 0; kNotSet (kChunkNotSet for the chunk) marks one that
// does not apply. A physical drive has controllerID, channelID and deviceID; a logical drive has
// controllerID and logicalDriveID; everything else stays not set, so that two addresses are equal
// only when they name the same kind of place.
//
// Plain value without includes; copy it freely, from any thread.
#ifndef STORLIB_ADDR_H
#define STORLIB_ADDR_H

struct Addr {
    static constexpr unsigned int kNotSet = 0x7fffffff;
    static constexpr long long kChunkNotSet = 0x7fffffffffffffffLL;

    Addr() = default;
    Addr(unsigned int controller, unsigned int array, unsigned int logicalDrive,
         unsigned int channel, unsigned int device, long long chunk, unsigned int item,
         unsigned int phy)
        : controllerID(controller),
          arrayID(array),
          logicalDriveID(logicalDrive),
          channelID(channel),
          deviceID(device),
          chunkID(chunk),
          itemID(item),
          phyID(phy) {}

    // The five numbers by which drives, enclosures and logical drives are found.
    Addr(unsigned int controller, unsigned int array, unsigned int logicalDrive,
         unsigned int channel, unsigned int device)
        : Addr(controller, array, logicalDrive, channel, device, kChunkNotSet, kNotSet, kNotSet) {}

    static Addr ofController(unsigned int controller) {
        return Addr(controller, kNotSet, kNotSet, kNotSet, kNotSet);
    }
    static Addr ofLogicalDrive(unsigned int controller, unsigned int logicalDrive) {
        return Addr(controller, kNotSet, logicalDrive, kNotSet, kNotSet);
    }
    static Addr ofChannel(unsigned int controller, unsigned int channel) {
        return Addr(controller, kNotSet, kNotSet, channel, kNotSet);
    }
    static Addr ofDevice(unsigned int controller, unsigned int channel, unsigned int device) {
        return Addr(controller, kNotSet, kNotSet, channel, device);
    }

    void clear() { *this = Addr(); }

    // Equal in all eight identifiers.
    bool IsEqual(const Addr& other) const {
        return controllerID == other.controllerID && arrayID == other.arrayID &&
               logicalDriveID == other.logicalDriveID && channelID == other.channelID &&
               deviceID == other.deviceID && chunkID == other.chunkID && itemID == other.itemID &&
               phyID == other.phyID;
    }

    // Element name of an address written on its own.
    static char const* serializedName() { return "Addr"; }

    unsigned int controllerID = kNotSet;
    unsigned int arrayID = kNotSet;
    unsigned int logicalDriveID = kNotSet;
    unsigned int channelID = kNotSet;
    unsigned int deviceID = kNotSet;
    long long chunkID = kChunkNotSet;
    unsigned int itemID = kNotSet;
    unsigned int phyID = kNotSet;
};

#endif  // STORLIB_ADDR_H
