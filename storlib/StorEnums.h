// Numbers that storage objects carry. Only values with a meaning of their own are named; every
// enumeration has int as its underlying type, because controllers deliver values outside the list
// and they pass through unchanged.
#ifndef STORLIB_STORENUMS_H
#define STORLIB_STORENUMS_H

enum EnumStorLibType : int { kStorLibGeneric = 0 };

// Adapter::getAdapterStatus()
enum EnumAdapterStatus : int { kAdapterNormal = 0, kAdapterFailed = 1 };

// Adapter::batStatus. 2, 5, 6, 7, 8 and 9 mean that a battery-backed cache is present.
enum EnumBatteryStatus : int {
    kBatteryNone = 0,
    kBatteryCharging = 2,
    kBatteryNormal = 5,
    kBatteryNew = 6,
    kBatteryOptimal = 7,  // normal as well: charged and learned
    kBatteryLow = 8,
    kBatteryDischarging = 9,
};

// PhysicalDevice::state
enum EnumPhysicalDeviceState : int {
    kDriveReady = 0,  // in no array
    kDriveMember = 1,
    kDriveFailed = 2,
    kDriveHotSpare = 4,
    kDriveRebuilding = 5,
    kDriveNotPresent = 7,
};

// LogicalDrive::getState()
enum EnumLogicalDeviceState : int {
    kLogicalFree = 0,     // a number without a drive behind it
    kLogicalOffline = 1,  // data cannot be reached
    kLogicalOptimal = 2,
    kLogicalDegraded = 3,  // running without redundancy
    kLogicalResyncing = 4,
    kLogicalHidden = 5,  // left out of comparisons, like 7
    kLogicalRebuilding = 6,
    kLogicalCriticalHidden = 7,
};

// LogicalDrive::getRaidLevel()
enum EnumRaidLevel : int {
    kRaid0 = 0,
    kRaid1 = 1,
    kRaid1E = 2,
    kRaid3 = 3,
    kRaid4 = 4,
    kRaid5 = 5,
    kRaid5E = 6,
    kRaid5EE = 7,
    kRaid00 = 8,
    kRaid10 = 9,
    kRaid1E0 = 10,
    kRaid50 = 11,
    kSpannedVolume = 13,
    kRaidVolume = 14,
    kSimpleVolume = 15,
    kRaid6 = 16,
    kRaid60 = 17,
};

// LogicalDrive::getSubState()
enum EnumLogicalSubState : int { kSubStateNone = 0, kSubStateQuickInit = 8 };

// Channel::getChannelType()
enum EnumChannelType : int { kChannelScsi = 0, kChannelSata = 1, kChannelSas = 4 };

// Adapter::getFeature()
enum FeatureEnum : int { kFeatureTemperature = 47 };  // temperature and its limit are real

// Adapter::getLimit()
enum Limit : int {
    kLimitLogicalDrives = 1,  // the highest logical drive number
    kLimitArrays = 2,
    kLimitSpannedArrays = 3,
    kLimitChannels = 4,
    kLimitID = 5,
    kLimitDevicesPerArray = 6,
    kLimitControllers = 7,
};

// SESElement::getStatus(): element status codes of SES (T10 SES-3, "Element status code").
enum EnumSESStatusCodes : int {
    kSesUnsupported = 0,
    kSesOk = 1,
    kSesCritical = 2,
    kSesNonCritical = 3,
    kSesUnrecoverable = 4,
    kSesNotInstalled = 5,
    kSesUnknown = 6,
    kSesNotAvailable = 7,
};

// SESElement::getType(): element type codes of SES.
enum EnumSESElementType : int {
    kSesDevice = 1,
    kSesPowerSupply = 2,
    kSesCooling = 3,
    kSesTemperature = 4,
    kSesArrayDevice = 23,
};

// Progress::getType()
enum EnumTaskType : int {
    kTaskNone = 0,
    kTaskInitialize = 1,
    kTaskSynchronize = 4,
    kTaskVerify = 5,  // a synchronisation too, for whoever watches
    kTaskRebuild = 6,
};

// Progress::getStatus()
enum EnumTaskStatus : int { kTaskRunning = 0, kTaskPaused = 1, kTaskFinished = 2 };

#endif  // STORLIB_STORENUMS_H
