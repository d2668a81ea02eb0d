// PhraseKeys: catalogue keys of the phrases that name objects inside event texts, with the number
// of arguments that each receives. kAllPhraseKeys lists them all for the tests.
#ifndef MONITOR_PHRASEKEYS_H
#define MONITOR_PHRASEKEYS_H

struct PhraseKey {
    char const* key;
    int argumentCount;
};

namespace phrases {

inline constexpr PhraseKey kController{"eventArgController", 1};
inline constexpr PhraseKey kControllerDescription{"eventArgController2", 3};
inline constexpr PhraseKey kScsiDrive{"eventArgControllerScsiDevice", 3};
inline constexpr PhraseKey kSataDrive{"eventArgControllerSATADevice", 2};
inline constexpr PhraseKey kSataEnclosureDrive{"eventArgControllerSATADeviceEnclosure", 3};
inline constexpr PhraseKey kSasEnclosureDrive{"eventArgControllerSASDeviceEnclosure", 3};
inline constexpr PhraseKey kSasDirectDrive{"eventArgControllerSASDeviceDirect", 2};
inline constexpr PhraseKey kSasWwnDrive{"eventArgControllerSASDeviceWWN", 2};
inline constexpr PhraseKey kLogicalDrive{"eventArgControllerLogicalDrive", 2};
inline constexpr PhraseKey kNamedLogicalDrive{"eventArgControllerLogicalDrive2", 2};
inline constexpr PhraseKey kChannel{"eventArgControllerChannel", 2};
inline constexpr PhraseKey kPartNumber{"deviceArgFRU", 1};
inline constexpr PhraseKey kVendorModel{"deviceArgVendorModel", 2};
inline constexpr PhraseKey kRaid1E{"infoLogDriveRAID1E", 0};
inline constexpr PhraseKey kRaid5E{"infoLogDriveRAID5E", 0};
inline constexpr PhraseKey kRaid5EE{"infoLogDriveRAID5EE", 0};
inline constexpr PhraseKey kRaid00{"RAID00", 0};
inline constexpr PhraseKey kRaid10{"RAID10", 0};
inline constexpr PhraseKey kRaid1E0{"RAID1E0", 0};
inline constexpr PhraseKey kRaid50{"RAID50", 0};
inline constexpr PhraseKey kRaid60{"RAID60", 0};
inline constexpr PhraseKey kSpannedVolume{"infoLogDriveSpannedVolume", 0};
inline constexpr PhraseKey kRaidVolume{"infoLogDriveRaidVolume", 0};
inline constexpr PhraseKey kSimpleVolume{"infoLogDriveSimpleVolume", 0};
inline constexpr PhraseKey kQuickInit{"LD_SUB_QUICK_INIT", 0};

inline constexpr PhraseKey const* kAllPhraseKeys[] = {
    &kController,
    &kControllerDescription,
    &kScsiDrive,
    &kSataDrive,
    &kSataEnclosureDrive,
    &kSasEnclosureDrive,
    &kSasDirectDrive,
    &kSasWwnDrive,
    &kLogicalDrive,
    &kNamedLogicalDrive,
    &kChannel,
    &kPartNumber,
    &kVendorModel,
    &kRaid1E,
    &kRaid5E,
    &kRaid5EE,
    &kRaid00,
    &kRaid10,
    &kRaid1E0,
    &kRaid50,
    &kRaid60,
    &kSpannedVolume,
    &kRaidVolume,
    &kSimpleVolume,
    &kQuickInit,
};

}  // namespace phrases

#endif  // MONITOR_PHRASEKEYS_H
