// One monitor at work, four threads that drain it, and threads that call everything else that other
// threads may call: nothing races, and each event that was raised is drained once.
//
// What is raised is known from the event log: with tracing on the engine writes each event there
// before it queues it. How much is done is counted in readings of the machine, not in time.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "monitor/BaseRaidMonitor.h"
#include "tests/support/LockRoom.h"
#include "tests/support/MonitorRoom.h"
#include "util/UnixLocker.h"

namespace {

using Lines = std::vector<std::string>;

constexpr int kReadings = 400;  // until the loop ends for good
constexpr int kFewReadings = 100;
constexpr int kReadingsPerRun = 25;  // until another thread stops it
constexpr unsigned int kDrives = 8;

class Stress {
public:
    explicit Stress(int readingsIN) : wanted(readingsIN) {
        Machine::Controller& controller = room.machine.addController(1);
        for (unsigned int device = 0; device < kDrives; ++device) {
            controller.drives.push_back({0, device, kDriveMember});
        }
        controller.arrays = {{0, kLogicalOptimal}};
        // Large enough for all: an overload discards, and is not what is looked at here.
        room.dir.write("QELConfig.conf", "qel.debugMask=1\nqel.eventQueueSize=100000\n");
        room.source().setBuilder([this, build = room.machine.builder()](System& system) {
            change();
            build(system);
        });
        // A minute and more between two polls, so that each of them reads the machine.
        room.clock.onSleep([this](unsigned) {
            room.clock.advance(15);
            std::this_thread::yield();
        });
    }

    // Runs everything until the machine has been read so often and the queue is empty.
    void run() {
        VantUnderTest made(room.lib());
        monitor = &made;
        made.queue().setMaxSize(100000);
        made.setDebugFlag(kDebugLevelEvents);

        std::vector<std::thread> others;
        drained.resize(4);
        for (std::size_t i = 0; i < drained.size(); ++i) {
            others.emplace_back([this, i] { drain(drained[i], static_cast<int>(i)); });
        }
        others.emplace_back([this] { changeSettings(); });
        others.emplace_back([this] { stopAgainAndAgain(); });
        others.emplace_back([this] { ask(); });
        std::thread loop([this] {
            while (readings < wanted) {
                monitor->start();
                ++runs;
            }
            over = true;
        });
        loop.join();
        for (std::thread& other : others) other.join();
        EXPECT_TRUE(monitor->isStopped());
        EXPECT_EQ(0, monitor->getNumberOfEvents());
        monitor = nullptr;
    }

    // What the engine says that it raised, one line per event.
    Lines raised() const {
        Lines lines;
        const std::string log = room.dir.read("qavelogs/QELVANTEvents.log");
        std::string::size_type at = 0;
        for (auto end = log.find("\n\n"); end != std::string::npos; end = log.find("\n\n", at)) {
            lines.push_back(log.substr(at, end - at));
            at = end + 2;
        }
        return lines;
    }

    Lines taken() const {
        Lines lines;
        for (const std::vector<QELEvent>& mine : drained) {
            for (const QELEvent& event : mine) lines.push_back(event.toString());
        }
        return lines;
    }

    // Nobody overtakes: what one thread takes has the order in which it was raised.
    void expectOrder() const {
        for (const std::vector<QELEvent>& mine : drained) {
            EXPECT_TRUE(std::is_sorted(mine.begin(), mine.end(),
                                       [](const QELEvent& one, const QELEvent& other) {
                                           return one.timeStamp < other.timeStamp;
                                       }));
        }
    }

    int failedDrives() const { return failures; }
    int runCount() const { return runs; }

    std::size_t drainedWithCode(int code) const {
        std::size_t count = 0;
        for (const std::vector<QELEvent>& mine : drained) {
            count += static_cast<std::size_t>(
                std::count_if(mine.begin(), mine.end(),
                              [code](const QELEvent& e) { return e.eventCode == code; }));
        }
        return count;
    }

private:
    // Each reading after the first finds one drive and the array otherwise than the last one did.
    void change() {
        const int reading = readings++;
        if (reading == 0) return;
        Machine::Controller& controller = room.machine.controllers[0];
        int& state = controller.drives[static_cast<unsigned int>(reading / 2) % kDrives].state;
        if (state == kDriveMember) ++failures;
        state = state == kDriveMember ? kDriveFailed : kDriveMember;
        int& array = controller.arrays[0].state;
        array = array == kLogicalOptimal ? kLogicalDegraded : kLogicalOptimal;
        if (reading + 1 >= wanted) monitor->stop();
    }

