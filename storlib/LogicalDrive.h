// LogicalDrive: a RAID array as the system sees it: one block device over several drives.
// Its number is addr.logicalDriveID.
//
// Texts are kept whole; the creation time is local time, all zero when not known.
#ifndef STORLIB_LOGICALDRIVE_H
#define STORLIB_LOGICALDRIVE_H

#include <string>
#include <vector>

#include "storlib/ArrayMember.h"
#include "storlib/RaidObject.h"
#include "storlib/StorEnums.h"

class Adapter;

class LogicalDrive : public RaidObject {
public:
    explicit LogicalDrive(Adapter* adapter);  // borrowed, may be null; its number is inherited

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
    char const* serializedName() const override;  // "LogicalDrive", for derived kinds too
    void writeTo(Writer* writer) const override;
    void readFrom(Reader* reader) override;

    virtual Adapter* getAdapter() const { return adapter; }
    virtual int getState() const { return state; }
    virtual bool getBlockedAccess() const { return blockedAccess; }
    virtual int getRaidLevel() const { return raidLevel; }
    virtual int getSubState() const { return subState; }
    // In the unit of the adapter's family: MB for Vant, 512-byte blocks for Zor.
    virtual unsigned long long getDataSpace64() const { return dataSpace; }

    int state = kLogicalOptimal;  // EnumLogicalDeviceState
    int raidLevel = kRaid0;       // EnumRaidLevel
    bool blockedAccess = false;   // the controller refuses access until somebody unblocks it
    int writeCacheMode = 0;
    bool OSPartition = false;
    int badBlockCount = 0;  // bad stripes: places that cannot be reconstructed
    int snapshotType = 0;
    int snapshotPartnerID = 0x7fffffff;
    unsigned int uniqueID = 0;
    unsigned long long dataSpace = 0;
    int subState = kSubStateNone;
    std::string logicalName;        // the user's name for it
    std::string secondaryLogicals;  // numbers of the drives it is made of, for spanned levels
    int createDay = 0;
    int createMonth = 0;
    int createYear = 0;
    int createHour = 0;
    int createMinute = 0;
    int createSecond = 0;
    int createMilliSec = 0;
    bool bTaskInProgress = false;

    // What the source knows now and no snapshot keeps.
    std::string osName;                // the system's present name for it, "md127"
    int raidDevices = 0;               // drives that it should have; 0 when not known
    int copies = 0;                    // of each block, for RAID 1E and 10; 0 when not known
    std::vector<ArrayMember> members;  // in slot order, then spares and failed ones

private:
    Adapter* adapter;
};

#endif  // STORLIB_LOGICALDRIVE_H
