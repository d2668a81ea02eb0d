// Lifecycle: construction, initialisation, the loop, and every order in which a host may call.
#include "monitor/VantRaidMonitor.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "snapshot/QELProgressCollection.h"
#include "snapshot/QELSystem.h"
#include "tests/support/MonitorRoom.h"
#include "xml/SimpleXmlException.h"

namespace {

using Codes = std::vector<int>;

constexpr char kSnapshot[] = "QELVANTConfig.xml";

// The monitoring thread of a host.
class Loop {
public:
    explicit Loop(VantRaidMonitor& monitored)
        : monitor(monitored), thread([this] { monitor.start(); }) {}
    ~Loop() { join(); }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    void join() {
        if (thread.joinable()) thread.join();
    }

private:
    VantRaidMonitor& monitor;
    std::thread thread;
};

// Runs start() on this thread and stops it in the nth second of sleep.
void runUntilSleep(MonitorRoom& room, VantRaidMonitor& monitor, int seconds) {
    int slept = 0;
    room.clock.onSleep([&](unsigned) {
        if (++slept >= seconds) monitor.stop();
    });
    monitor.start();
    room.clock.onSleep(nullptr);
}

// --- construction ---

TEST(VantRaidMonitor, ConstructionReadsTheMachineAndStartsTheTimers) {
    MonitorRoom room;
    room.machine.addController(1);
    room.machine.addController(2);
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(2, monitor.getControllerCount());
    EXPECT_EQ(1, room.source().fillCount());
    EXPECT_EQ(1, room.clock.slept());
    EXPECT_EQ(1, monitor.lastUnsupportedDrivesReport);
    EXPECT_EQ(1, monitor.lastCriticalLogicalDrivesReport);
    EXPECT_EQ(1, monitor.lastSasDriveMapReport);
    EXPECT_EQ(1, monitor.lastBadStripeReport);
    EXPECT_TRUE(monitor.isStopped());
    EXPECT_EQ(nullptr, monitor.systemOld.get());
    EXPECT_FALSE(room.dir.exists(kSnapshot));
}

TEST(VantRaidMonitor, ConstructionSaysSoAtTheHighestDebugLevel) {
    MonitorRoom room;
    room.debugEverything();
    { VantUnderTest monitor(room.lib()); }
    EXPECT_EQ(1, room.countInLog("Constructing VantRaidMonitor\n"));
    EXPECT_EQ(1, room.countInLog("Destructing RaidMonitor\n"));
    { VantUnderTest monitor(room.lib(), room.dir.folder()); }
    EXPECT_NE(std::string::npos,
              room.debugLog("QELVANTDebug.log")
                  .find("Constructing VantRaidMonitor(pVantLibIN, pVantLibIN)\n"));
}

TEST(VantRaidMonitor, ConstructionTracesItsStepsInOrder) {
    MonitorRoom room;
    room.debugEverything();
    room.machine.addController(1);
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(
        "Constructing VantRaidMonitor\n"
        "Entering refreshConfig\n"
        "Entering initialize()\n"
        "VantRaidMonitor::Reading the stored system config...\n"
        "\tcalling getEvents for newAdapter =0 in the constructor\n",
        room.debugLog());
}

// A second that a signal cuts short would leave the timers at 0, which counts as never reported.
TEST(VantRaidMonitor, GivenSignalsDuringConstructionThenTheTimersHaveStartedAllTheSame) {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // without SA_RESTART
    struct sigaction old {};
    ASSERT_EQ(0, sigaction(SIGUSR1, &action, &old));
    MonitorRoom room;
    Clock* const manual = Clock::set(nullptr);  // the machine's own second
    std::atomic<bool> done{false};
    std::int64_t reported = 0;
    std::thread constructing([&] {
        VantUnderTest monitor(room.lib());
        reported = monitor.lastBadStripeReport;
        done = true;
    });
    while (!done) {
        pthread_kill(constructing.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    constructing.join();
    Clock::set(manual);
    sigaction(SIGUSR1, &old, nullptr);
    EXPECT_GE(reported, 1);
}

TEST(VantRaidMonitor, DataMembersStandInTheirOrderBehindThoseOfTheBase) {
    MonitorRoom room;
    const VantUnderTest monitor(room.lib());
    const std::vector<const void*> places = monitor.places();
    for (std::size_t i = 1; i < places.size(); ++i) EXPECT_LT(places[i - 1], places[i]) << i;
}

TEST(VantRaidMonitor, GivenEventsInTheLogsThenTheyAreDiscarded) {
    MonitorRoom room;
    room.debugEverything();
    room.machine.addController(1);
    for (int i = 0; i < 3; ++i) room.source().appendEvent(0, {});
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(3, monitor.newAdapters[0].lastSequence);
    EXPECT_EQ(3u, monitor.newAdapters[0].events.size());
    EXPECT_EQ(3, monitor.oldAdapters[0].lastSequence);
    EXPECT_EQ(1, room.countInLog("\tcalling getEvents for newAdapter =0 in the constructor\n"));
    EXPECT_EQ(1, room.countInLog("\t3 events discarded initially\n"));
}

TEST(VantRaidMonitor, TheNumberOfDiscardedEventsIsTheLastSequenceNumber) {
    MonitorRoom room;
    room.debugEverything();
    room.machine.addController(1);
    for (int i = 0; i < 14; ++i) room.source().appendEvent(9, {});  // another controller's
    for (int i = 0; i < 3; ++i) room.source().appendEvent(0, {});
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(3u, monitor.newAdapters[0].events.size());
    EXPECT_EQ(1, room.countInLog("\t17 events discarded initially\n"));
}

TEST(VantRaidMonitor, GivenAnUnreadableLogThenTheControllerIsSkipped) {
    MonitorRoom room;
    room.machine.addController(1);
    room.source().appendEvent(0, {});
    room.source().failEvents(0, true);
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(0, monitor.newAdapters[0].lastSequence);
    EXPECT_EQ(1, room.countInLog("ERROR: getEvents(Adapter=0)failed\n"));
}

TEST(VantRaidMonitor, GivenAForeignControllerThenItIsCountedButNotWatched) {
    MonitorRoom room;
    room.debugEverything();
    room.machine.addController(1);
    room.machine.addController(2).foreign = true;
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(2, monitor.getControllerCount());
    EXPECT_EQ(nullptr, monitor.newAdapters[1].adapter);
    EXPECT_EQ(
        1, room.countInLog("\tcalling getEvents for newAdapter =2147483647 in the constructor\n"));
    EXPECT_EQ(1, room.countInLog("\tAdapter[1] pointer NULL\n"));
    monitor.poll(0, monitor.queue());
    EXPECT_EQ((Codes{207, 299}), MonitorRoom::codes(monitor));
    EXPECT_EQ(1, room.countInLog("ERROR: VantRaidMonitor::poll() newAdapterList adapter NULL while "
                                 "comparing adapters in CHECK_CONFIG\n"));
    monitor.poll(1, monitor.queue());
    EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
    EXPECT_EQ(1, room.countInLog("\tcalling getEvents for for oldAdapter =2147483647\n"));
    EXPECT_EQ(1, room.countInLog("\tVantRaidMonitor::poll()::COMPARE_CONFIG::AdapterListOld[1]."
                                 "pVantAdapterAdapter is NULL\n"));
    EXPECT_EQ(1,
              room.countInLog("ERROR: VantRaidMonitor::poll()::COMPARE_CONFIG::AdapterListNew[1]."
                              "pVantAdapter\n"));
}

TEST(VantRaidMonitor, GivenAMalformedSnapshotThenConstructionThrows) {
    MonitorRoom room;
    room.machine.addController(1);
    room.dir.write(kSnapshot, "<System><Controller x=1>");
    try {
        VantUnderTest monitor(room.lib());
        FAIL() << "nothing was thrown";
    } catch (const SimpleXmlException& e) {
        EXPECT_EQ('1', e.character);
    }
}

TEST(VantRaidMonitor, GivenASnapshotThatBecomesMalformedThenReadingThrowsAndTheListsStay) {
    MonitorRoom room;
    room.machine.addController(1);
    for (int i = 0; i < 5; ++i) room.source().appendEvent(0, {});
    VantUnderTest monitor(room.lib());
    room.dir.write(kSnapshot, "<System><Controller x=1>");
    EXPECT_THROW(monitor.initialize(true), SimpleXmlException);
    EXPECT_EQ(1, monitor.getControllerCount());
    room.dir.write(kSnapshot, "");  // the host has put it aside
    ASSERT_TRUE(monitor.initialize(true));
    EXPECT_EQ(5, monitor.newAdapters[0].lastSequence);
}

TEST(VantRaidMonitor, GivenALibraryWithoutATreeThenThereAreNoControllers) {
    class NoTree : public VantLib {
    public:
        using VantLib::VantLib;
        System* getSystem() const override { return nullptr; }
    };
    MonitorRoom room;
    room.machine.addController(1);
    NoTree lib(std::make_unique<MemorySource>(room.machine.builder()));
    VantUnderTest monitor(&lib);
    EXPECT_EQ(0, monitor.getControllerCount());
    EXPECT_EQ("ERROR: SystemNew is NULL\n", room.debugLog());
    EXPECT_TRUE(monitor.initialize(false));
    EXPECT_EQ(2, room.countInLog("ERROR: SystemNew is NULL\n"));
    EXPECT_NE(std::string::npos, room.dir.read(kSnapshot).find("<System"));
}

TEST(VantRaidMonitor, GivenTwoNullHandlesThenOnlyTheSecondIsLogged) {
    MonitorRoom room;
    setDebugMask(0);  // as at load
    const char* line =
        "ERROR: BaseRaidMonitor::BaseRaidMonitor Error constructing. StorLibPlugin handle is "
        "NULL!!!\n";
    { VantUnderTest monitor(nullptr); }
    EXPECT_EQ(0, room.countInLog(line));
    { VantUnderTest monitor(nullptr); }
    EXPECT_EQ(1, room.countInLog(line));
}

// --- without a library, without controllers ---

TEST(VantRaidMonitor, GivenNullHandleThenStartReportsNoControllersAndReturns) {
    MonitorRoom room;
    VantUnderTest monitor(nullptr);
    monitor.start();
    EXPECT_EQ((Codes{201}), MonitorRoom::codes(monitor));
    EXPECT_TRUE(monitor.isStopped());
    monitor.start();  // not refused
    EXPECT_EQ((Codes{201}), MonitorRoom::codes(monitor));
    EXPECT_EQ(0, room.countInLog("already running"));
    EXPECT_EQ(1, room.countInLog("ERROR: ERROR--loading library\n"));
    EXPECT_FALSE(room.dir.exists(kSnapshot));
    monitor.run();
    EXPECT_TRUE(monitor.isStopped());
}

TEST(VantRaidMonitor, GivenNoControllersThenEachStartQueuesExactlyOneEvent) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    for (int i = 0; i < 2; ++i) {
        runUntilSleep(room, monitor, 1);
        const std::vector<QELEvent> events = monitor.getEvents(0);
        ASSERT_EQ(1u, events.size());
        EXPECT_EQ(201, events[0].eventCode);
        EXPECT_EQ(3, events[0].severity);
        EXPECT_EQ("agentEventInfNoControllers()", events[0].text);
        EXPECT_EQ("EVENT_TORVEX_STATE_NOTFOUND", events[0].eventId);
        EXPECT_EQ(QELEvent::kUnknown, events[0].objectType);
    }
}

// --- the loop ---

TEST(VantRaidMonitor, ALoopPollsSleepsInSecondsAndReadsTheSettingsAgain) {
    MonitorRoom room;
    room.debugEverything();
    room.machine.addController(1);
    VantUnderTest monitor(room.lib());
    const std::int64_t constructed = room.clock.slept();
    room.dir.write("QELConfig.conf", "qel.debugMask=2\nqel.eventQueueSize=300\n");
    runUntilSleep(room, monitor, 7);
    EXPECT_EQ(7, room.clock.slept() - constructed);
    EXPECT_EQ(300, monitor.eventQueueSize);
    (void)monitor.getEvents(0);
    const QELEvent event(1, kEventInformation, "text", "ID");
    for (int i = 0; i < 300; ++i) monitor.queue().addEvent(event);
    EXPECT_EQ(300, monitor.getNumberOfEvents());  // the queue has its new bound
    EXPECT_TRUE(monitor.isStopped());
    const std::string log = room.debugLog();
    const std::string::size_type started = log.find("Entering VantRaidMonitor::start()\n");
    ASSERT_NE(std::string::npos, started);
    EXPECT_LT(started, log.find("Entering poll(type=0)\n"));
    EXPECT_LT(log.find("Entering poll(type=0)\n"), log.find("Entering VantRaidMonitor :: run()\n"));
    EXPECT_EQ(2, room.countInLog("Entering poll(type=1)\n"));
    EXPECT_EQ(2, room.countInLog("sleeping\n"));
    EXPECT_EQ(2, room.countInLog("QEL_awoke and re-reading config file\n"));
    EXPECT_EQ(1, room.countInLog("VantRaidMonitor :: stop()\n"));
    EXPECT_EQ(1, room.countInLog("Exiting VantRaidMonitor::run().\n\n"));
}

TEST(VantRaidMonitor, GivenADebugLevelInTheSettingsThenTheNextCycleUsesIt) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(0xf00000u, QELDebugFlag);
    room.dir.write("QELConfig.conf", "qel.debugMask=1\n");
    runUntilSleep(room, monitor, 1);
    EXPECT_EQ(0xff0000u, QELDebugFlag);
}

TEST(VantRaidMonitor, ALoopIsConstructedThenLoopingThenStoppingThenStopped) {
    MonitorRoom room;
    room.machine.addController(1);
    std::string states;
    std::unique_ptr<VantUnderTest> monitor;
    const auto note = [&] {
        states += monitor->running ? "running " : "idle ";
        states += monitor->isStopped() ? "stopped, " : "not stopped, ";
    };
    monitor = std::make_unique<VantUnderTest>(room.lib());
    note();
    room.clock.onSleep([&](unsigned) {
        note();
        monitor->stop();
        note();
    });
    monitor->start();
    note();
    EXPECT_EQ("idle stopped, running not stopped, idle not stopped, idle stopped, ", states);
}

// Nothing was looping, so there is nothing to take up again later.
TEST(VantRaidMonitor, GivenRunWithoutStartThenItEndsAtOnceAndChangesNothing) {
    MonitorRoom room;
    room.debugEverything();
    VantUnderTest monitor(room.lib());
    const std::string before = room.debugLog();
    const std::int64_t slept = room.clock.slept();
    monitor.run();
    EXPECT_TRUE(monitor.isStopped());
    EXPECT_FALSE(monitor.forceRefresh.load());
    EXPECT_EQ(ManualClock::kStart, std::int64_t{monitor.startTime.load()});
    EXPECT_EQ(slept, room.clock.slept());
    EXPECT_EQ("Entering VantRaidMonitor :: run()\nExiting VantRaidMonitor::run().\n\n",
              room.debugLog().substr(before.size()));
}

TEST(VantRaidMonitor, GivenAnExceptionInsideTheLoopThenItIsStoppedButTheRunIsNotForgotten) {
    MonitorRoom room;
    Machine::Controller& controller = room.machine.addController(1);
    controller.drives = {{0, 1, kDriveNotPresent}};
    VantUnderTest monitor(room.lib());
    room.clock.onSleep([&](unsigned) {
        room.clock.advance(60);
        controller.drives[0] = {0, 1, kDriveReady, " "};  // a vendor of blanks cannot be trimmed
    });
    EXPECT_THROW(monitor.start(), std::out_of_range);
    EXPECT_TRUE(monitor.isStopped());
    EXPECT_FALSE(monitor.running.load());
    EXPECT_FALSE(monitor.forceRefresh.load());
    EXPECT_EQ(ManualClock::kStart, std::int64_t{monitor.startTime.load()});

    controller.drives[0].vendor = "KOVA-PQ";
    runUntilSleep(room, monitor, 1);
    EXPECT_EQ(0, room.countInLog("already running"));
}

TEST(VantRaidMonitor, GivenTheLoopHasEndedThenTheHostMayDestroyTheMonitorBeforeTheThreadReturns) {
    MonitorRoom room;
    std::atomic<bool> asleep{false};
    room.clock.onSleep([&](unsigned) {
        asleep = true;
        std::this_thread::yield();
    });
    for (int i = 0; i < 50; ++i) {
        auto monitor = std::make_unique<VantUnderTest>(room.lib());
        asleep = false;
        std::thread thread([started = monitor.get()] { started->start(); });
        while (!asleep) std::this_thread::yield();
        monitor->stop();
        while (!monitor->isStopped()) std::this_thread::yield();
        monitor.reset();
        thread.join();
    }
}

TEST(VantRaidMonitor, StartingTwiceIsRefused) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    std::atomic<bool> refused{false};
    room.clock.onSleep([&](unsigned) {
        if (!refused) {
            std::thread second([&] { monitor.start(); });
            second.join();
            refused = true;
        }
        monitor.stop();
    });
    monitor.start();
    EXPECT_TRUE(refused);
    EXPECT_EQ(1, room.countInLog("ERROR: VantRaidMonitor already running!!!!\n"));
}