    // `atOnce` events with each call, 0 for all that there are; in the end whatever is left.
    void drain(std::vector<QELEvent>& mine, int atOnce) {
        constexpr int kMost = 7;
        for (bool last = false; !last;) {
            last = over;
            QELEvent some[kMost];
            const int count = monitor->getEvents(some, atOnce);
            std::move(some, some + count, std::back_inserter(mine));
            const std::vector<QELEvent> more = monitor->getEvents(last ? 0 : atOnce);
            mine.insert(mine.end(), more.begin(), more.end());
            std::this_thread::yield();
        }
    }

    void changeSettings() {
        const EnumEventType levels[] = {kEventProgress, kEventDetail, kEventAll};
        for (std::size_t i = 0; !over; ++i) {
            EXPECT_TRUE(monitor->setEventTypeLevel(levels[i % 3]));
            EXPECT_FALSE(monitor->setEventTypeLevel(static_cast<EnumEventType>(8)));
            monitor->setDebugFlag(i % 2 == 0 ? kDebugLevelEvents : kDebugLevelAll);
            BaseRaidMonitor::useFolder(room.dir.folder());
            std::this_thread::yield();
        }
    }

    void stopAgainAndAgain() {
        for (int next = kReadingsPerRun; !over; next += kReadingsPerRun) {
            while (!over && readings < next) std::this_thread::yield();
            monitor->stop();
        }
    }

    void ask() {
        while (!over) {
            EXPECT_GE(monitor->getNumberOfEvents(), 0);
            EXPECT_GE(monitor->getEventTypeLevel(), kEventProgress);
            EXPECT_EQ(0, monitor->getEvents(nullptr, 5));
            (void)monitor->isStopped();
            std::this_thread::yield();
        }
    }

    const int wanted;
    MonitorRoom room;
    VantUnderTest* monitor = nullptr;  // of run(); set before the threads begin
    std::vector<std::vector<QELEvent>> drained;
    std::atomic<int> readings{0};
    std::atomic<int> runs{0};
    std::atomic<bool> over{false};
    int failures = 0;  // the monitoring thread's
};

void runAndCompare(int readings) {
    Stress stress(readings);
    stress.run();
    Lines raised = stress.raised();
    Lines taken = stress.taken();
    EXPECT_GT(stress.failedDrives(), readings / 4);
    EXPECT_EQ(static_cast<std::size_t>(stress.failedDrives()), stress.drainedWithCode(401));
    EXPECT_EQ(0U, stress.drainedWithCode(200));  // no overload
    EXPECT_GE(raised.size(), static_cast<std::size_t>(2 * readings));
    EXPECT_GE(stress.runCount(), 2);
    stress.expectOrder();
    std::sort(raised.begin(), raised.end());
    std::sort(taken.begin(), taken.end());
    EXPECT_EQ(raised.size(), taken.size());
    EXPECT_TRUE(raised == taken) << "an event was lost, came twice, or was torn";
}

TEST(MonitorStress, GivenFourDrainersAndEveryOtherCallThenEachEventComesOnce) {
    inLockRoom([] {
        runAndCompare(kReadings);
        EXPECT_EQ(1, lockValue());
    });
}

TEST(MonitorStress, GivenNoMachineWideLockThenEachEventComesOnceAllTheSame) {
    inLockRoom(
        [] {
            runAndCompare(kReadings);
            EXPECT_EQ(0, lockSet()) << "the set that counts as no lock";
        },
        FirstSet::kFree);
}

// A monitor of another family in the same process and one in another process take turns with it.
TEST(MonitorStress, GivenOthersWhoTakeTheLockThenEachEventComesOnce) {
    inLockRoom([] {
        UnixLocker elsewhere(kAdapterVant, "elsewhere");
        int ends[2];
        ASSERT_EQ(0, pipe(ends));
        const pid_t other = fork();
        if (other == 0) {
            close(ends[1]);
            pollfd ended{ends[0], POLLIN, 0};
            while (poll(&ended, 1, 0) == 0) {
                elsewhere.getLock();
                elsewhere.releaseLock();
                std::this_thread::yield();
            }
            _exit(0);
        }
        close(ends[0]);
        std::atomic<bool> over{false};
        std::thread neighbour([&] {
            UnixLocker lock(kAdapterZor, "neighbour");
            while (!over) {
                lock.getLock();
                lock.releaseLock();
                std::this_thread::yield();
            }
        });
        runAndCompare(kFewReadings);
        over = true;
        neighbour.join();
        close(ends[1]);
        ASSERT_EQ(other, waitpid(other, nullptr, 0));
        EXPECT_EQ(1, lockValue());
    });
}

}  // namespace
