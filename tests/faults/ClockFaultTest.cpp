// The machine's clock set forward and back by a day, and run across the end of 32-bit time: what is
// told, and when. All of it is the same in both word sizes.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/FilesInMemory.h"
#include "tests/support/LockFiles.h"
#include "tests/support/MonitorRoom.h"

namespace {

using Codes = std::vector<int>;

constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kLast32 = 0x7fffffff;  // Tue Jan 19 03:14:07 2038 UTC
constexpr int kReminder = 338;
constexpr int kBadStripes = 215;

class ClockFault : public testing::Test {
protected:
    ClockFault() {
        Machine::Controller& c = room.machine.addController(3);
        c.drives = {{0, 1, kDriveReady}};
        c.arrays = {{0, kLogicalDegraded, 5}};
    }

    // Runs start() for so many seconds of the clock's steps; what it queued.
    Codes runFor(VantUnderTest& monitor, int seconds,
                 const std::function<void(int)>& atSecond = nullptr) {
        int slept = 0;
        room.clock.onSleep([&](unsigned) {
            ++slept;
            if (atSecond) atSecond(slept);
            if (slept >= seconds) monitor.stop();
        });
        monitor.start();
        room.clock.onSleep(nullptr);
        return MonitorRoom::codes(monitor);
    }

    static long count(const Codes& codes, int code) {
        return std::count(codes.begin(), codes.end(), code);
    }

