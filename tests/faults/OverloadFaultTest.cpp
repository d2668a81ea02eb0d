// More events at once than the queue holds, and a drive that never settles.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <map>

#include "tests/support/FilesInMemory.h"
#include "tests/support/LockFiles.h"
#include "tests/support/MonitorRoom.h"

#if defined(__SANITIZE_ADDRESS__)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();  // g++ ships it without a header
#endif

namespace {

using Codes = std::vector<int>;

const ControllerEvent kChanged{7, 0, 0, 0, "", "configuration changed"};

// Bytes of the heap in use; -1 where nobody counts them.
std::int64_t bytesInUse() {
#if defined(__SANITIZE_ADDRESS__)
    return static_cast<std::int64_t>(__sanitizer_get_current_allocated_bytes());
#elif defined(__SANITIZE_THREAD__)
    return -1;
#else
    const struct mallinfo2 info = mallinfo2();
    return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
#endif
}

class OverloadFault : public testing::Test {
protected:
    std::unique_ptr<VantUnderTest> settled() {
        auto monitor = std::make_unique<VantUnderTest>(room.lib());
        monitor->poll(0, monitor->queue());
        (void)monitor->getEvents(0);
        return monitor;
    }

    void thousandArrays() {
        for (unsigned i = 0; i < 1000; ++i) {
            room.machine.controllers[0].arrays.push_back({i, kLogicalOptimal});
        }
        room.source().appendEvent(0, kChanged);
    }

    static std::string line(const QELEvent& event) {
        return std::to_string(event.eventCode) + " L" +
               std::to_string(event.location.logicalDriveID);
    }

    LockFiles locks;
    FilesInMemory inMemory;
    MonitorRoom room;
};

// Each array is two events. The 201st event of 2000 finds the bound of 200 reached: 19 go, the next
// becomes the notice, 182 are left, and so again at every 19th event. The last time is the 1987th.
TEST_F(OverloadFault, GivenAThousandArraysAtOnceThenOneNoticeAndTheLast194EventsAreLeft) {
    room.machine.addController(3);
    auto monitor = settled();
    thousandArrays();
    monitor->poll(1, monitor->queue());

    std::vector<std::string> expected{"200 L2147483647"};
    for (int array = 903; array < 1000; ++array) {
        expected.push_back("346 L" + std::to_string(array));
        expected.push_back("399 L" + std::to_string(array));
    }
    const std::vector<QELEvent> events = monitor->getEvents(0);
    std::vector<std::string> lines;
    for (const QELEvent& event : events) lines.push_back(line(event));
    EXPECT_EQ(expected, lines);
    EXPECT_EQ("QEL Event queue overload. Discarding events.", events[0].text);
    EXPECT_EQ(kEventWarning, events[0].severity);

    // And it recovers: the next event is told, without a notice, and so is the way back.
    room.machine.controllers[0].arrays[7].state = kLogicalOffline;
    room.source().appendEvent(0, kChanged);
    monitor->poll(1, monitor->queue());
    EXPECT_EQ((Codes{399, 303}), MonitorRoom::codes(*monitor));
    room.machine.controllers[0].arrays.clear();
    room.source().appendEvent(0, kChanged);
    monitor->poll(1, monitor->queue());
    const Codes gone = MonitorRoom::codes(*monitor);
    ASSERT_EQ(182U + 1000 % 19 - 201 % 19, gone.size());
    EXPECT_EQ(200, gone[0]);
    EXPECT_EQ(static_cast<long>(gone.size()) - 1, std::count(gone.begin(), gone.end(), 347));
}

TEST_F(OverloadFault, GivenAThousandArraysWhileEventsAreTracedThenTheLogHasEachOfThem) {
    room.machine.addController(3);
    room.dir.write("QELConfig.conf", "qel.debugMask=1\n");
    auto monitor = settled();
    const std::size_t before = room.dir.read("qavelogs/QELVANTEvents.log").size();
    thousandArrays();
    monitor->poll(1, monitor->queue());
    const std::string log = room.dir.read("qavelogs/QELVANTEvents.log").substr(before);
    const auto count = [&log](const std::string& text) {
        int found = 0;
        for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
            ++found;
        }
        return found;
    };
    EXPECT_EQ(1000, count("agentEventInfAddLogDrive("));
    EXPECT_EQ(1000, count("agentEventInfLogicalStateChange("));
    EXPECT_EQ(95, count("QEL Event queue overload. Discarding events."));
}