TEST(VantRaidMonitor, StoppingWhileAsleepEndsTheLoopWithoutAnotherPoll) {
    MonitorRoom room;
    room.debugEverything();
    VantUnderTest monitor(room.lib());
    runUntilSleep(room, monitor, 2);
    EXPECT_EQ(1, room.countInLog("Entering poll(type=1)\n"));
    EXPECT_TRUE(monitor.isStopped());
    EXPECT_EQ(0, monitor.startTime.load());
    EXPECT_TRUE(monitor.forceRefresh.load());
}

TEST(VantRaidMonitor, GivenAStopInTheMiddleOfAReadingThenTheNextRunRefreshesAndReminds) {
    MonitorRoom room;
    room.machine.addController(1).arrays = {{0, kLogicalDegraded}};
    VantUnderTest monitor(room.lib());
    int fills = 0;
    room.source().setBuilder([&, build = room.machine.builder()](System& system) {
        if (++fills == 1) monitor.stop();  // inside the first comparison's reading
        build(system);
    });
    monitor.start();
    EXPECT_EQ(1, fills);
    EXPECT_TRUE(monitor.forceRefresh.load());
    // A time computed from a start time of 0 would lie in 2001 and block every refresh after it.
    EXPECT_LT(monitor.lastRefresh, 60);
    (void)monitor.getEvents(0);

    int slept = 0;
    room.clock.onSleep([&](unsigned) {
        if (++slept == 1) room.clock.advance(28800);
        if (slept == 6) monitor.stop();
    });
    monitor.start();
    EXPECT_GE(fills, 3);  // at once, and again when the interval had passed
    const Codes codes = MonitorRoom::codes(monitor);
    EXPECT_EQ(1, std::count(codes.begin(), codes.end(), 338));
}

