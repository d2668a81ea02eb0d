// The engine's folder read-only, gone or full while it runs: monitoring goes on, and the stored
// snapshot is the old one, the new one, or one that the next start calls damaged.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "tests/support/LockFiles.h"
#include "tests/support/MonitorRoom.h"
#include "tests/support/MountRoom.h"

namespace {

using Codes = std::vector<int>;

constexpr char kSnapshot[] = "QELVANTConfig.xml";
constexpr char kDamaged[] =
    "ERROR: VantRaidMonitor::initialize() the stored system config ends early; what it lacks "
    "counts as new\n";
const Codes kFailed{401, 499};
const Codes kReplaced{403};

// A monitor in its room, on a disk of its own if asked for, with one drive that can fail.
class Watch {
public:
    explicit Watch(int diskKilobytes = 0) {
        if (diskKilobytes != 0) {
            disk = std::make_unique<SmallDisk>(room.dir.folder(), diskKilobytes);
            room.dir.write("RaidNLS.properties", "agentEventErrDefunctDrive=it failed\n");
            room.dir.write("QELConfig.conf", "qel.debugMask=2\n");
        }
        room.machine.addController(3).drives = {{0, 1, kDriveReady}};
        start();
    }

    void start() {
        monitor.reset();
        // The logs apart, so that no open file keeps the folder writable.
        monitor = std::make_unique<VantUnderTest>(room.lib(), logs.folder());
        monitor->poll(0, monitor->queue());
    }

    Codes pollWith(int state) {
        room.machine.controllers[0].drives[0].state = state;
        room.clock.advance(120);
        monitor->poll(1, monitor->queue());
        monitor->readConfig();  // as the loop does after each poll
        return MonitorRoom::codes(*monitor);
    }

    void grow(int drives) {
        for (int i = 0; i < drives; ++i) {
            room.machine.controllers[0].drives.push_back(
                {0, static_cast<unsigned>(i) + 2, kDriveReady});
        }
    }

    std::string snapshot() const { return room.dir.read(kSnapshot); }