    LockFiles locks;
    FilesInMemory inMemory;
    MonitorRoom room;
};

TEST_F(ClockFault, GivenTheClockSetForwardByADayThenEachReminderComesOnceAndPollsGoOn) {
    VantUnderTest monitor(room.lib());
    Codes first;
    const Codes codes = runFor(monitor, 600, [&](int second) {
        if (second == 100) first = MonitorRoom::codes(monitor);
        if (second == 101) room.clock.advance(kDay);
        if (second == 300) room.machine.controllers[0].drives[0].state = kDriveFailed;
    });
    EXPECT_EQ(0, count(first, kReminder));
    EXPECT_EQ(1, count(codes, kReminder));
    EXPECT_EQ(1, count(codes, kBadStripes));
    EXPECT_EQ(1, count(codes, 401));
    EXPECT_EQ(4U, codes.size());  // and the companion of the failure
}

// Without care the next refresh would come when the clock has caught up: a day later.
TEST_F(ClockFault, GivenTheClockSetBackByADayThenAFailureIsToldWithinTheMinute) {
    VantUnderTest monitor(room.lib());
    std::int64_t failedAt = 0;
    std::int64_t toldAt = 0;
    const Codes codes = runFor(monitor, 600, [&](int second) {
        if (second == 100) (void)monitor.getEvents(0);
        if (second == 101) room.clock.advance(-kDay);
        if (second == 200) {
            room.machine.controllers[0].drives[0].state = kDriveFailed;
            failedAt = room.clock.now();
        }
        if (toldAt == 0 && failedAt != 0 && monitor.getNumberOfEvents() != 0) {
            toldAt = room.clock.now();
        }
    });
    EXPECT_EQ((Codes{401, 499}), codes);
    EXPECT_LE(toldAt - failedAt, 65);
}

TEST_F(ClockFault, GivenTheClockSetBackByADayThenAReminderComesAfterItsIntervalOfRunning) {
    VantUnderTest monitor(room.lib());
    std::vector<int> reminders;  // seconds of running
    (void)runFor(monitor, 8 * 3600 + 300, [&](int second) {
        if (second == 3600) room.clock.advance(-kDay);
        for (const QELEvent& event : monitor.getEvents(0)) {
            if (event.eventCode == kReminder) reminders.push_back(second);
        }
    });
    ASSERT_EQ(1U, reminders.size());
    EXPECT_GE(reminders[0], 8 * 3600);
    EXPECT_LE(reminders[0], 8 * 3600 + 70);
}

TEST_F(ClockFault, GivenTheClockWornBackAndForthThenNothingIsToldThatDidNotHappen) {
    VantUnderTest monitor(room.lib());
    (void)runFor(monitor, 100);
    const Codes codes = runFor(monitor, 1200, [&](int second) {
        if (second % 10 == 0) room.clock.advance(second % 20 == 0 ? 7 : -7);
    });
    EXPECT_EQ((Codes{}), codes);
}

TEST_F(ClockFault, GivenTheClockSetBackBetweenTwoRunsThenTheSecondRunGoesOn) {
    VantUnderTest monitor(room.lib());
    (void)runFor(monitor, 100);
    room.clock.advance(-kDay);
    const Codes codes = runFor(monitor, 200, [&](int second) {
        if (second == 100) room.machine.controllers[0].drives[0].state = kDriveFailed;
    });
    EXPECT_EQ((Codes{401, 499}), codes);
}

TEST_F(ClockFault, GivenAnExceptionAfterTheClockWasSetBackThenTheNextRunGoesOn) {
    VantUnderTest monitor(room.lib());
    bool broken = false;
    room.source().setBuilder([&, build = room.machine.builder()](System& system) {
        if (broken) throw std::runtime_error("broken");
        build(system);
    });
    EXPECT_THROW(runFor(monitor, 600,
                        [&](int second) {
                            if (second == 100) room.clock.advance(-kDay);
                            if (second == 200) broken = true;
                        }),
                 std::runtime_error);
    broken = false;
    (void)monitor.getEvents(0);
    const Codes codes = runFor(monitor, 200, [&](int second) {
        if (second == 100) room.machine.controllers[0].drives[0].state = kDriveFailed;
    });
    EXPECT_EQ((Codes{401, 499}), codes);
}

// One run from 30 seconds before the end of 32 bits to nine hours after it.
TEST_F(ClockFault, GivenARunAcrossTheEndOf32BitsThenNothingIsToldButTheReminders) {
    room.clock.moveTo(kLast32 - 30);
    VantUnderTest monitor(room.lib());
    std::string before;
    (void)runFor(monitor, 20);
    before = room.dir.read("QELVANTConfig.xml");
    const Codes codes = runFor(monitor, 9 * 3600);
    EXPECT_LT(kLast32, room.clock.now());
    EXPECT_EQ((Codes{kBadStripes, kReminder}), codes);
    EXPECT_EQ(before, room.dir.read("QELVANTConfig.xml")) << "no time of day stands in it";
}

// Where time_t has 32 bits the start of such a run once came out in 1901, and every reminder was
// due.
TEST_F(ClockFault, GivenARunThatBeginsAfter32BitsThenNoReminderComesEarly) {
    {
        VantUnderTest earlier(room.lib());  // leaves a snapshot
        (void)runFor(earlier, 1);
    }
    for (const std::int64_t start : {kLast32 + 1, kLast32 + kDay, std::int64_t{1} << 32}) {
        SCOPED_TRACE(start);
        room.clock.moveTo(start);
        room.machine.controllers[0].drives[0].state = kDriveReady;
        VantUnderTest monitor(room.lib());
        Codes codes = runFor(monitor, 600);
        EXPECT_EQ(0, count(codes, kReminder));
        EXPECT_EQ(0, count(codes, kBadStripes));
        codes = runFor(monitor, 600, [&](int second) {  // a second run takes its own start
            if (second == 100) room.machine.controllers[0].drives[0].state = kDriveFailed;
        });
        EXPECT_EQ((Codes{401, 499}), codes);
        codes = runFor(monitor, 9 * 3600);
        EXPECT_EQ(1, count(codes, kReminder));
        EXPECT_EQ(1, count(codes, kBadStripes));
    }
}

// The one thing that the word sizes do not share: an event's time is a time_t, as hosts know it.
TEST_F(ClockFault, GivenAnEventAfter32BitsThenItsTimeIsWhatTheHostsTimeTypeMakesOfIt) {
    room.clock.moveTo(kLast32 + 1);
    EXPECT_EQ(static_cast<std::time_t>(kLast32 + 1), QELEvent().timeStamp);
    const std::string text = Clock::text(static_cast<std::time_t>(kLast32 + 1));
    EXPECT_EQ(sizeof(std::time_t) == 4 ? "Fri Dec 13 20:45:52 1901" : "Tue Jan 19 03:14:08 2038",
              text);
}

}  // namespace