TEST(VantRaidMonitor, GivenAStopAtOnceThenTheHostsRepeatedStopEndsTheLoop) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    room.clock.onSleep([](unsigned) { std::this_thread::yield(); });
    std::atomic<bool> ended{false};
    std::thread thread([&] {
        monitor.start();
        ended = true;
    });
    while (!ended) {  // a stop() before start() began is lost, so a host repeats it
        monitor.stop();
        std::this_thread::yield();
    }
    thread.join();
    EXPECT_TRUE(monitor.isStopped());
}

TEST(VantRaidMonitor, GivenAStartAtTheMomentTheLoopHasEndedThenItIsNeverRefused) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    std::atomic<bool> asleep{false};
    room.clock.onSleep([&](unsigned) {
        asleep = true;
        std::this_thread::yield();
    });
    std::unique_ptr<Loop> former;
    for (int i = 0; i < 1000; ++i) {
        asleep = false;
        auto loop = std::make_unique<Loop>(monitor);
        while (!asleep) std::this_thread::yield();
        monitor.stop();
        while (!monitor.isStopped()) std::this_thread::yield();
        former = std::move(loop);  // the former thread may still be on its way out of start()
        (void)monitor.getEvents(0);
    }
    former->join();
    EXPECT_EQ(0, room.countInLog("already running"));
}

