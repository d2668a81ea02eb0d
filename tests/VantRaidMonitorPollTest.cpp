// The poll cycle: pairing, refreshing, what runs for which pair, and what it leaves behind.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "events/VantEvent.h"
#include "snapshot/QELProgressCollection.h"
#include "snapshot/QELSystem.h"
#include "storlib/Enclosure.h"
#include "storlib/Progress.h"
#include "storlib/SafteConfig.h"
#include "storlib/SafteStatus.h"
#include "tests/support/MonitorRoom.h"

namespace {

using Codes = std::vector<int>;

constexpr char kSnapshot[] = "QELVANTConfig.xml";
constexpr char kStoredNull[] =
    "ERROR: VantRaidMonitor::poll() stored system config NULL in CHECK_CONFIG\n";
constexpr char kNotAnAdapter[] =
    "ERROR: VantRaidMonitor::poll() object is NULL or not an Adapter in CHECK_CONFIG\n";

// A record that only announces a change.
const ControllerEvent kChanged{7, 0, 0, 0, "", "configuration changed"};

class PollTest : public testing::Test {
protected:
    // A monitor that has been through its first poll, with the queue empty.
    std::unique_ptr<VantUnderTest> settled() {
        auto monitor = std::make_unique<VantUnderTest>(room.lib());
        monitor->poll(0, monitor->queue());
        (void)monitor->getEvents(0);
        return monitor;
    }

    // A poll in which every controller is compared, a minute after the last.
    Codes pollLater(VantUnderTest& monitor) {
        room.clock.advance(120);
        monitor.poll(1, monitor.queue());
        return MonitorRoom::codes(monitor);
    }

    Codes pollNow(VantUnderTest& monitor) {
        monitor.poll(1, monitor.queue());
        return MonitorRoom::codes(monitor);
    }

    void leaveSnapshot() {
        VantUnderTest earlier(room.lib());
        ASSERT_TRUE(earlier.initialize(false));
    }

