#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/BareMonitor.h"

namespace {

struct Timer {
    const char* name;
    bool (BaseRaidMonitor::*ask)();
    int BaseRaidMonitor::*interval;
    std::int64_t BaseRaidMonitor::*lastReport;
    int seconds;
};

// clang-format off
const Timer kTimers[] = {
    {"unsupported drives", &BaseRaidMonitor::isTimeToReportUnsupportedDrives,
     &BareMonitor::unsupportedDrivesInterval, &BareMonitor::lastUnsupportedDrivesReport, 2592000},
    {"critical logical drives", &BaseRaidMonitor::isTimeToReportCriticalLogicalDrives,
     &BareMonitor::criticalLogicalDrivesInterval, &BareMonitor::lastCriticalLogicalDrivesReport, 28800},
    {"SAS drive map", &BaseRaidMonitor::isTimeToReportSASDriveMap,
     &BareMonitor::sasDriveMapInterval, &BareMonitor::lastSasDriveMapReport, 86400},
    {"bad stripes", &BaseRaidMonitor::isTimeToReportBadStripe,
     &BareMonitor::badStripeInterval, &BareMonitor::lastBadStripeReport, 28800},
};
// clang-format on

TEST(BaseRaidMonitorTimers, GivenANewMonitorThenIntervalsAreTheUsualOnesAndNothingWasReported) {
    BareRoom room;
    BareMonitor monitor;
    for (const Timer& t : kTimers) {
        SCOPED_TRACE(t.name);
        EXPECT_EQ(t.seconds, monitor.*t.interval);
        EXPECT_EQ(0, monitor.*t.lastReport);
    }
}

// 0 is also the mark of a timer that never fired, so it does not notice that it did.
TEST(BaseRaidMonitorTimers, GivenTheSecondOfTheStartWhenAskedAgainThenFiresAgain) {
    BareRoom room;
    BareMonitor monitor;
    for (const Timer& t : kTimers) {
        SCOPED_TRACE(t.name);
        EXPECT_TRUE((monitor.*t.ask)());
        EXPECT_EQ(0, monitor.*t.lastReport);
        EXPECT_TRUE((monitor.*t.ask)());
    }
}

TEST(BaseRaidMonitorTimers, GivenALaterSecondWhenAskedThenFiresOncePerInterval) {
    for (const Timer& t : kTimers) {
        SCOPED_TRACE(t.name);
        BareRoom room;
        BareMonitor monitor;
        room.clock.advance(1);
        EXPECT_TRUE((monitor.*t.ask)()) << "the first call";
        EXPECT_EQ(1, monitor.*t.lastReport);
        EXPECT_FALSE((monitor.*t.ask)()) << "the same second";
        room.clock.advance(t.seconds - 1);
        EXPECT_FALSE((monitor.*t.ask)()) << "a second early";
        EXPECT_EQ(1, monitor.*t.lastReport) << "a refusal leaves the time alone";
        room.clock.advance(1);
        EXPECT_TRUE((monitor.*t.ask)()) << "after the interval";
        EXPECT_EQ(1 + t.seconds, monitor.*t.lastReport);
        EXPECT_FALSE((monitor.*t.ask)());
        room.clock.advance(3 * std::int64_t{t.seconds});
        EXPECT_TRUE((monitor.*t.ask)()) << "long after; no report is made up for";
        EXPECT_FALSE((monitor.*t.ask)());
    }
}

TEST(BaseRaidMonitorTimers, GivenOneTimerFiresThenTheOthersKeepTheirTimes) {
    for (const Timer& t : kTimers) {
        SCOPED_TRACE(t.name);
        BareRoom room;
        BareMonitor monitor;
        room.clock.advance(7);
        EXPECT_TRUE((monitor.*t.ask)());
        for (const Timer& other : kTimers) {
            EXPECT_EQ(&other == &t ? 7 : 0, monitor.*other.lastReport) << other.name;
        }
    }
}

struct DueCase {
    const char* when;
    std::int64_t lastReport;
    std::int64_t elapsed;
    bool due;
};

// clang-format off
constexpr DueCase kDueCases[] = {
    // interval 28800
    {"never given, at once",                              0,           0, true},
    {"never given, long before the interval",             0,          10, true},
    {"given, the run is younger than the interval",       1,       28799, false},
    {"the same, although it was given long ago",    -100000,       28799, false},
    {"the run is as old as the interval, given at 1",     1,       28800, false},
    {"given an interval ago",                             1,       28801, true},
    {"given long ago",                                   -5,       28800, true},
    {"a second early",                                40000,       68799, false},
    {"on time",                                       40000,       68800, true},
    {"an earlier run gave it later than this one is", 40000,       30000, false},
    {"beyond 32 bits, not due",                  3000000000,  3000028799, false},
    {"beyond 32 bits, due",                      3000000000,  3000028800, true},
};
// clang-format on

TEST(BaseRaidMonitorTimers, GivenLastReportAndAgeOfTheRunThenDueByTheSameRuleForAll) {
    for (const DueCase& c : kDueCases) {
        for (const Timer& t : kTimers) {
            SCOPED_TRACE(std::string(c.when) + ", " + t.name);
            BareRoom room;
            BareMonitor monitor;
            monitor.*t.interval = 28800;
            monitor.*t.lastReport = c.lastReport;
            room.clock.advance(c.elapsed);
            EXPECT_EQ(c.due, (monitor.*t.ask)());
            EXPECT_EQ(c.due ? c.elapsed : c.lastReport, monitor.*t.lastReport);
        }
    }
}

// The times of the reports are never reset, so reminders come late after a restart.
TEST(BaseRaidMonitorTimers, GivenANewRunThenAReportOfTheOldOneStillCounts) {
    BareRoom room;
    BareMonitor monitor;
    room.clock.advance(40000);
    EXPECT_TRUE(monitor.isTimeToReportBadStripe());
    monitor.restart();
    EXPECT_EQ(0, monitor.elapsedSeconds());
    EXPECT_FALSE(monitor.isTimeToReportBadStripe());
    room.clock.advance(68799);
    EXPECT_FALSE(monitor.isTimeToReportBadStripe());
    room.clock.advance(1);
    EXPECT_TRUE(monitor.isTimeToReportBadStripe());
}

// 2038-01-19 03:14:07 UTC is the last second of 32 signed bits.
TEST(BaseRaidMonitorTimers, GivenARunAcrossTheEndOf32BitsThenTimersGoOn) {
    BareRoom room;
    room.clock.moveTo(0x7fffffff - 10);
    BareMonitor monitor;
    room.clock.advance(1);
    EXPECT_TRUE(monitor.isTimeToReportBadStripe());
    room.clock.advance(28799);
    EXPECT_FALSE(monitor.isTimeToReportBadStripe());
    room.clock.advance(1);
    EXPECT_TRUE(monitor.isTimeToReportBadStripe());
    EXPECT_EQ(28801, monitor.lastBadStripeReport);
}

}  // namespace