TEST(VantRaidMonitor, GivenAStartWhileAStoppedLoopIsFinishingThenItIsRefused) {
    MonitorRoom room;
    room.machine.addController(1);
    VantUnderTest monitor(room.lib());
    std::atomic<int> fills{0};
    room.source().setBuilder([&, build = room.machine.builder()](System& system) {
        if (++fills == 1) {
            monitor.stop();
            std::thread second([&] { monitor.start(); });
            second.join();  // returns at once: refused
        }
        build(system);
    });
    monitor.start();
    EXPECT_EQ(1, room.countInLog("ERROR: VantRaidMonitor already running!!!!\n"));
    EXPECT_EQ(1, fills.load());
    EXPECT_TRUE(monitor.isStopped());
}

TEST(VantRaidMonitor, GivenAnExceptionInAPollThenTheMonitorCanBeStartedAgain) {
    MonitorRoom room;
    Machine::Controller& controller = room.machine.addController(1);
    controller.drives = {{0, 1, kDriveReady, " "}};  // a vendor of blanks cannot be trimmed
    VantUnderTest monitor(room.lib());
    EXPECT_THROW(monitor.start(), std::out_of_range);
    EXPECT_TRUE(monitor.isStopped());
    EXPECT_FALSE(monitor.running.load());

    controller.drives[0].vendor = "KOVA-PQ";
    ASSERT_TRUE(monitor.initialize(true));
    (void)monitor.getEvents(0);
    runUntilSleep(room, monitor, 1);
    const Codes codes = MonitorRoom::codes(monitor);
    EXPECT_EQ(0, std::count(codes.begin(), codes.end(), 202));
    EXPECT_EQ(0, room.countInLog("already running"));
}

