#include "monitor/EventRows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr const char* kState = "EVENT_TORVEX_STATE_CHANGE";
constexpr const char* kDriveState = "EVENT_TORVEX_PD_STATE_CHANGE";
constexpr const char* kLogicalState = "EVENT_TORVEX_STATE_CHANGE_LD";
constexpr const char* kFailed = "EVENT_TORVEX_PD_STATE_FAILED";
constexpr const char* kPfa = "EVENT_TORVEX_PD_PFA_ERROR_YES";

// Every event that hosts know, as they know it; by code, then key.
// clang-format off
constexpr EventRow kKnown[] = {
    {"", 200, 2, "", 0},
    {"agentEventInfNoControllers", 201, 3, "EVENT_TORVEX_STATE_NOTFOUND", 0},
    {"agentEventErrController", 202, 1, "EVENT_TORVEX_STATE_FAILED", 1},
    {"agentEventInfControllerRemoved", 202, 1, "EVENT_TORVEX_STATE_FAILED", 1},
    {"agentEventErrBBCNewBattery", 203, 1, "", 1},
    {"agentEventInfControllerAdded", 207, 3, "EVENT_TORVEX_STATE_ADDED", 1},
    {"agentEventInfControllerReplace", 208, 3, "EVENT_TORVEX_STATE_REPLACED", 1},
    {"agentEventWrnMismatchedVersions", 210, 2, "EVENT_TORVEX_VERSION_MISMATCH", 4},
    {"agentEventWrnBatteryOvertemp", 211, 2, "", 1},
    {"agentEventWrnControllerOvertemp", 213, 2, "EVENT_TORVEX_CONTROLLER_OVERTEMP", 4},
    {"agentEventWrnBatteryLow", 214, 2, "", 1},
    {"agentEventWrnBadStripes", 215, 2, "EVENT_TORVEX_CONTROLLER_BAD_STRIPES", 4},
    {"agentEventInfBatteryTempNormal", 216, 3, "", 1},
    {"agentEventInfBatteryNormal", 217, 3, "", 1},
    {"agentEventErrBBCNewBattery", 299, 2, kState, 1},
    {"agentEventInfBatteryNormal", 299, 3, kState, 1},
    {"agentEventInfBatteryTempNormal", 299, 3, kState, 1},
    {"agentEventInfControllerStateChange", 299, 1, kState, 1},
    {"agentEventInfControllerStateChange", 299, 3, kState, 1},
    {"agentEventWrnBatteryLow", 299, 2, kState, 1},
    {"agentEventWrnBatteryOvertemp", 299, 2, kState, 1},

    {"agentEventWrnLogicalCritical", 301, 2, "EVENT_TORVEX_LD_STATE_CRITICAL", 1},
    {"agentEventErrLogicalBlocked", 302, 1, "EVENT_TORVEX_LD_STATE_BLOCKED", 1},
    {"agentEventErrLogicalOffline", 303, 1, "EVENT_TORVEX_LD_STATE_OFFLINE", 1},
    {"agentEventInfRebuildDetected", 304, 4, "EVENT_TORVEX_LD_REBUILD_STARTED", 2},
    {"agentEventInfRebuildComplete", 305, 4, "EVENT_TORVEX_LD_REBUILD_COMPLETED", 2},
    {"agentEventErrRebuild", 306, 1, "EVENT_TORVEX_LD_REBUILD_FAILED", 2},
    {"agentEventInfSyncDetected", 307, 4, "EVENT_TORVEX_LD_SYNCHRONIZE_STARTED", 2},
    {"agentEventInfSyncComplete", 308, 4, "EVENT_TORVEX_LD_SYNCHRONIZE_COMPLETED", 2},
    {"agentEventErrSync", 309, 1, "EVENT_TORVEX_LD_SYNCHRONIZE_FAILED", 2},
    {"agentEventInfUnblock", 331, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_UNBLOCK", 1},
    {"agentEventWrnCriticalLogicalDrivePeriodic", 338, 2, "EVENT_TORVEX_LD_STATE_CRITICAL_PERIODIC", 1},
    {"agentEventInfInitDetected", 342, 4, "EVENT_TORVEX_LD_INITIALIZE_STARTED", 2},
    {"agentEventInfInitComplete", 343, 4, "EVENT_TORVEX_LD_INITIALIZE_COMPLETED", 2},
    {"agentEventErrInit", 344, 1, "EVENT_TORVEX_LD_INITIALIZE_FAILED", 2},
    {"agentEventInfLogicalOk", 345, 3, "EVENT_TORVEX_LD_STATE_NORMAL", 1},
    {"agentEventInfAddLogDrive", 346, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_ADD_LD", 4},
    {"agentEventInfDeleteLogDrive", 347, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_DELETE_LD", 1},
    {"agentEventInfRebuildAborted", 349, 4, "EVENT_TORVEX_LD_REBUILD_ABORTED", 2},
    {"agentEventInfSyncAborted", 350, 4, "EVENT_TORVEX_LD_SYNCHRONIZE_ABORTED", 2},
    {"agentEventInfInitAborted", 351, 4, "EVENT_TORVEX_LD_INITIALIZE_ABORTED", 2},
    {"agentEventInfRebuildPercentComplete", 372, 5, "EVENT_TORVEX_LD_REBUILD_RUNNING", 2},
    {"agentEventInfSyncPercentComplete", 373, 5, "EVENT_TORVEX_LD_SYNCHRONIZE_RUNNING", 2},
    {"agentEventInfInitPercentComplete", 384, 5, "EVENT_TORVEX_LD_INITIALIZE_RUNNING", 2},
    {"agentEventInfRebuildStopped", 385, 4, "EVENT_TORVEX_LD_REBUILD_COMPLETED", 1},
    {"agentEventInfSyncStopped", 386, 4, "EVENT_TORVEX_LD_SYNCHRONIZE_COMPLETED", 1},
    {"agentEventInfInitStopped", 397, 4, "EVENT_TORVEX_LD_INITIALIZE_COMPLETED", 1},
    {"agentEventInfLogicalStateChange", 399, 1, kLogicalState, 1},
    {"agentEventInfLogicalStateChange", 399, 2, kLogicalState, 1},
    {"agentEventInfLogicalStateChange", 399, 3, kLogicalState, 1},

    {"agentEventErrDefunctDrive", 401, 1, kFailed, 2},
    {"agentEventErrDefunctDriveRepl", 401, 1, kFailed, 2},
    {"agentEventWrnPFADrive", 402, 2, kPfa, 2},
    {"agentEventWrnPFADriveRepl", 402, 2, kPfa, 2},
    {"agentEventInfDefunctReplace", 403, 3, "EVENT_TORVEX_PD_STATE_READY", 2},
    {"agentEventErrDefunctDrive", 404, 1, kFailed, 2},
    {"agentEventErrDefunctDriveRepl", 404, 1, kFailed, 2},
    {"agentEventWrnPFADrive", 405, 2, kPfa, 2},
    {"agentEventWrnPFADriveRepl", 405, 2, kPfa, 2},
    {"agentEventWrnUnsupportedPhysDrive", 406, 2, "EVENT_TORVEX_PD_DRV_UNSUPPORTED", 2},
    {"agentEventInfAddDiskDrive", 407, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_ADD_PD", 2},
    {"agentEventInfDeleteDiskDrive", 408, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_REMOVE_PD", 2},
    {"agentEventWrnBadBlock", 418, 2, "EVENT_TORVEX_PD_MEDIA_ERROR", 2},
    {"agentEventInfBadBlockRepaired", 422, 3, "EVENT_TORVEX_PD_MEDIA_ERROR", 2},
    {"agentEventInfDriveMap", 423, 3, "RAID_EVENT", 5},
    {"agentEventInfSpareCreated", 497, 3, "EVENT_TORVEX_PD_STATE_HOTSPARE", 2},
    {"agentEventInfSpareDeleted", 498, 3, "EVENT_TORVEX_PD_STATE_READY", 2},
    {"agentEventErrDefunctDrive", 499, 1, kDriveState, 2},
    {"agentEventErrDefunctDriveRepl", 499, 1, kDriveState, 2},
    {"agentEventInfDeleteDiskDrive", 499, 1, kDriveState, 2},
    {"agentEventInfDriveStateChange", 499, 1, kDriveState, 2},
    {"agentEventInfDriveStateChange", 499, 2, kDriveState, 2},
    {"agentEventInfDriveStateChange", 499, 3, kDriveState, 2},
    {"agentEventWrnPFADrive", 499, 2, kDriveState, 2},
    {"agentEventWrnPFADriveRepl", 499, 2, kDriveState, 2},

    {"agentEventInfEnclOk", 501, 3, "EVENT_TORVEX_ENC_OK", 1},
    {"agentEventErrEnclFail", 502, 1, "EVENT_TORVEX_ENC_FAILURE", 1},
    {"agentEventInfFanOperational", 503, 3, "EVENT_TORVEX_ENC_FAN_REPLACED", 2},
    {"agentEventErrFanFail", 504, 1, "EVENT_TORVEX_ENC_FAN_FAILURE", 2},
    {"agentEventInfFanInstalled", 505, 3, "EVENT_TORVEX_ENC_FAN_INSTALLED", 2},
    {"agentEventWrnFanRemoved", 506, 1, "EVENT_TORVEX_ENC_FAN_REMOVED", 2},
    {"agentEventInfTempNormal", 507, 3, "EVENT_TORVEX_ENC_TEMP_NORMAL", 1},
    {"agentEventErrTempFail", 508, 1, "EVENT_TORVEX_ENC_TEMP_FAILURE", 1},
    {"agentEventInfPowerOperational", 509, 3, "EVENT_TORVEX_ENC_PS_REPLACED", 2},
    {"agentEventErrPowerFail", 510, 1, "EVENT_TORVEX_ENC_PS_FAILURE", 2},
    {"agentEventInfPowerInstalled", 511, 3, "EVENT_TORVEX_ENC_PS_INSTALLED", 2},
    {"agentEventWrnPowerRemoved", 512, 1, "EVENT_TORVEX_ENC_PS_REMOVED", 2},
};
// clang-format on

std::string describe(const EventRow& row) {
    return std::to_string(row.code) + " " + row.key + " severity " + std::to_string(row.severity) +
           " '" + row.eventId + "' with " + std::to_string(row.argumentCount);
}

// Without repetitions: a key and code that two conditions share has a row for each.
std::set<std::string> describeRows() {
    std::set<std::string> lines;
    for (const EventRow* row : rows::kAllEventRows) lines.insert(describe(*row));
    return lines;
}

TEST(EventRows, GivenAllRowsThenExactlyTheEventsThatHostsKnow) {
    std::set<std::string> known;
    for (const EventRow& row : kKnown) known.insert(describe(row));
    EXPECT_EQ(known, describeRows());
}

TEST(EventRows, GivenTheListThenEveryRowOnce) {
    std::set<const EventRow*> once(std::begin(rows::kAllEventRows), std::end(rows::kAllEventRows));
    EXPECT_EQ(std::size(rows::kAllEventRows), once.size());
    EXPECT_EQ(0u, once.count(nullptr));
}

// Codes 2xx are about controllers, 3xx about logical drives, 4xx about drives, 5xx about
// enclosures; x99 is the state change of the kind.
TEST(EventRows, GivenAStateChangeCodeThenItsIdentifierIsThatOfItsKind) {
    for (const EventRow* row : rows::kAllEventRows) {
        if (row->code % 100 != 99) continue;
        const char* identifier = row->code == 299   ? kState
                                 : row->code == 399 ? kLogicalState
                                                    : kDriveState;
        EXPECT_STREQ(identifier, row->eventId) << row->key;
    }
}

struct PairCase {
    const char* name;
    const EventPair* pair;
    int specificCode, stateCode;
};

// clang-format off
const PairCase kPairs[] = {
    {"new battery",         &rows::kNewBattery,         203, 299},
    {"battery low",         &rows::kBatteryLow,         214, 299},
    {"battery normal",      &rows::kBatteryNormalAgain, 217, 299},
    {"battery too hot",     &rows::kBatteryOvertemp,    211, 299},
    {"battery cooled down", &rows::kBatteryTempNormal,  216, 299},
    {"drive removed",       &rows::kDriveRemoved,       408, 499},
    {"drive added",         &rows::kDriveAdded,         407, 499},
};
// clang-format on

TEST(EventRows, GivenAPairThenTheSpecificEventComesWithTheStateChangeOfItsKind) {
    for (const PairCase& c : kPairs) {
        EXPECT_EQ(c.specificCode, c.pair->specific.code) << c.name;
        EXPECT_EQ(c.stateCode, c.pair->stateChange.code) << c.name;
        const bool sameText = std::strcmp(c.pair->specific.key, c.pair->stateChange.key) == 0;
        EXPECT_EQ(c.pair != &rows::kDriveAdded, sameText) << c.name;
    }
}

TEST(EventRows, GivenReplacementAndPartNumberThenTheyIndexTextAndCode) {
    for (int phrase = 0; phrase < 2; ++phrase) {
        for (int fru = 0; fru < 2; ++fru) {
            const EventPair& failed = rows::kDriveFailed[phrase][fru];
            EXPECT_STREQ(phrase ? "agentEventErrDefunctDriveRepl" : "agentEventErrDefunctDrive",
                         failed.specific.key);
            EXPECT_STREQ(failed.specific.key, failed.stateChange.key);
            EXPECT_EQ(fru ? 404 : 401, failed.specific.code);
            EXPECT_EQ(499, failed.stateChange.code);
            const EventPair& pfa = rows::kDrivePfa[phrase][fru];
            EXPECT_STREQ(phrase ? "agentEventWrnPFADriveRepl" : "agentEventWrnPFADrive",
                         pfa.specific.key);
            EXPECT_STREQ(pfa.specific.key, pfa.stateChange.key);
            EXPECT_EQ(fru ? 405 : 402, pfa.specific.code);
            EXPECT_EQ(499, pfa.stateChange.code);
        }
    }
}

}  // namespace
