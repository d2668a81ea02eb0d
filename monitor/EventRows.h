// EventRows: every event that the monitor can raise, one row each. Comparators say when, rows say
// what: no catalogue key, code, severity or identifier of an event stands anywhere else.
//
// kAllEventRows lists them all; docs/events.md and the tests walk it. Text arguments are counted
// per row: a catalogue text may use {0} up to {argumentCount - 1}.
#ifndef MONITOR_EVENTROWS_H
#define MONITOR_EVENTROWS_H

struct EventRow {
    char const* key;      // catalogue key of the text; "" when the text is fixed
    int code;             // QELEvent::eventCode
    int severity;         // 1 error, 2 warning, 3 informational, 4 task, 5 task percent
    char const* eventId;  // QELEvent::eventId
    int argumentCount;    // the most that a caller passes
};

// Two events about one condition: the specific one and the generic state change of its kind.
struct EventPair {
    EventRow specific;
    EventRow stateChange;
};

namespace rows {

// clang-format off

// --- the queue and the poll ---------------------------------------------------------------------
inline constexpr EventRow kQueueOverload      {"", 200, 2, "", 0};
inline constexpr EventRow kNoControllers      {"agentEventInfNoControllers", 201, 3, "EVENT_TORVEX_STATE_NOTFOUND", 0};
// Error severity under an Inf key: hosts filter controllers that vanished by severity.
inline constexpr EventRow kControllerRemoved  {"agentEventInfControllerRemoved", 202, 1, "EVENT_TORVEX_STATE_FAILED", 1};

// --- adapters -----------------------------------------------------------------------------------
inline constexpr EventRow kControllerAdded    {"agentEventInfControllerAdded", 207, 3, "EVENT_TORVEX_STATE_ADDED", 1};
inline constexpr EventRow kControllerReplaced {"agentEventInfControllerReplace", 208, 3, "EVENT_TORVEX_STATE_REPLACED", 1};
inline constexpr EventRow kControllerState    {"agentEventInfControllerStateChange", 299, 3, "EVENT_TORVEX_STATE_CHANGE", 1};
inline constexpr EventRow kControllerStateFailed {"agentEventInfControllerStateChange", 299, 1, "EVENT_TORVEX_STATE_CHANGE", 1};
inline constexpr EventRow kControllerFailed   {"agentEventErrController", 202, 1, "EVENT_TORVEX_STATE_FAILED", 1};
// A new battery is an error until it is initialised, its companion only a warning.
inline constexpr EventPair kNewBattery {
    {"agentEventErrBBCNewBattery", 203, 1, "", 1},
    {"agentEventErrBBCNewBattery", 299, 2, "EVENT_TORVEX_STATE_CHANGE", 1}};
inline constexpr EventPair kBatteryLow {
    {"agentEventWrnBatteryLow", 214, 2, "", 1},
    {"agentEventWrnBatteryLow", 299, 2, "EVENT_TORVEX_STATE_CHANGE", 1}};
inline constexpr EventPair kBatteryNormalAgain {
    {"agentEventInfBatteryNormal", 217, 3, "", 1},
    {"agentEventInfBatteryNormal", 299, 3, "EVENT_TORVEX_STATE_CHANGE", 1}};
inline constexpr EventPair kBatteryOvertemp {
    {"agentEventWrnBatteryOvertemp", 211, 2, "", 1},
    {"agentEventWrnBatteryOvertemp", 299, 2, "EVENT_TORVEX_STATE_CHANGE", 1}};
inline constexpr EventPair kBatteryTempNormal {
    {"agentEventInfBatteryTempNormal", 216, 3, "", 1},
    {"agentEventInfBatteryTempNormal", 299, 3, "EVENT_TORVEX_STATE_CHANGE", 1}};
// Both may follow a version mismatch in the same check and then carry its three versions too.
inline constexpr EventRow kBadStripes         {"agentEventWrnBadStripes", 215, 2, "EVENT_TORVEX_CONTROLLER_BAD_STRIPES", 4};
inline constexpr EventRow kControllerOvertemp {"agentEventWrnControllerOvertemp", 213, 2, "EVENT_TORVEX_CONTROLLER_OVERTEMP", 4};
inline constexpr EventRow kVersionMismatch    {"agentEventWrnMismatchedVersions", 210, 2, "EVENT_TORVEX_VERSION_MISMATCH", 4};

// --- physical drives ----------------------------------------------------------------------------
// The companion of a removal is an error: a drive that is gone needs somebody.
inline constexpr EventPair kDriveRemoved {
    {"agentEventInfDeleteDiskDrive", 408, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_REMOVE_PD", 2},
    {"agentEventInfDeleteDiskDrive", 499, 1, "EVENT_TORVEX_PD_STATE_CHANGE", 2}};
inline constexpr EventPair kDriveAdded {
    {"agentEventInfAddDiskDrive", 407, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_ADD_PD", 2},
    {"agentEventInfDriveStateChange", 499, 3, "EVENT_TORVEX_PD_STATE_CHANGE", 2}};
inline constexpr EventRow kDriveReturned      {"agentEventInfAddDiskDrive", 407, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_ADD_PD", 2};
inline constexpr EventRow kDriveState         {"agentEventInfDriveStateChange", 499, 3, "EVENT_TORVEX_PD_STATE_CHANGE", 2};
inline constexpr EventRow kDriveStateFailed   {"agentEventInfDriveStateChange", 499, 1, "EVENT_TORVEX_PD_STATE_CHANGE", 2};
inline constexpr EventRow kDriveStatePfa      {"agentEventInfDriveStateChange", 499, 2, "EVENT_TORVEX_PD_STATE_CHANGE", 2};
// Key and code are chosen by two tests: the key by the replacement phrase, the code by the FRU
// number. Indexed [phrase is not empty][FRU number is not empty].
inline constexpr EventPair kDriveFailed[2][2] = {
    {{{"agentEventErrDefunctDrive", 401, 1, "EVENT_TORVEX_PD_STATE_FAILED", 2},
      {"agentEventErrDefunctDrive", 499, 1, "EVENT_TORVEX_PD_STATE_CHANGE", 2}},
     {{"agentEventErrDefunctDrive", 404, 1, "EVENT_TORVEX_PD_STATE_FAILED", 2},
      {"agentEventErrDefunctDrive", 499, 1, "EVENT_TORVEX_PD_STATE_CHANGE", 2}}},
    {{{"agentEventErrDefunctDriveRepl", 401, 1, "EVENT_TORVEX_PD_STATE_FAILED", 2},
      {"agentEventErrDefunctDriveRepl", 499, 1, "EVENT_TORVEX_PD_STATE_CHANGE", 2}},
     {{"agentEventErrDefunctDriveRepl", 404, 1, "EVENT_TORVEX_PD_STATE_FAILED", 2},
      {"agentEventErrDefunctDriveRepl", 499, 1, "EVENT_TORVEX_PD_STATE_CHANGE", 2}}}};
inline constexpr EventPair kDrivePfa[2][2] = {
    {{{"agentEventWrnPFADrive", 402, 2, "EVENT_TORVEX_PD_PFA_ERROR_YES", 2},
      {"agentEventWrnPFADrive", 499, 2, "EVENT_TORVEX_PD_STATE_CHANGE", 2}},
     {{"agentEventWrnPFADrive", 405, 2, "EVENT_TORVEX_PD_PFA_ERROR_YES", 2},
      {"agentEventWrnPFADrive", 499, 2, "EVENT_TORVEX_PD_STATE_CHANGE", 2}}},
    {{{"agentEventWrnPFADriveRepl", 402, 2, "EVENT_TORVEX_PD_PFA_ERROR_YES", 2},
      {"agentEventWrnPFADriveRepl", 499, 2, "EVENT_TORVEX_PD_STATE_CHANGE", 2}},
     {{"agentEventWrnPFADriveRepl", 405, 2, "EVENT_TORVEX_PD_PFA_ERROR_YES", 2},
      {"agentEventWrnPFADriveRepl", 499, 2, "EVENT_TORVEX_PD_STATE_CHANGE", 2}}}};
inline constexpr EventRow kFailedDriveReplaced {"agentEventInfDefunctReplace", 403, 3, "EVENT_TORVEX_PD_STATE_READY", 2};
inline constexpr EventRow kHotSpareCreated    {"agentEventInfSpareCreated", 497, 3, "EVENT_TORVEX_PD_STATE_HOTSPARE", 2};
inline constexpr EventRow kHotSpareDeleted    {"agentEventInfSpareDeleted", 498, 3, "EVENT_TORVEX_PD_STATE_READY", 2};
inline constexpr EventRow kUnsupportedDrive   {"agentEventWrnUnsupportedPhysDrive", 406, 2, "EVENT_TORVEX_PD_DRV_UNSUPPORTED", 2};

// --- logical drives -----------------------------------------------------------------------------
inline constexpr EventRow kLogicalDeleted     {"agentEventInfDeleteLogDrive", 347, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_DELETE_LD", 1};
inline constexpr EventRow kLogicalAdded       {"agentEventInfAddLogDrive", 346, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_ADD_LD", 4};
inline constexpr EventRow kLogicalState       {"agentEventInfLogicalStateChange", 399, 3, "EVENT_TORVEX_STATE_CHANGE_LD", 1};
inline constexpr EventRow kLogicalStateOffline  {"agentEventInfLogicalStateChange", 399, 1, "EVENT_TORVEX_STATE_CHANGE_LD", 1};
inline constexpr EventRow kLogicalStateCritical {"agentEventInfLogicalStateChange", 399, 2, "EVENT_TORVEX_STATE_CHANGE_LD", 1};
inline constexpr EventRow kLogicalOffline     {"agentEventErrLogicalOffline", 303, 1, "EVENT_TORVEX_LD_STATE_OFFLINE", 1};
inline constexpr EventRow kLogicalCritical    {"agentEventWrnLogicalCritical", 301, 2, "EVENT_TORVEX_LD_STATE_CRITICAL", 1};
inline constexpr EventRow kLogicalNormal      {"agentEventInfLogicalOk", 345, 3, "EVENT_TORVEX_LD_STATE_NORMAL", 1};
inline constexpr EventRow kLogicalBlocked     {"agentEventErrLogicalBlocked", 302, 1, "EVENT_TORVEX_LD_STATE_BLOCKED", 1};
inline constexpr EventRow kLogicalUnblocked   {"agentEventInfUnblock", 331, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_UNBLOCK", 1};
inline constexpr EventRow kCriticalReminder   {"agentEventWrnCriticalLogicalDrivePeriodic", 338, 2, "EVENT_TORVEX_LD_STATE_CRITICAL_PERIODIC", 1};

// --- enclosures ---------------------------------------------------------------------------------
inline constexpr EventRow kEnclosureFound     {"agentEventInfEnclOk", 501, 3, "EVENT_TORVEX_ENC_OK", 1};
inline constexpr EventRow kEnclosureLost      {"agentEventErrEnclFail", 502, 1, "EVENT_TORVEX_ENC_FAILURE", 1};
inline constexpr EventRow kFanOperational     {"agentEventInfFanOperational", 503, 3, "EVENT_TORVEX_ENC_FAN_REPLACED", 2};
inline constexpr EventRow kFanFailed          {"agentEventErrFanFail", 504, 1, "EVENT_TORVEX_ENC_FAN_FAILURE", 2};
inline constexpr EventRow kFanInstalled       {"agentEventInfFanInstalled", 505, 3, "EVENT_TORVEX_ENC_FAN_INSTALLED", 2};
// A missing fan or supply is an error although its key says warning: hosts page on it.
inline constexpr EventRow kFanRemoved         {"agentEventWrnFanRemoved", 506, 1, "EVENT_TORVEX_ENC_FAN_REMOVED", 2};
inline constexpr EventRow kTempNormal         {"agentEventInfTempNormal", 507, 3, "EVENT_TORVEX_ENC_TEMP_NORMAL", 1};
inline constexpr EventRow kTempOutOfRange     {"agentEventErrTempFail", 508, 1, "EVENT_TORVEX_ENC_TEMP_FAILURE", 1};
inline constexpr EventRow kPowerOperational   {"agentEventInfPowerOperational", 509, 3, "EVENT_TORVEX_ENC_PS_REPLACED", 2};
inline constexpr EventRow kPowerFailed        {"agentEventErrPowerFail", 510, 1, "EVENT_TORVEX_ENC_PS_FAILURE", 2};
inline constexpr EventRow kPowerInstalled     {"agentEventInfPowerInstalled", 511, 3, "EVENT_TORVEX_ENC_PS_INSTALLED", 2};
inline constexpr EventRow kPowerRemoved       {"agentEventWrnPowerRemoved", 512, 1, "EVENT_TORVEX_ENC_PS_REMOVED", 2};

// --- the SAS drive map --------------------------------------------------------------------------
// The generic identifier is part of the report's format: collectors select the map by it.
inline constexpr EventRow kSasDriveMap        {"agentEventInfDriveMap", 423, 3, "RAID_EVENT", 5};

// --- tasks, by progress -------------------------------------------------------------------------
// "Detected" counts two arguments because a controller's own record passes its code as well.
inline constexpr EventRow kInitDetected       {"agentEventInfInitDetected", 342, 4, "EVENT_TORVEX_LD_INITIALIZE_STARTED", 2};
inline constexpr EventRow kSyncDetected       {"agentEventInfSyncDetected", 307, 4, "EVENT_TORVEX_LD_SYNCHRONIZE_STARTED", 2};
inline constexpr EventRow kRebuildDetected    {"agentEventInfRebuildDetected", 304, 4, "EVENT_TORVEX_LD_REBUILD_STARTED", 2};
inline constexpr EventRow kInitRunning        {"agentEventInfInitPercentComplete", 384, 5, "EVENT_TORVEX_LD_INITIALIZE_RUNNING", 2};
inline constexpr EventRow kSyncRunning        {"agentEventInfSyncPercentComplete", 373, 5, "EVENT_TORVEX_LD_SYNCHRONIZE_RUNNING", 2};
inline constexpr EventRow kRebuildRunning     {"agentEventInfRebuildPercentComplete", 372, 5, "EVENT_TORVEX_LD_REBUILD_RUNNING", 2};
inline constexpr EventRow kInitStopped        {"agentEventInfInitStopped", 397, 4, "EVENT_TORVEX_LD_INITIALIZE_COMPLETED", 1};
inline constexpr EventRow kSyncStopped        {"agentEventInfSyncStopped", 386, 4, "EVENT_TORVEX_LD_SYNCHRONIZE_COMPLETED", 1};
inline constexpr EventRow kRebuildStopped     {"agentEventInfRebuildStopped", 385, 4, "EVENT_TORVEX_LD_REBUILD_COMPLETED", 1};

// --- tasks, by controller event -----------------------------------------------------------------
inline constexpr EventRow kSyncAborted        {"agentEventInfSyncAborted", 350, 4, "EVENT_TORVEX_LD_SYNCHRONIZE_ABORTED", 2};
inline constexpr EventRow kRebuildAborted     {"agentEventInfRebuildAborted", 349, 4, "EVENT_TORVEX_LD_REBUILD_ABORTED", 2};
inline constexpr EventRow kInitAborted        {"agentEventInfInitAborted", 351, 4, "EVENT_TORVEX_LD_INITIALIZE_ABORTED", 2};
inline constexpr EventRow kRebuildComplete    {"agentEventInfRebuildComplete", 305, 4, "EVENT_TORVEX_LD_REBUILD_COMPLETED", 2};
inline constexpr EventRow kRebuildFailed      {"agentEventErrRebuild", 306, 1, "EVENT_TORVEX_LD_REBUILD_FAILED", 2};
inline constexpr EventRow kSyncComplete       {"agentEventInfSyncComplete", 308, 4, "EVENT_TORVEX_LD_SYNCHRONIZE_COMPLETED", 2};
inline constexpr EventRow kSyncFailed         {"agentEventErrSync", 309, 1, "EVENT_TORVEX_LD_SYNCHRONIZE_FAILED", 2};
inline constexpr EventRow kInitComplete       {"agentEventInfInitComplete", 343, 4, "EVENT_TORVEX_LD_INITIALIZE_COMPLETED", 2};
inline constexpr EventRow kInitFailed         {"agentEventErrInit", 344, 1, "EVENT_TORVEX_LD_INITIALIZE_FAILED", 2};

// --- controller event translation ---------------------------------------------------------------
// Found and repaired share one identifier: both tell of the drive's medium.
inline constexpr EventRow kBadBlockFound      {"agentEventWrnBadBlock", 418, 2, "EVENT_TORVEX_PD_MEDIA_ERROR", 2};
inline constexpr EventRow kBadBlockRepaired   {"agentEventInfBadBlockRepaired", 422, 3, "EVENT_TORVEX_PD_MEDIA_ERROR", 2};

inline constexpr EventRow const* kAllEventRows[] = {
    &kQueueOverload, &kNoControllers, &kControllerRemoved,
    &kControllerAdded, &kControllerReplaced, &kControllerState, &kControllerStateFailed, &kControllerFailed,
    &kNewBattery.specific, &kNewBattery.stateChange, &kBatteryLow.specific, &kBatteryLow.stateChange,
    &kBatteryNormalAgain.specific, &kBatteryNormalAgain.stateChange,
    &kBatteryOvertemp.specific, &kBatteryOvertemp.stateChange,
    &kBatteryTempNormal.specific, &kBatteryTempNormal.stateChange,
    &kBadStripes, &kControllerOvertemp, &kVersionMismatch,
    &kDriveRemoved.specific, &kDriveRemoved.stateChange, &kDriveAdded.specific, &kDriveAdded.stateChange,
    &kDriveReturned, &kDriveState, &kDriveStateFailed, &kDriveStatePfa,
    &kDriveFailed[0][0].specific, &kDriveFailed[0][0].stateChange, &kDriveFailed[0][1].specific, &kDriveFailed[0][1].stateChange,
    &kDriveFailed[1][0].specific, &kDriveFailed[1][0].stateChange, &kDriveFailed[1][1].specific, &kDriveFailed[1][1].stateChange,
    &kDrivePfa[0][0].specific, &kDrivePfa[0][0].stateChange, &kDrivePfa[0][1].specific, &kDrivePfa[0][1].stateChange,
    &kDrivePfa[1][0].specific, &kDrivePfa[1][0].stateChange, &kDrivePfa[1][1].specific, &kDrivePfa[1][1].stateChange,
    &kFailedDriveReplaced, &kHotSpareCreated, &kHotSpareDeleted, &kUnsupportedDrive,
    &kLogicalDeleted, &kLogicalAdded, &kLogicalState, &kLogicalStateOffline, &kLogicalStateCritical,
    &kLogicalOffline, &kLogicalCritical, &kLogicalNormal, &kLogicalBlocked, &kLogicalUnblocked, &kCriticalReminder,
    &kEnclosureFound, &kEnclosureLost, &kFanOperational, &kFanFailed, &kFanInstalled, &kFanRemoved,
    &kTempNormal, &kTempOutOfRange, &kPowerOperational, &kPowerFailed, &kPowerInstalled, &kPowerRemoved,
    &kSasDriveMap,
    &kInitDetected, &kSyncDetected, &kRebuildDetected, &kInitRunning, &kSyncRunning, &kRebuildRunning,
    &kInitStopped, &kSyncStopped, &kRebuildStopped,
    &kSyncAborted, &kRebuildAborted, &kInitAborted, &kRebuildComplete, &kRebuildFailed,
    &kSyncComplete, &kSyncFailed, &kInitComplete, &kInitFailed,
    &kBadBlockFound, &kBadBlockRepaired,
};

// clang-format on

}  // namespace rows

#endif  // MONITOR_EVENTROWS_H