// --- orders of calling; "T" is what was read, "S" the snapshot on disk ---

class CallingOrder : public testing::Test {
protected:
    CallingOrder() { room.machine.addController(1).drives = {{0, 1, kDriveMember}}; }

    // A monitor of an earlier run leaves the snapshot of the machine as it is now.
    void leaveSnapshot() {
        VantUnderTest earlier(room.lib());
        ASSERT_TRUE(earlier.initialize(false));
    }
    void failTheDrive() { room.machine.controllers[0].drives[0].state = kDriveFailed; }

    MonitorRoom room;
    const Codes kFailed{401, 499};
};

TEST_F(CallingOrder, ConstructStartComparesWithTheSnapshot) {
    leaveSnapshot();
    failTheDrive();
    VantUnderTest monitor(room.lib());
    runUntilSleep(room, monitor, 1);
    EXPECT_EQ(kFailed, MonitorRoom::codes(monitor));
}

TEST_F(CallingOrder, ConstructStartWithoutASnapshotChecksEveryController) {
    VantUnderTest monitor(room.lib());
    runUntilSleep(room, monitor, 1);
    EXPECT_EQ((Codes{207, 299, 499}), MonitorRoom::codes(monitor));
    EXPECT_TRUE(room.dir.exists(kSnapshot));
}