    MonitorRoom room;
};

// --- controllers that come and go ---

TEST_F(PollTest, GivenAControllerOfTheSnapshotThatIsGoneThenItIsReportedAsAnError) {
    room.machine.addController(3).serial = "SN42";
    room.machine.addController(4);
    leaveSnapshot();
    room.machine.controllers.pop_front();
    VantUnderTest monitor(room.lib());
    monitor.poll(0, monitor.queue());
    const std::vector<QELEvent> events = monitor.getEvents(0);
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ(202, events[0].eventCode);
    EXPECT_EQ(1, events[0].severity);
    EXPECT_EQ(
        "agentEventInfControllerRemoved(eventArgController(eventArgController2(1| #SN42|"
        "Unknown)))",
        events[0].text);
    EXPECT_EQ("EVENT_TORVEX_STATE_FAILED", events[0].eventId);
    EXPECT_EQ(QELEvent::kAdapter, events[0].objectType);
    EXPECT_EQ(0u, events[0].location.controllerID);
    EXPECT_EQ(Addr::kNotSet, events[0].location.channelID);
    EXPECT_EQ("SN42", events[0].adapterSerial);
    EXPECT_TRUE(monitor.storedAdapters.empty());
}

TEST_F(PollTest, GivenAControllerThatDisappearsBetweenPollsThenItIsReportedOnce) {
    room.machine.addController(3).serial = "SN42";
    auto monitor = settled();
    EXPECT_EQ((Codes{}), pollLater(*monitor));
    EXPECT_EQ((Codes{}), pollLater(*monitor));
    room.machine.controllers.clear();
    room.clock.advance(120);
    monitor->poll(1, monitor->queue());
    const std::vector<QELEvent> events = monitor->getEvents(0);
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ(202, events[0].eventCode);
    EXPECT_EQ(1, events[0].severity);
    EXPECT_EQ(0u, events[0].text.find("agentEventErrController("));
    EXPECT_EQ("EVENT_TORVEX_STATE_FAILED", events[0].eventId);
    EXPECT_EQ(QELEvent::kAdapter, events[0].objectType);
    EXPECT_EQ(0u, events[0].location.controllerID);
    EXPECT_EQ("SN42", events[0].adapterSerial);
    EXPECT_EQ((Codes{}), pollLater(*monitor));
}

TEST_F(PollTest, GivenANewControllerThenItIsExaminedAndNothingIsRemoved) {
    room.debugEverything();
    room.machine.addController(3);
    auto monitor = settled();
    Machine::Controller& fresh = room.machine.addController(4);
    fresh.drives = {{0, 1, kDriveFailed}};
    fresh.arrays = {{0, kLogicalDegraded}};
    EXPECT_EQ((Codes{207, 299, 499, 401, 399, 301}), pollLater(*monitor));
    EXPECT_EQ(1, room.countInLog("\tnewAdapter status is REPLACED_ADAPTER or  NEW_ADAPTER\n"));
    EXPECT_EQ((Codes{}), pollLater(*monitor));
}

TEST_F(PollTest, GivenAControllerBackInServiceThenItIsExaminedAndItsRecordsAreNotTranslated) {
    Machine::Controller& c = room.machine.addController(3);
    c.status = 2;
    c.drives = {{0, 1, kDriveReady}};
    auto monitor = settled();
    c.status = kAdapterNormal;
    room.source().appendEvent(0, {7, 0, 0, 0x81, "/c0/b0/d1", "bad block"});
    EXPECT_EQ((Codes{208, 299, 499}), pollNow(*monitor));
}

TEST_F(PollTest, GivenAControllerThatHasJustFailedThenItsPartsAreComparedLikeAnyOther) {
    room.debugEverything();
    Machine::Controller& c = room.machine.addController(3);
    c.drives = {{0, 1, kDriveReady}};
    auto monitor = settled();
    c.status = kAdapterFailed;
    c.drives[0].state = kDriveFailed;
    EXPECT_EQ((Codes{299, 202, 401, 499}), pollLater(*monitor));
    EXPECT_EQ(0, room.countInLog("CONTROLLER_STATUS_FAILED"));
}

TEST_F(PollTest, GivenARenumberedControllerThenItIsTheSameOne) {
    room.machine.addController(3);
    room.machine.addController(4).drives = {{0, 1, kDriveReady}};
    auto monitor = settled();
    room.machine.controllers.pop_front();  // the second is number 0 from now on
    EXPECT_EQ((Codes{202}), pollLater(*monitor));
    room.machine.controllers[0].drives[0].state = kDriveFailed;
    EXPECT_EQ((Codes{401, 499}), pollLater(*monitor));
}

TEST_F(PollTest, GivenARenumberedControllerOfTheSnapshotThenItsDrivesAreFound) {
    Machine::Controller& c = room.machine.addController(3);
    c.drives = {{0, 1, kDriveReady}};
    c.arrays = {{0, kLogicalOptimal}};
    leaveSnapshot();
    c.number = 5;
    VantUnderTest monitor(room.lib());
    monitor.poll(0, monitor.queue());
    EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
}

// Drives are looked up under the number that their own side uses, enclosures under the new one.
TEST_F(PollTest, GivenARenumberedControllerOfTheSnapshotThenItsEnclosureIsNewButNotLost) {
    unsigned int number = 0;
    room.source().setBuilder([&number](System& system) {
        auto* adapter = new VantAdapter;
        adapter->addr.controllerID = number;
        adapter->pciBus = 3;
        system.addChild(adapter);
        auto* channel = new Channel(adapter);
        channel->addr.channelID = 1;
        adapter->addChild(channel);
        auto* drive = new HardDrive(adapter, channel);
        drive->addr.deviceID = 5;
        setText(drive->vendor, "KOVA-PQ");
        channel->addChild(drive);
        auto* enclosure = new Enclosure(adapter, channel);
        enclosure->addr.deviceID = 6;
        enclosure->setSafteData(std::make_unique<SafteConfig>(), std::make_unique<SafteStatus>());
        channel->addChild(enclosure);
    });
    leaveSnapshot();
    {
        VantUnderTest monitor(room.lib());
        monitor.poll(0, monitor.queue());
        EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
    }
    number = 5;
    VantUnderTest monitor(room.lib());
    monitor.poll(0, monitor.queue());
    EXPECT_EQ((Codes{501}), MonitorRoom::codes(monitor));
}

// --- the first poll ---

TEST_F(PollTest, TheStoredTasksAreNoAdapterAndTheLogSaysSoOnce) {
    room.machine.addController(3);
    leaveSnapshot();
    VantUnderTest monitor(room.lib());
    monitor.poll(0, monitor.queue());
    EXPECT_EQ(1, room.countInLog(kNotAnAdapter));
    EXPECT_EQ(kNotAnAdapter, room.debugLog());  // and a healthy start says nothing else
}

TEST_F(PollTest, GivenNoSnapshotFileThenTheLogIsSilent) {
    room.machine.addController(3);
    VantUnderTest monitor(room.lib());
    monitor.poll(0, monitor.queue());
    EXPECT_EQ("", room.debugLog());
}

TEST_F(PollTest, TheFirstPollTracesItsSteps) {
    room.debugEverything();
    room.machine.addController(3);
    VantUnderTest monitor(room.lib());
    const std::string before = room.debugLog();
    monitor.poll(0, monitor.queue());
    const std::string log = room.debugLog().substr(before.size());
    EXPECT_EQ(0u, log.find("Entering poll(type=0)\n\tin CHECK_CONFIG\n\told Adaptersize=1\n\n"));
    const char* ending = "Dumping the new system config...\nCleaning up after CHECK_CONFIG.\n";
    EXPECT_EQ(log.size() - std::strlen(ending), log.find(ending));
}

TEST_F(PollTest, TheFirstPollWritesTheSnapshotAndForgetsTheStoredTree) {
    room.machine.addController(3).drives = {{1, 2, kDriveMember}};
    VantUnderTest monitor(room.lib());
    EXPECT_NE(nullptr, monitor.builder().getSystem());
    monitor.poll(0, monitor.queue());
    EXPECT_EQ(nullptr, monitor.builder().getSystem());
    EXPECT_NE(std::string::npos, room.dir.read(kSnapshot).find("LDPath=\"/c0/b1/d2\""));
    EXPECT_EQ(monitor.systemNew.get(), monitor.systemOld.get());
    monitor.poll(0, monitor.queue());
    EXPECT_EQ(1, room.countInLog(kStoredNull));
}

TEST_F(PollTest, GivenARestartAcrossAChangeThenTheChangeIsReported) {
    Machine::Controller& c = room.machine.addController(3);
    c.drives = {{0, 1, kDriveMember}, {0, 2, kDriveMember}};
    c.arrays = {{0, kLogicalOptimal}};
    {
        auto monitor = settled();
        EXPECT_EQ((Codes{}), pollLater(*monitor));
    }
    c.drives[1].state = kDriveFailed;
    c.arrays[0].state = kLogicalDegraded;
    {
        VantUnderTest monitor(room.lib());
        monitor.poll(0, monitor.queue());
        EXPECT_EQ((Codes{401, 499, 399, 301}), MonitorRoom::codes(monitor));
    }
    VantUnderTest monitor(room.lib());
    monitor.poll(0, monitor.queue());
    EXPECT_EQ((Codes{}), MonitorRoom::codes(monitor));
}

// --- refreshing ---

TEST_F(PollTest, GivenNoNewsWithinAMinuteThenNothingIsReadOrCompared) {
    room.machine.addController(3).drives = {{0, 1, kDriveReady}};
    auto monitor = settled();
    (void)pollLater(*monitor);
    const int fills = room.source().fillCount();
    room.machine.controllers[0].drives[0].state = kDriveFailed;
    struct stat before {};
    stat(room.dir.file(kSnapshot).c_str(), &before);
    room.clock.advance(59);
    EXPECT_EQ((Codes{}), pollNow(*monitor));
    EXPECT_EQ(fills, room.source().fillCount());
    struct stat after {};
    stat(room.dir.file(kSnapshot).c_str(), &after);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    room.clock.advance(1);
    EXPECT_EQ((Codes{401, 499}), pollNow(*monitor));
}

TEST_F(PollTest, GivenAControllerEventThenTheSamePollRefreshesAndCompares) {
    room.machine.addController(3).drives = {{0, 1, kDriveReady}};
    auto monitor = settled();
    (void)pollLater(*monitor);
    room.machine.controllers[0].drives[0].state = kDriveFailed;
    room.source().appendEvent(0, kChanged);
    EXPECT_EQ((Codes{401, 499}), pollNow(*monitor));
    EXPECT_EQ((Codes{}), pollNow(*monitor));
}

// At which elapsed seconds a loop that polls every `step` seconds from `first` on refreshes.
std::vector<std::int64_t> refreshTimes(MonitorRoom& room, VantUnderTest& monitor,
                                       std::int64_t first, std::int64_t step, int polls) {
    std::vector<std::int64_t> times;
    const std::int64_t began = room.clock.now() - first;
    for (int i = 0; i < polls; ++i) {
        const int fills = room.source().fillCount();
        monitor.poll(1, monitor.queue());
        if (room.source().fillCount() != fills) times.push_back(room.clock.now() - began);
        room.clock.advance(step);
    }
    return times;
}

TEST_F(PollTest, GivenAFastLibraryThenTheFirstRunRefreshesAtOnceAndEachMinute) {
    room.machine.addController(3);
    auto monitor = settled();  // the clock stands at 1: construction slept a second
    EXPECT_EQ((std::vector<std::int64_t>{1, 61, 121}), refreshTimes(room, *monitor, 1, 5, 26));
}

TEST_F(PollTest, GivenASlowFirstReadingThenTheFirstRefreshWaitsAMinute) {
    room.machine.addController(3);
    bool first = true;
    room.source().setBuilder([&, build = room.machine.builder()](System& system) {
        if (first) room.clock.advance(3);
        first = false;
        build(system);
    });
    auto monitor = settled();
    EXPECT_EQ((std::vector<std::int64_t>{64, 124}), refreshTimes(room, *monitor, 4, 5, 26));
}

TEST_F(PollTest, GivenARestartThenTheFirstTwoPollsRefresh) {
    room.machine.addController(3);
    auto monitor = settled();
    (void)pollLater(*monitor);
    room.clock.advance(1000);
    std::vector<std::int64_t> times;
    std::int64_t began = room.clock.now();
    int fills = room.source().fillCount();
    int seconds = 0;
    room.source().setBuilder([&, build = room.machine.builder()](System& system) {
        times.push_back(room.clock.now() - began);
        build(system);
    });
    monitor->stop();
    room.clock.onSleep([&](unsigned) {
        if (++seconds == 70) monitor->stop();
    });
    monitor->start();
    EXPECT_EQ((std::vector<std::int64_t>{0, 5, 65}), times);
    EXPECT_EQ(fills + 3, room.source().fillCount());
}

TEST_F(PollTest, GivenAFailingRefreshThenTheNextAttemptIsAMinuteLaterAndNothingIsLost) {
    room.machine.addController(3).drives = {{0, 1, kDriveReady}};
    auto monitor = settled();
    (void)pollNow(*monitor);
    room.machine.controllers[0].drives[0].state = kDriveFailed;
    room.source().failFill(true);
    room.clock.advance(60);
    EXPECT_EQ((Codes{}), pollNow(*monitor));
    EXPECT_EQ(1, room.countInLog("ERROR: error refreshing the system\n"));
    room.source().failFill(false);
    room.clock.advance(59);
    EXPECT_EQ((Codes{}), pollNow(*monitor));
    room.clock.advance(1);
    EXPECT_EQ((Codes{401, 499}), pollNow(*monitor));
}

TEST_F(PollTest, GivenAFailingRefreshThenTheRecordsOfThatPollAreNotToldLater) {
    room.machine.addController(3).drives = {{0, 1, kDriveReady}};
    auto monitor = settled();
    (void)pollLater(*monitor);
    room.source().appendEvent(0, {7, 0, 0, 0x81, "/c0/b0/d1", ""});
    room.source().failFill(true);
    EXPECT_EQ((Codes{}), pollNow(*monitor));
    room.source().failFill(false);
    EXPECT_EQ((Codes{}), pollLater(*monitor));
}

TEST_F(PollTest, GivenALogThatCannotBeReadThenTheLastPollsRecordsAreNotToldAgain) {
    room.machine.addController(3).drives = {{0, 1, kDriveReady}};
    auto monitor = settled();
    (void)pollLater(*monitor);
    room.source().appendEvent(0, {7, 0, 0, 0x81, "/c0/b0/d1", ""});
    EXPECT_EQ((Codes{418}), pollNow(*monitor));
    const int fills = room.source().fillCount();
    room.source().failEvents(0, true);
    EXPECT_EQ((Codes{}), pollNow(*monitor));
    EXPECT_EQ(fills, room.source().fillCount());
    EXPECT_EQ(1, room.countInLog("ERROR: getEvents failed\n"));
}

TEST_F(PollTest, GivenALogThatCouldNotBeReadThenItIsReadFromTheSamePlaceAgain) {
    room.machine.addController(3).drives = {{0, 1, kDriveReady}};
    auto monitor = settled();
    (void)pollLater(*monitor);
    room.source().failEvents(0, true);
    room.source().appendEvent(0, {7, 0, 0, 0x81, "/c0/b0/d1", ""});
    EXPECT_EQ((Codes{}), pollNow(*monitor));
    room.source().failEvents(0, false);
    EXPECT_EQ((Codes{418}), pollNow(*monitor));
    EXPECT_EQ(1, room.source().lastFirstSequence());
}

TEST_F(PollTest, AfterTheFirstPollALogIsReadFromWhereConstructionLeftIt) {
    room.machine.addController(3);
    for (int i = 0; i < 5; ++i) room.source().appendEvent(0, kChanged);
    leaveSnapshot();
    auto monitor = settled();
    (void)pollNow(*monitor);
    EXPECT_EQ(6, room.source().lastFirstSequence());
}

TEST_F(PollTest, GivenTheLastSequenceNumberOfAllThenCountingOnWrapsWithoutATrap) {
    room.machine.addController(3);
    auto monitor = settled();
    monitor->oldAdapters[0].lastSequence = 0x7fffffff;
    (void)pollNow(*monitor);
    EXPECT_EQ(-2147483647L - 1, room.source().lastFirstSequence());
}

// --- order ---

TEST_F(PollTest, PartsAreComparedInTheirOrder) {
    room.debugEverything();
    Machine::Controller& c = room.machine.addController(3);
    c.drives = {{0, 1, kDriveReady}};
    c.arrays = {{0, kLogicalOptimal}};
    auto monitor = settled();
    const std::string before = room.debugLog();
    (void)pollNow(*monitor);
    const std::string log = room.debugLog().substr(before.size());
    const char* const steps[] = {
        "Entering poll(type=1)\n",
        "\tin COMPARE_CONFIG\n",
        "\tsize of old adapter list--1\n",
        "\tcalling getEvents for for oldAdapter =0\n",
        "Entering checkProgress(AdapterID=0)\n",
        "Entering isTimeToRefreshConfig\n",
        "Entering refreshConfig\n",
        "Entering initialize()\n",
        "VantRaidMonitor::Dumping the new system config...\n",
        "Entering findOldAdapter \n",
        "   Entering compareAdapter(&ecIN, ADPT:  vs )\n",
        "   Entering comparePhysicalDrives(&ecIN, ADPT: 0)\n",
        "   Entering compareLogicalDrives(&ecIN, ADPT: 0)\n",
        "\tEnteringVantRaidMonitor::compareRelativeChangesLD,newLogicalDrive(A=0,LD=0),"
        "oldLogicalDrive(A=0,LD0)\n",
        "Entering compareProgress(AdapterID=0)\n",
        "   Entering compareSafte(&ecIN, ADPT: 0)\n",
        "Entering checkTranslateEvents(Adapter=0)\n",
    };
    std::string::size_type at = 0;
    for (const char* step : steps) {
        const std::string::size_type found = log.find(step, at);
        ASSERT_NE(std::string::npos, found) << step;
        at = found;
    }
    EXPECT_EQ(0, room.countInLog("Entering compareRelativeChanges for"));
    EXPECT_EQ(0, room.countInLog("compareRelativeChangesHD"));
}

void expectInOrder(const std::string& log, const std::vector<std::string>& steps) {
    std::string::size_type at = 0;
    for (const std::string& step : steps) {
        const std::string::size_type found = log.find(step, at);
        ASSERT_NE(std::string::npos, found) << step;
        at = found + step.size();
    }
}

const std::vector<std::string> kExamination = {
    "   Entering checkAdapter(&ecIN, ADPT: 0)\n",
    "   Entering checkPhysicalDrives(&ecIN, ADPT: 0)\n",
    "   Entering checkLogicalDrives(&ecIN, ADPT: 0)\n",
    "Entering checkProgress(AdapterID=0)\n",
    "   Entering checkSafte(&ecIN, ADPT: 0)\n",
};

TEST_F(PollTest, TheFirstPollExaminesANewControllerPartByPart) {
    room.debugEverything();
    room.machine.addController(3);
    VantUnderTest monitor(room.lib());
    const std::string before = room.debugLog();
    monitor.poll(0, monitor.queue());
    const std::string log = room.debugLog().substr(before.size());
    expectInOrder(log, {"   Entering compareAdapter(&ecIN, ADPT:  vs NULL)\n"});
    expectInOrder(log, kExamination);
    EXPECT_EQ(std::string::npos, log.find("Entering comparePhysicalDrives"));
}

TEST_F(PollTest, ALaterPollExaminesANewControllerPartByPart) {
    room.debugEverything();
    auto monitor = settled();
    room.machine.addController(3);
    const std::string before = room.debugLog();
    (void)pollLater(*monitor);
    const std::string log = room.debugLog().substr(before.size());
    expectInOrder(log, {"\tnewAdapter status is REPLACED_ADAPTER or  NEW_ADAPTER\n"});
    expectInOrder(log, kExamination);
    EXPECT_EQ(std::string::npos, log.find("Entering comparePhysicalDrives"));
    EXPECT_EQ(std::string::npos, log.find("Entering compareProgress"));
    EXPECT_EQ(std::string::npos, log.find("Entering checkTranslateEvents"));
}

TEST_F(PollTest, TheFirstPollComparesAKnownControllerPartByPart) {
    room.debugEverything();
    room.machine.addController(3);
    leaveSnapshot();
    VantUnderTest monitor(room.lib());
    const std::string before = room.debugLog();
    monitor.poll(0, monitor.queue());
    const std::string log = room.debugLog().substr(before.size());
    expectInOrder(
        log, {kNotAnAdapter, "   Entering compareAdapter(&ecIN, ADPT:  vs )\n",
              "   Entering comparePhysicalDrives(&ecIN, ADPT: 0)\n",
              "   Entering compareLogicalDrives(&ecIN, ADPT: 0)\n",
              "Entering checkProgress(AdapterID=0)\n", "   Entering compareSafte(&ecIN, ADPT: 0)\n",
              "Dumping the new system config...\n"});
    EXPECT_EQ(std::string::npos, log.find("Entering compareProgress"));
    EXPECT_EQ(std::string::npos, log.find("Entering checkTranslateEvents"));
}

// A due check leaves the absolute time behind; kept, it would look like a refresh of years to come.
TEST_F(PollTest, GivenAReadingThatThrowsThenTheNextRefreshIsAMinuteLater) {
    room.machine.addController(3).drives = {{0, 1, kDriveReady}};
    bool broken = false;
    room.source().setBuilder([&, build = room.machine.builder()](System& system) {
        if (broken) throw std::runtime_error("broken");
        build(system);
    });
    auto monitor = settled();
    (void)pollLater(*monitor);
    broken = true;
    room.clock.advance(60);
    EXPECT_THROW(monitor->poll(1, monitor->queue()), std::runtime_error);
    broken = false;
    room.machine.controllers[0].drives[0].state = kDriveFailed;
    room.clock.advance(59);
    EXPECT_EQ((Codes{}), pollNow(*monitor));
    room.clock.advance(1);
    EXPECT_EQ((Codes{401, 499}), pollNow(*monitor));
}

TEST_F(PollTest, TheSnapshotIsWrittenBeforeTheComparison) {
    Machine::Controller& c = room.machine.addController(3);
    c.drives = {{0, 1, kDriveNotPresent}};
    auto monitor = settled();
    (void)pollNow(*monitor);
    c.drives[0].state = kDriveReady;
    c.drives[0].vendor = " ";  // a vendor of blanks ends the comparison
    room.clock.advance(60);
    EXPECT_THROW(monitor->poll(1, monitor->queue()), std::out_of_range);
    EXPECT_NE(std::string::npos, room.dir.read(kSnapshot).find("state=\"0\""));
}

TEST_F(PollTest, GivenAPollThatAnExceptionEndedThenTheNextFirstPollReportsNoFalseRemoval) {
    Machine::Controller& c = room.machine.addController(3);
    c.drives = {{0, 1, kDriveReady, " "}};
    c.drives[0].state = kDriveNotPresent;
    room.machine.addController(4);
    leaveSnapshot();
    c.drives[0].state = kDriveReady;
    VantUnderTest monitor(room.lib());
    EXPECT_THROW(monitor.poll(0, monitor.queue()), std::out_of_range);
    EXPECT_EQ(2u, monitor.storedAdapters.size());
    c.drives[0].vendor = "KOVA-PQ";
    ASSERT_TRUE(monitor.initialize(true));
    (void)monitor.getEvents(0);
    monitor.poll(0, monitor.queue());
    EXPECT_EQ((Codes{407}), MonitorRoom::codes(monitor));
}

// --- tasks across polls ---

TEST_F(PollTest, GivenTwoControllersWithTasksThenEachIsComparedWithItsOwnPast) {
    room.machine.addController(3).arrays = {{0, kLogicalRebuilding}};
    room.machine.addController(4).arrays = {{0, kLogicalRebuilding}};
    const Addr first = Addr::ofLogicalDrive(0, 0);
    const Addr second = Addr::ofLogicalDrive(1, 0);
    room.source().setTasks(first, {Progress(kTaskRebuild, 40, kTaskRunning, first)});
    room.source().setTasks(second, {Progress(kTaskRebuild, 40, kTaskRunning, second)});
    auto monitor = settled();
    (void)pollNow(*monitor);
    room.source().setTasks(first, {Progress(kTaskRebuild, 55, kTaskRunning, first)});
    room.source().setTasks(second, {Progress(kTaskRebuild, 55, kTaskRunning, second)});
    EXPECT_EQ((Codes{372, 372}), pollNow(*monitor));
    EXPECT_EQ((Codes{}), pollNow(*monitor));
}

TEST_F(PollTest, GivenATaskAtTheFirstPollThenTheSnapshotHoldsIt) {
    room.machine.addController(3).arrays = {{0, kLogicalRebuilding}};
    const Addr place = Addr::ofLogicalDrive(0, 0);
    room.source().setTasks(place, {Progress(kTaskRebuild, 7, kTaskRunning, place)});
    VantUnderTest monitor(room.lib());
    monitor.poll(0, monitor.queue());
    EXPECT_NE(std::string::npos, room.dir.read(kSnapshot).find("percentageComplete=\"7\""));
}

TEST_F(PollTest, GivenAFirstPollAgainThenTasksOfControllersThatAreGoneAreForgotten) {
    room.machine.addController(3).arrays = {{0, kLogicalRebuilding}};
    const Addr place = Addr::ofLogicalDrive(0, 0);
    room.source().setTasks(place, {Progress(kTaskRebuild, 7, kTaskRunning, place)});
    auto monitor = settled();
    ASSERT_EQ(1u, monitor->ldProgressNew.size());
    room.machine.controllers.clear();
    ASSERT_TRUE(monitor->initialize(true));
    monitor->poll(0, monitor->queue());
    EXPECT_TRUE(monitor->ldProgressNew.empty());
    EXPECT_EQ(std::string::npos, room.dir.read(kSnapshot).find("<Progress "));
}

TEST_F(PollTest, GivenATaskThatBeginsAfterTheFirstPollThenTheNextSnapshotHoldsIt) {
    room.machine.addController(3).arrays = {{0, kLogicalOptimal}};
    auto monitor = settled();
    const Addr place = Addr::ofLogicalDrive(0, 0);
    room.source().setTasks(place, {Progress(kTaskRebuild, 7, kTaskRunning, place)});
    (void)pollLater(*monitor);
    const std::string file = room.dir.read(kSnapshot);
    EXPECT_NE(std::string::npos, file.find("<Progress "));
    EXPECT_NE(std::string::npos, file.find("percentageComplete=\"7\""));
}

TEST_F(PollTest, GivenAControllerRemovedWhileItRebuildsThenItsTaskIsForgotten) {
    room.machine.addController(3).arrays = {{0, kLogicalRebuilding}};
    room.machine.addController(4);
    const Addr place = Addr::ofLogicalDrive(0, 0);
    room.source().setTasks(place, {Progress(kTaskRebuild, 7, kTaskRunning, place)});
    auto monitor = settled();
    (void)pollLater(*monitor);
    room.machine.controllers.pop_front();
    room.machine.controllers[0].number = 1;
    (void)pollLater(*monitor);
    (void)pollLater(*monitor);
    EXPECT_EQ(std::string::npos, room.dir.read(kSnapshot).find("<Progress "));
    EXPECT_TRUE(monitor->ldProgressNew.empty());
    EXPECT_TRUE(monitor->ldProgressOld.empty());
}

// --- reminders across controllers and runs ---

TEST_F(PollTest, GivenTwoControllersThenTheFirstThatAsksUsesUpTheReminder) {
    room.machine.addController(3).arrays = {{0, kLogicalOptimal}};
    room.machine.addController(4).arrays = {{0, kLogicalDegraded}};
    auto monitor = settled();
    (void)pollNow(*monitor);
    room.clock.advance(28800);
    EXPECT_EQ((Codes{}), pollNow(*monitor));
}

TEST_F(PollTest, GivenBadStripesThenTheFirstReportComesWhenTheIntervalHasPassed) {
    room.machine.addController(3).arrays = {{0, kLogicalOptimal, 5}};
    leaveSnapshot();
    auto monitor = settled();
    const std::int64_t began = room.clock.now() - 1;
    (void)pollNow(*monitor);
    room.clock.moveTo(began + 28800);
    EXPECT_EQ((Codes{}), pollNow(*monitor));
    room.clock.moveTo(began + 28801);  // construction asked the timer in second 1
    monitor->forceRefresh = true;
    EXPECT_EQ((Codes{215}), pollNow(*monitor));
}

TEST_F(PollTest, ReportTimesSurviveAStopSoTheNextReminderOfANewRunComesLate) {
    room.machine.addController(3).arrays = {{0, kLogicalOptimal, 5}};
    auto monitor = settled();
    monitor->lastBadStripeReport = 40000;
    monitor->stop();
    std::int64_t began = 0;
    room.clock.onSleep([&](unsigned) { monitor->stop(); });
    began = room.clock.now();
    monitor->start();  // a new run begins at `began`
    room.clock.onSleep(nullptr);
    (void)monitor->getEvents(0);
    room.clock.moveTo(began + 68799);
    EXPECT_FALSE(monitor->isTimeToReportBadStripe());
    room.clock.moveTo(began + 68800);
    EXPECT_TRUE(monitor->isTimeToReportBadStripe());
}

// --- pairing, asked directly ---

TEST_F(PollTest, FindingAnOldAdapterMarksTheFirstOfItsIdentity) {
    room.machine.addController(3);
    VantUnderTest monitor(room.lib());
    monitor.oldAdapters[0].lastSequence = 9;
    VantEvent event;
    event.sequence = 9;
    monitor.oldAdapters[0].events = {event};
    monitor.oldAdapters.push_back(monitor.oldAdapters[0]);
    VantAdapter wanted;
    wanted.pciBus = 3;
    int sequence = 0;
    std::vector<VantEvent> events;
    EXPECT_EQ(monitor.oldAdapters[0].adapter, monitor.findOldAdapter(&wanted, sequence, events));
    EXPECT_EQ(9, sequence);
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ(1, monitor.oldAdapters[0].status);
    EXPECT_EQ(0, monitor.oldAdapters[1].status);
}

TEST_F(PollTest, GivenADifferenceInOneIdentityFieldThenThereIsNoPair) {
    room.machine.addController(3);
    VantUnderTest monitor(room.lib());
    int sequence = 7;
    std::vector<VantEvent> events;
    for (int field = 0; field < 3; ++field) {
        VantAdapter other;
        other.pciBus = field == 0 ? 4 : 3;
        other.pciDevice = field == 1 ? 1 : 0;
        other.pciFunction = field == 2 ? 1 : 0;
        EXPECT_EQ(nullptr, monitor.findOldAdapter(&other, sequence, events));
    }
    EXPECT_EQ(7, sequence);
    EXPECT_EQ(0, monitor.oldAdapters[0].status);
}

TEST_F(PollTest, GivenNullThenFindingSaysSo) {
    VantUnderTest monitor(room.lib());
    int sequence = 0;
    std::vector<VantEvent> events;
    EXPECT_EQ(nullptr, monitor.findOldAdapter(nullptr, sequence, events));
    EXPECT_EQ(nullptr, monitor.findStoredAdapter(nullptr, sequence, events));
    EXPECT_EQ(
        "ERROR: VantRaidMonitor::newAdapterIN is NULL\n"
        "ERROR: VantRaidMonitor::findStoredAdapter newAdapterIN is NULL!!!\n",
        room.debugLog());
}

// --- the family's share in the comparisons ---

TEST_F(PollTest, RelativeChangesRejectNullWithALineOfTheirOwn) {
    VantUnderTest monitor(room.lib());
    setDebugMask(0xffffff);  // and with no other: the objects to trace are missing
    VantAdapter adapter;
    LogicalDrive drive(&adapter);
    HardDrive disk(&adapter, nullptr);
    monitor.compareRelativeChanges(&adapter, static_cast<VantAdapter*>(nullptr));
    monitor.compareRelativeChanges(&drive, static_cast<LogicalDrive*>(nullptr));
    monitor.compareRelativeChanges(static_cast<HardDrive*>(nullptr), &disk);
    // None of them ends its line: the next message follows with its own bracket.
    const std::string log = room.dir.read("qavelogs/QELVANTDebug.log");
    EXPECT_EQ(std::string::npos, log.find('\n'));
    EXPECT_NE(std::string::npos,
              log.find("]  ERROR: VantRaidMonitor::compareRelativeChanges AdapterIN NULL!!![Sun"));
    EXPECT_NE(std::string::npos,
              log.find("]  ERROR: VantRaidMonitor::compareRelativeChanges::LogicalDriveIN "
                       "NULL!!![Sun"));
    EXPECT_NE(std::string::npos,
              log.find("]  ERROR: VantRaidMonitor::compareRelativeChanges hardDrvIN NULL!!!"));
    EXPECT_EQ(std::string::npos, log.find("Entering"));
}

TEST_F(PollTest, RelativeChangesOfDrivesWithoutAdapterSaySo) {
    VantUnderTest monitor(room.lib());
    VantAdapter adapter;
    LogicalDrive with(&adapter);
    LogicalDrive without(nullptr);
    setDebugMask(0xffffff);
    with.addr.controllerID = 1;
    with.addr.logicalDriveID = 2;
    without.addr.controllerID = 3;
    without.addr.logicalDriveID = 4;
    monitor.compareRelativeChanges(&without, &with);
    monitor.compareRelativeChanges(&with, &without);
    const std::string log = room.dir.read("qavelogs/QELVANTDebug.log");
    constexpr std::size_t kPrefix = 28;
    const std::string first =
        "\tEnteringVantRaidMonitor::compareRelativeChangesLD,newLogicalDrive(A=3,LD=4),"
        "oldLogicalDrive(A=1,LD2)\n";
    const std::string second =
        "ERROR: VantRaidMonitor::compareRelativeChanges::newLogicalDriveIN->getAdapter() is "
        "NULL!!!";
    const std::string third =
        "\tEnteringVantRaidMonitor::compareRelativeChangesLD,newLogicalDrive(A=1,LD=2),"
        "oldLogicalDrive(A=3,LD4)\n";
    const std::string fourth =
        "ERROR: VantRaidMonitor::compareRelativeChanges::oldLogicalDriveIN->getAdapter() is "
        "NULL!!!";
    std::size_t at = 0;
    for (const std::string& message : {first, second, third, fourth}) {
        EXPECT_EQ(message, log.substr(std::min(at + kPrefix, log.size()), message.size()));
        at += kPrefix + message.size();
    }
    EXPECT_EQ(at, log.size());
}

TEST_F(PollTest, RelativeChangesTraceWhatTheyLookAt) {
    room.debugEverything();
    VantUnderTest monitor(room.lib());
    const std::string before = room.debugLog();
    VantAdapter adapter;
    adapter.addr.controllerID = 2;
    Channel channel(&adapter);
    channel.addr.channelID = 4;
    HardDrive disk(&adapter, &channel);
    disk.addr.deviceID = 6;
    HardDrive lost(&adapter, nullptr);
    lost.addr.deviceID = 7;
    monitor.compareRelativeChanges(&adapter, &adapter);
    monitor.compareRelativeChanges(&disk, &lost);
    EXPECT_EQ(
        "Entering compareRelativeChanges for newAdapterID=2 and newAdapterID=2\n"
        "\tEntering VantRaidMonitor::compareRelativeChangesHD(hardDriveNew(C=4,D=6),"
        "hardDriveOld(C=2147483647,D=7)\n",
        room.debugLog().substr(before.size()));
}

TEST_F(PollTest, FindingADriveIsTheBasesBusiness) {
    room.machine.addController(3).drives = {{1, 2, kDriveReady}};
    VantUnderTest monitor(room.lib());
    VantAdapter* adapter = monitor.newAdapters[0].adapter;
    std::vector<RaidObject*> drives;
    adapter->getChildren(drives, "HardDrive", true, true);
    ASSERT_EQ(1u, drives.size());
    EXPECT_EQ(drives[0], monitor.findPD(static_cast<HardDrive*>(drives[0]), adapter));
    EXPECT_EQ(nullptr, monitor.findPD(nullptr, adapter));
}

}  // namespace
