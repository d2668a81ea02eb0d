// A storage library that answers slowly, not at all, with an error for one controller, or with an
// exception.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "storlib/Progress.h"
#include "tests/support/FaultSource.h"
#include "tests/support/LockFiles.h"
#include "tests/support/MonitorRoom.h"

namespace {

using Codes = std::vector<int>;

const ControllerEvent kChanged{7, 0, 0, 0, "", "configuration changed"};
const Codes kFailed{401, 499};

// A door at which the monitoring thread waits.
class Door {
public:
    void pass() {
        std::unique_lock<std::mutex> lock(mutex);
        waiting = true;
        changed.notify_all();
        changed.wait(lock, [this] { return open; });
    }
    void waitForSomebody() {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [this] { return waiting; });
    }
    void unlock() {
        const std::lock_guard<std::mutex> lock(mutex);
        open = true;
        changed.notify_all();
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool waiting = false;
    bool open = false;
};

class SourceFault : public testing::Test {
protected:
    SourceFault() {
        room.machine.addController(3).drives = {{0, 1, kDriveReady}};
        room.machine.addController(4).drives = {{0, 1, kDriveReady}};
        for (Machine::Controller& c : room.machine.controllers) c.arrays = {{0, kLogicalOptimal}};
        auto made = std::make_unique<FaultSource>(room.machine.builder());
        source = made.get();
        library = std::make_unique<VantLib>(std::move(made));
    }

    std::unique_ptr<VantUnderTest> settled() {
        auto monitor = std::make_unique<VantUnderTest>(library.get());
        monitor->poll(0, monitor->queue());
        (void)monitor->getEvents(0);
        return monitor;
    }

    Codes pollNow(VantUnderTest& monitor) {
        monitor.poll(1, monitor.queue());
        return MonitorRoom::codes(monitor);
    }

    Codes pollLater(VantUnderTest& monitor) {
        room.clock.advance(120);
        return pollNow(monitor);
    }