TEST_F(CallingOrder, InitializeTrueAgainHasFresherDataAndKeepsItsPlaceInTheLogs) {
    leaveSnapshot();
    for (int i = 0; i < 5; ++i) room.source().appendEvent(0, {7, 0, 0, 0x81, "/c0/b0/d1", ""});
    VantUnderTest monitor(room.lib());
    failTheDrive();
    ASSERT_TRUE(monitor.initialize(true));
    EXPECT_EQ(5, monitor.newAdapters[0].lastSequence);
    monitor.poll(0, monitor.queue());
    EXPECT_EQ(kFailed, MonitorRoom::codes(monitor));
    monitor.poll(1, monitor.queue());
    EXPECT_EQ(6, room.source().lastFirstSequence());
    EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
}

TEST_F(CallingOrder, InitializeFalseAcceptsWhatIsThere) {
    leaveSnapshot();
    failTheDrive();
    VantUnderTest monitor(room.lib());
    ASSERT_TRUE(monitor.initialize(false));
    monitor.poll(0, monitor.queue());
    EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
    EXPECT_EQ(1, room.countInLog(
                     "ERROR: VantRaidMonitor::poll() stored system config NULL in CHECK_CONFIG\n"));
    monitor.poll(1, monitor.queue());
    EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
}

TEST_F(CallingOrder, InitializeFalseThenTrueIsSilentUnlessSomethingChanged) {
    VantUnderTest monitor(room.lib());
    ASSERT_TRUE(monitor.initialize(false));
    ASSERT_TRUE(monitor.initialize(true));
    monitor.poll(0, monitor.queue());
    EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
}