    LockFiles locks;
    MonitorRoom room;
    TempDir logs;
    std::unique_ptr<SmallDisk> disk;
    std::unique_ptr<VantUnderTest> monitor;
};

TEST(FolderFault, GivenAFolderThatBecomesReadOnlyThenPollsGoOnAndTheOldSnapshotSurvives) {
    inMountRoom([] {
        Watch watch(256);
        (void)watch.monitor->getEvents(0);
        const std::string old = watch.snapshot();
        watch.disk->setReadOnly(true);
        EXPECT_EQ(kFailed, watch.pollWith(kDriveFailed));
        EXPECT_EQ(old, watch.snapshot());
        EXPECT_EQ(kReplaced, watch.pollWith(kDriveReady));
        EXPECT_EQ(kFailed, watch.pollWith(kDriveFailed));
        EXPECT_EQ(old, watch.snapshot());

        // What was told meanwhile is told again by the next start: its snapshot is the old one.
        watch.start();
        EXPECT_EQ(kFailed, MonitorRoom::codes(*watch.monitor));
        watch.disk->setReadOnly(false);
        EXPECT_EQ((Codes{}), watch.pollWith(kDriveFailed));
        EXPECT_NE(old, watch.snapshot());
        watch.start();
        EXPECT_EQ((Codes{}), MonitorRoom::codes(*watch.monitor));
        EXPECT_EQ(std::string::npos, watch.logs.read("QELVANTDebug.log").find(kDamaged));
    });
}

TEST(FolderFault, GivenAFolderThatIsReadOnlyFromTheStartThenTheMonitorWatchesWithoutFiles) {
    inMountRoom([] {
        Watch watch(256);
        std::filesystem::remove_all(watch.room.dir.file(kSnapshot));
        watch.disk->setReadOnly(true);
        watch.monitor.reset();
        watch.monitor = std::make_unique<VantUnderTest>(watch.room.lib());  // nor logs
        EXPECT_EQ(-1, watch.monitor->logDirStatus);
        watch.monitor->poll(0, watch.monitor->queue());
        (void)watch.monitor->getEvents(0);
        EXPECT_EQ(kFailed, watch.pollWith(kDriveFailed));
        EXPECT_FALSE(watch.room.dir.exists(kSnapshot));
        EXPECT_FALSE(watch.room.dir.exists("qavelogs"));
    });
}

// The queue's lock file is made in the root folder; without it the queue is one of its process.
TEST(FolderFault, GivenAReadOnlyRootThenTheMonitorWatchesAndItsQueueKeepsItsBound) {
    inMountRoom([] {
        MonitorRoom room;
        const SmallDisk disk(room.dir.folder(), 256);
        room.machine.addController(3).drives = {{0, 1, kDriveReady}};
        const std::string said = room.dir.file("stderr");
        ASSERT_NE(nullptr, std::freopen(said.c_str(), "w", stderr));  // of this process only
        ASSERT_EQ(0, mount("none", "/", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr));
        const LockFiles locks;
        VantUnderTest monitor(room.lib());
        std::fflush(stderr);
        EXPECT_EQ(
            "File open failed:: Read-only file system\n"
            "key for lock unavailable:: No such file or directory\n",
            room.dir.read("stderr"));
        EXPECT_TRUE(locks.left().empty());
        monitor.poll(0, monitor.queue());
        (void)monitor.getEvents(0);
        room.machine.controllers[0].drives[0].state = kDriveFailed;
        room.clock.advance(120);
        monitor.poll(1, monitor.queue());
        EXPECT_EQ(kFailed, MonitorRoom::codes(monitor));
        EXPECT_NE(std::string::npos, room.dir.read(kSnapshot).find("</System>"));
        for (int i = 0; i < 500; ++i) monitor.queue().addEvent(QELEvent(1, 3, "one", ""));
        EXPECT_LE(monitor.getNumberOfEvents(), 200);
        EXPECT_EQ(QELEventCollection::kOverloadCode, monitor.getEvents(0)[0].eventCode);
    });
}

TEST(FolderFault, GivenAFolderThatIsDeletedThenPollsGoOnAndItIsFilledAgainWhenItIsBack) {
    Watch watch;
    (void)watch.monitor->getEvents(0);
    const std::string folder = watch.room.dir.folder();
    std::filesystem::remove_all(folder);
    watch.room.machine.controllers[0].drives[0].state = kDriveFailed;
    watch.room.clock.advance(120);
    watch.monitor->poll(1, watch.monitor->queue());
    watch.monitor->readConfig();
    std::vector<QELEvent> events = watch.monitor->getEvents(0);
    ASSERT_EQ(2U, events.size());
    EXPECT_EQ(0U, events[0].text.find("agentEventErrDefunctDrive("));  // of the open catalogue
    EXPECT_FALSE(std::filesystem::exists(folder));
    std::filesystem::create_directory(folder);
    EXPECT_EQ(kReplaced, watch.pollWith(kDriveReady));
    EXPECT_TRUE(watch.room.dir.exists(kSnapshot));
    EXPECT_TRUE(watch.room.dir.exists("QELConfig.conf"));
    watch.start();
    EXPECT_EQ((Codes{}), MonitorRoom::codes(*watch.monitor));
}

// The disk takes only the beginning of the new snapshot.
TEST(FolderFault, GivenADiskThatFillsUpThenTheShortSnapshotIsToldByTheNextStart) {
    inMountRoom([] {
        for (const int left : {0, 4, 8, 12}) {
            SCOPED_TRACE(left);
            Watch watch(256);
            const std::string old = watch.snapshot();
            watch.grow(60);
            watch.disk->fillUp(left);
            (void)watch.monitor->getEvents(0);
            const Codes told = watch.pollWith(kDriveFailed);
            EXPECT_EQ(2U + 2U * 60U, told.size());
            const std::string cut = watch.snapshot();

            watch.disk->makeRoom();
            EXPECT_EQ((Codes{}), watch.pollWith(kDriveFailed)) << "told once";
            const std::string whole = watch.snapshot();
            ASSERT_LT(cut.size(), whole.size());
            EXPECT_EQ(whole.substr(0, cut.size()), cut);
            EXPECT_LT(old.size(), whole.size());

            watch.room.dir.write(kSnapshot, cut);  // as a crash in between leaves it
            watch.start();
            const std::string log = watch.logs.read("QELVANTDebug.log");
            EXPECT_NE(std::string::npos, log.find(kDamaged));
            EXPECT_EQ(whole, watch.snapshot());
        }
    });
}

TEST(FolderFault, GivenAFullDiskUnderTheLogsThenLinesAreLostAndLaterOnesAreWhole) {
    inMountRoom([] {
        MonitorRoom room;
        LockFiles locks;
        TempDir logs;
        const SmallDisk disk(logs.folder(), 64);
        room.machine.addController(3).drives = {{0, 1, kDriveReady}};
        room.dir.write("QELConfig.conf", "qel.debugMask=1\n");  // errors, and each event
        auto monitor = std::make_unique<VantUnderTest>(room.lib(), logs.folder());
        monitor->poll(0, monitor->queue());
        (void)monitor->getEvents(0);
        disk.fillUp(0);
        for (int i = 0; i < 100; ++i) {
            monitor->logDebugMsg("in the dark %d\n", i);
            monitor->queue().addEvent(QELEvent(1, 3, "in the dark", ""));
        }
        EXPECT_EQ(100, monitor->getNumberOfEvents());
        disk.makeRoom();
        for (int i = 0; i < 100; ++i) monitor->logDebugMsg("in the light %d.\n", i);
        monitor->queue().addEvent(QELEvent(1, 3, "in the light", ""));
        monitor.reset();
        const std::string debug = MonitorRoom::withoutTimes(logs.read("QELVANTDebug.log"));
        EXPECT_NE(std::string::npos, debug.find("\nin the light 99.\n"));
        EXPECT_NE(std::string::npos, debug.find("\nin the light 1.\n"));
        EXPECT_NE(std::string::npos, logs.read("QELVANTEvents.log").find("in the light"));
    });
}

}  // namespace