    LockFiles locks;
    MonitorRoom room;
    FaultSource* source = nullptr;
    std::unique_ptr<VantLib> library;
};

// A library that never answers holds the monitoring thread; nobody else waits for it.
TEST_F(SourceFault, GivenAReadingThatHangsThenStopReturnsAtOnceAndTheLoopEndsWhenItAnswers) {
    using Hook = std::function<void(FaultSource&, const std::function<void()>&)>;
    const Hook hooks[] = {
        [](FaultSource& s, const std::function<void()>& hang) { s.onFill = hang; },
        [](FaultSource& s, const std::function<void()>& hang) {
            s.onEvents = [hang](unsigned int) { hang(); };
        },
        [](FaultSource& s, const std::function<void()>& hang) {
            s.onTasks = [hang](const Addr&) { hang(); };
        },
    };
    for (const Hook& hook : hooks) {
        std::filesystem::remove(room.dir.file("QELVANTConfig.xml"));  // all is new, and told
        VantUnderTest monitor(library.get());
        Door door;
        int sleeps = 0;
        std::atomic<int> hangs{0};
        room.clock.onSleep([&](unsigned) {
            if (++sleeps != 1) return;
            room.clock.advance(120);
            hook(*source, [&] {
                if (++hangs == 1) door.pass();
            });
        });
        std::thread loop([&] { monitor.start(); });
        door.waitForSomebody();
        EXPECT_FALSE(monitor.isStopped());
        EXPECT_LT(0U, monitor.getEvents(0).size()) << "the host drains meanwhile";
        EXPECT_EQ(0, monitor.getNumberOfEvents());
        monitor.stop();
        EXPECT_FALSE(monitor.isStopped()) << "the poll under way is not broken off";
        door.unlock();
        loop.join();
        EXPECT_TRUE(monitor.isStopped());
        EXPECT_GE(9, sleeps) << "the pause after that poll was not slept through";
        source->onFill = nullptr;
        source->onEvents = nullptr;
        source->onTasks = nullptr;
        room.clock.onSleep(nullptr);
    }
}

TEST_F(SourceFault, GivenReadingsThatTakeLongerThanTheirIntervalThenAPauseIsKeptBetweenThem) {
    VantUnderTest monitor(library.get());
    std::vector<std::int64_t> pauses;
    std::int64_t ended = 0;
    source->onFill = [&] {
        if (ended != 0) pauses.push_back(room.clock.now() - ended);
        room.clock.advance(90);
        ended = room.clock.now();
        if (pauses.size() == 5) monitor.stop();
    };
    monitor.start();
    ASSERT_EQ(5U, pauses.size());
    for (std::size_t i = 1; i < pauses.size(); ++i) EXPECT_EQ(60, pauses[i]);
    (void)monitor.getEvents(0);
}

TEST_F(SourceFault, GivenTheLogOfOneControllerFailsThenTheOtherIsToldOfAndNothingIsLost) {
    auto monitor = settled();
    (void)pollLater(*monitor);
    const ControllerEvent badBlock{7, 0, 0, 0x81, "/c0/b0/d1", ""};
    const ControllerEvent otherBadBlock{7, 0, 0, 0x81, "/c1/b0/d1", ""};
    source->failEvents(0, true);
    source->appendEvent(0, badBlock);
    source->appendEvent(1, otherBadBlock);
    for (int i = 0; i < 3; ++i) {
        monitor->poll(1, monitor->queue());
        const std::vector<QELEvent> events = monitor->getEvents(0);
        ASSERT_EQ(i == 0 ? 1U : 0U, events.size());
        if (i == 0) {
            EXPECT_EQ(418, events[0].eventCode);
            EXPECT_EQ(1U, events[0].location.controllerID);
        }
    }
    source->failEvents(0, false);
    monitor->poll(1, monitor->queue());
    const std::vector<QELEvent> events = monitor->getEvents(0);
    ASSERT_EQ(1U, events.size());
    EXPECT_EQ(418, events[0].eventCode);
    EXPECT_EQ(0U, events[0].location.controllerID);
}

TEST_F(SourceFault, GivenTheTasksOfOneControllerThrowThenThePollEndsAndTheNextTellsEverything) {
    auto monitor = settled();
    (void)pollLater(*monitor);
    source->onTasks = [](const Addr& address) {
        if (address.controllerID == 0) throw std::runtime_error("broken");
    };
    room.machine.controllers[1].drives[0].state = kDriveFailed;
    EXPECT_THROW(pollLater(*monitor), std::runtime_error);
    EXPECT_EQ(0, monitor->getNumberOfEvents());
    source->onTasks = nullptr;
    EXPECT_EQ(kFailed, pollLater(*monitor));
}

TEST_F(SourceFault, GivenTaskQueriesThatFailThenNoTaskIsSaidToHaveEnded) {
    source->setTasks(Addr::ofLogicalDrive(0, 0),
                     {Progress(kTaskVerify, 40, kTaskRunning, Addr::ofLogicalDrive(0, 0))});
    auto monitor = settled();
    source->failTasks(true);
    for (int i = 0; i < 3; ++i) EXPECT_EQ((Codes{}), pollLater(*monitor));
    // Also across a restart: the stored task is on a drive that does not answer.
    VantUnderTest next(library.get());
    next.poll(0, next.queue());
    EXPECT_EQ((Codes{}), MonitorRoom::codes(next));
}

struct Throwing {
    const char* name;
    void (*arm)(FaultSource&);
};

const Throwing kThrowing[] = {
    {"reading", [](FaultSource& s) { s.onFill = [] { throw std::runtime_error("broken"); }; }},
    {"events",
     [](FaultSource& s) { s.onEvents = [](unsigned int) { throw std::runtime_error("broken"); }; }},
    {"tasks",
     [](FaultSource& s) { s.onTasks = [](const Addr&) { throw std::runtime_error("broken"); }; }},
    {"reading, out of memory", [](FaultSource& s) { s.onFill = [] { throw std::bad_alloc(); }; }},
};

void disarm(FaultSource& source) {
    source.onFill = nullptr;
    source.onEvents = nullptr;
    source.onTasks = nullptr;
}

TEST_F(SourceFault, GivenAnExceptionAtConstructionThenTheHostMayTryAgainAndHearsNothingFalse) {
    (void)settled();  // leaves a snapshot
    for (const Throwing& row : kThrowing) {
        SCOPED_TRACE(row.name);
        row.arm(*source);
        bool threw = false;
        try {
            VantUnderTest monitor(library.get());
            monitor.poll(0, monitor.queue());
        } catch (const std::exception&) {
            threw = true;
        }
        EXPECT_TRUE(threw);
        disarm(*source);
        VantUnderTest monitor(library.get());
        monitor.poll(0, monitor.queue());
        EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
    }
}

TEST_F(SourceFault, GivenAnExceptionInTheLoopThenTheNextStartTellsWhatThatOneCouldNot) {
    VantUnderTest monitor(library.get());
    int& state = room.machine.controllers[0].drives[0].state;
    for (const Throwing& row : kThrowing) {
        SCOPED_TRACE(row.name);
        state = kDriveReady;
        int seconds = 0;
        room.clock.onSleep([&](unsigned) {
            if (++seconds == 100) {
                (void)monitor.getEvents(0);
                state = kDriveFailed;
                row.arm(*source);
            }
            if (seconds == 1000) monitor.stop();
        });
        EXPECT_ANY_THROW(monitor.start());
        EXPECT_GT(1000, seconds);
        EXPECT_TRUE(monitor.isStopped());
        EXPECT_EQ(0, monitor.getNumberOfEvents());
        disarm(*source);
        seconds = 0;
        room.clock.onSleep([&](unsigned) {
            if (++seconds == 200) monitor.stop();
        });
        monitor.start();
        EXPECT_EQ(kFailed, MonitorRoom::codes(monitor));
        room.clock.onSleep(nullptr);
    }
    EXPECT_EQ(0, room.countInLog("already running"));
}

}  // namespace