TEST_F(CallingOrder, GivenALibraryThatFailsAtConstructionThenTheHostCanReadAgainAndLosesNothing) {
    leaveSnapshot();
    failTheDrive();
    room.source().failFill(true);
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(0, monitor.getControllerCount());
    EXPECT_FALSE(monitor.initialize(true));
    EXPECT_EQ(2, room.countInLog("ERROR: error refreshing the system\n"));
    room.source().failFill(false);
    ASSERT_TRUE(monitor.initialize(true));
    runUntilSleep(room, monitor, 1);
    EXPECT_EQ(kFailed, MonitorRoom::codes(monitor));
}

TEST_F(CallingOrder, GivenALibraryThatFailsAtConstructionAndAStartAllTheSameThenAllIsNewLater) {
    leaveSnapshot();
    room.source().failFill(true);
    VantUnderTest monitor(room.lib());
    monitor.poll(0, monitor.queue());
    EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
    EXPECT_EQ(std::string::npos, room.dir.read(kSnapshot).find("<Controller"));
    room.source().failFill(false);
    monitor.forceRefresh = true;
    monitor.poll(1, monitor.queue());
    EXPECT_EQ((Codes{207, 299, 499}), MonitorRoom::codes(monitor));
}

TEST_F(CallingOrder, StopAndStartComparesWithTheLastConfigurationBeforeTheStop) {
    leaveSnapshot();
    VantUnderTest monitor(room.lib());
    runUntilSleep(room, monitor, 1);
    failTheDrive();
    runUntilSleep(room, monitor, 1);
    EXPECT_EQ(kFailed, MonitorRoom::codes(monitor));
    EXPECT_EQ(1, room.countInLog(
                     "ERROR: VantRaidMonitor::poll() stored system config NULL in CHECK_CONFIG\n"));
}

TEST_F(CallingOrder, StopInitializeTrueStartReportsThePauseThroughTheSnapshot) {
    leaveSnapshot();
    VantUnderTest monitor(room.lib());
    runUntilSleep(room, monitor, 1);
    failTheDrive();
    ASSERT_TRUE(monitor.initialize(true));
    monitor.poll(0, monitor.queue());
    EXPECT_EQ(kFailed, MonitorRoom::codes(monitor));
}

TEST_F(CallingOrder, CurrentEventsBeforeStartGoIntoTheHostsCollection) {
    leaveSnapshot();
    failTheDrive();
    VantUnderTest monitor(room.lib());
    QELEventCollection mine("", 200, kEventProgress);
    monitor.getCurrentEvents(mine);
    EXPECT_EQ(2, mine.getNumberOfEvents());
    EXPECT_EQ(0, monitor.getNumberOfEvents());
    runUntilSleep(room, monitor, 1);
    EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
}

TEST_F(CallingOrder, GivenTheOldTreeIsOnlyHeldByTheMonitorThenReadingAgainKeepsItAlive) {
    VantUnderTest monitor(room.lib());
    ASSERT_TRUE(monitor.initialize(true));
    monitor.poll(1, monitor.queue());  // compares with the tree of construction
    EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
}

// --- paths in the snapshot ---