TEST_F(OverloadFault, GivenABoundThatIsLargeEnoughThenAThousandArraysAreAllTold) {
    room.machine.addController(3);
    room.dir.write("QELConfig.conf", "qel.eventQueueSize=2000\n");
    auto monitor = settled();
    thousandArrays();
    monitor->poll(1, monitor->queue());
    const Codes codes = MonitorRoom::codes(*monitor);
    EXPECT_EQ(2000U, codes.size());
    EXPECT_EQ(0, std::count(codes.begin(), codes.end(), 200));
}

// How many polls of five seconds. A day of them has 17280; sanitizers take a tenth of it unless
// QEL_FAULTS_ALL asks for the whole.
int pollsOfADay() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    if (std::getenv("QEL_FAULTS_ALL") == nullptr) return 1728;
#endif
    return 17280;
}

TEST_F(OverloadFault, GivenADriveThatFlapsAtEveryPollForADayThenEachTurnIsToldAndNothingGrows) {
    Machine::Controller& c = room.machine.addController(3);
    c.drives = {{0, 1, kDriveReady}, {0, 2, kDriveReady}};
    c.arrays = {{0, kLogicalOptimal}};
    VantUnderTest monitor(room.lib());
    const int polls = pollsOfADay();
    std::map<int, int> told;
    int seconds = 0;
    std::int64_t begin = 0;
    room.clock.onSleep([&](unsigned) {
        if (++seconds % 5 != 0) return;
        for (const QELEvent& event : monitor.getEvents(0)) ++told[event.eventCode];
        if (seconds == 5) told.clear();  // the first look
        // Past what a controller's log keeps, so that its records are no growth.
        if (seconds / 5 == polls * 3 / 4) begin = bytesInUse();
        if (seconds / 5 > polls) return monitor.stop();
        int& state = c.drives[0].state;
        state = state == kDriveReady ? kDriveFailed : kDriveReady;
        room.source().appendEvent(0, kChanged);
    });
    monitor.start();
    const std::map<int, int> expected{{401, polls / 2}, {499, polls / 2}, {403, polls / 2}};
    EXPECT_EQ(expected, told);
    if (begin < 0) GTEST_SKIP() << "NOT TESTED under this sanitizer: growth of memory";
    EXPECT_LE(bytesInUse() - begin, 64 * 1024);
}

// Nobody takes the events: the queue stays at its bound, and so does the memory.
TEST_F(OverloadFault, GivenADriveThatFlapsAndAHostThatSleepsThenTheQueueStaysAtItsBound) {
    Machine::Controller& c = room.machine.addController(3);
    c.drives = {{0, 1, kDriveReady}};
    auto monitor = settled();
    std::int64_t begin = 0;
    for (int poll = 0; poll < 2000; ++poll) {
        if (poll == 1000) begin = bytesInUse();
        int& state = c.drives[0].state;
        state = state == kDriveReady ? kDriveFailed : kDriveReady;
        room.clock.advance(60);
        monitor->poll(1, monitor->queue());
        ASSERT_LE(monitor->getNumberOfEvents(), 200);
    }
    const std::vector<QELEvent> events = monitor->getEvents(0);
    EXPECT_EQ(200, events[0].eventCode);
    EXPECT_EQ(403, events.back().eventCode);
    if (begin < 0) GTEST_SKIP() << "NOT TESTED under this sanitizer: growth of memory";
    EXPECT_LE(bytesInUse() - begin, 64 * 1024);
}

}  // namespace