TEST(VantRaidMonitor, InitializeFalseStoresThePathsOfControllersDrivesAndArrays) {
    MonitorRoom room;
    Machine::Controller& c = room.machine.addController(1);
    c.drives = {{2, 7, kDriveMember}};
    c.arrays = {{4, kLogicalOptimal}};
    VantUnderTest monitor(room.lib());
    ASSERT_TRUE(monitor.initialize(false));
    const std::string file = room.dir.read(kSnapshot);
    EXPECT_NE(std::string::npos, file.find("LDPath=\"/c0\""));
    EXPECT_NE(std::string::npos, file.find("LDPath=\"/c0/b2/d7\""));
    EXPECT_NE(std::string::npos, file.find("LDPath=\"/c0/l4\""));
}

TEST(VantRaidMonitor, GivenAPathThatTheLibraryDoesNotKnowThenItIsLeftOutWithAnError) {
    class NoPaths : public VantLib {
    public:
        using VantLib::VantLib;
        Ret getPath(const Addr&, _LDTree&) override { return Ret{Ret::kNotFound, 0}; }
    };
    MonitorRoom room;
    Machine::Controller& c = room.machine.addController(1);
    c.drives = {{2, 7, kDriveMember}};
    c.arrays = {{4, kLogicalOptimal}};
    NoPaths lib(std::make_unique<MemorySource>(room.machine.builder()));
    VantUnderTest monitor(&lib);
    ASSERT_TRUE(monitor.initialize(false));
    EXPECT_EQ(3, room.countInLog("ERROR: getPath(logicalDrive) unsuccessfull\n"));
}

TEST(VantRaidMonitor, GivenDrivesThatTheSnapshotDoesNotHoldThenEachIsLogged) {
    MonitorRoom room;
    // The snapshot copies drives from below a channel, and arrays from below the controller.
    room.source().setBuilder([](System& system) {
        auto* adapter = new VantAdapter;
        adapter->addr.controllerID = 0;
        system.addChild(adapter);
        auto* drive = new HardDrive(adapter, nullptr);
        drive->addr.channelID = 1;
        drive->addr.deviceID = 2;
        adapter->addChild(drive);
        auto* channel = new Channel(adapter);
        channel->addr.channelID = 1;
        adapter->addChild(channel);
        auto* array = new LogicalDrive(adapter);
        array->addr.logicalDriveID = 4;
        channel->addChild(array);
    });
    VantUnderTest monitor(room.lib());
    ASSERT_TRUE(monitor.initialize(false));
    EXPECT_EQ(
        "VantRaidMonitor:: poll:: CHECK_CONFIG ::QELHardDrive is NULL\n"
        "VantRaidMonitor:: poll:: CHECK_CONFIG ::QELLogicalDrive is NULL\n",
        room.debugLog());
}

// --- threads ---

TEST(VantRaidMonitor, HostThreadsMayDrainCountAndStopWhileTheLoopRuns) {
    MonitorRoom room;
    Machine::Controller& c = room.machine.addController(1);
    c.drives = {{0, 1, kDriveReady}};
    int fills = 0;
    room.source().setBuilder([&, build = room.machine.builder()](System& system) {
        c.drives[0].state = ++fills % 2 == 0 ? kDriveFailed : kDriveReady;  // flaps at each reading
        build(system);
    });
    VantUnderTest monitor(room.lib());
    std::atomic<int> cycles{0};
    room.clock.onSleep([&](unsigned) {
        room.clock.advance(60);
        ++cycles;
    });
    Loop loop(monitor);
    std::atomic<int> drained{0};
    std::vector<std::thread> hosts;
    std::atomic<bool> done{false};
    for (int i = 0; i < 2; ++i) {
        hosts.emplace_back([&] {
            while (!done) {
                drained += static_cast<int>(monitor.getEvents(1).size());
                QELEvent out[4];
                drained += monitor.getEvents(out, 4);
                (void)monitor.getNumberOfEvents();
                (void)monitor.getEventTypeLevel();
                (void)monitor.setEventTypeLevel(kEventProgress);
                (void)monitor.isStopped();
                monitor.setDebugFlag(kDebugLevelErrors);
            }
        });
    }
    while (cycles < 200) std::this_thread::yield();
    monitor.stop();
    loop.join();
    done = true;
    for (std::thread& host : hosts) host.join();
    EXPECT_TRUE(monitor.isStopped());
    EXPECT_GT(drained, 0);
}

}  // namespace
