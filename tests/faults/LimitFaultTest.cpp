// Descriptors and memory used up while the monitor polls: exceptions leave as documented, nothing
// false is told, no good snapshot is spoiled, and all is told when there is room again.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <new>

#include "snapshot/QELSystem.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FailingNew.h"
#include "tests/support/FilesInMemory.h"
#include "tests/support/LockFiles.h"
#include "tests/support/MonitorRoom.h"
#include "tests/support/SnapshotText.h"

namespace {

using Codes = std::vector<int>;

constexpr char kSnapshot[] = "QELVANTConfig.xml";
const Codes kFailed{401, 499};
const Codes kReplaced{403};

// The limit in force for a scope.
class Limit {
public:
    Limit(int newKind, rlim_t most) : kind(newKind) {
        EXPECT_EQ(0, getrlimit(kind, &before));
        struct rlimit now = before;
        now.rlim_cur = most;
        EXPECT_EQ(0, setrlimit(kind, &now));
    }
    ~Limit() { (void)setrlimit(kind, &before); }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

private:
    int kind;
    struct rlimit before = {};
};

class Watch {
public:
    Watch() {
        room.machine.addController(3).drives = {{0, 1, kDriveReady}};
        room.dir.write("QELConfig.conf", "qel.eventQueueSize=300\n");
        monitor = std::make_unique<VantUnderTest>(room.lib());
        monitor->poll(0, monitor->queue());
        (void)monitor->getEvents(0);
    }

    void pollWith(int state) {
        room.machine.controllers[0].drives[0].state = state;
        room.clock.advance(120);
        monitor->poll(1, monitor->queue());
        monitor->readConfig();
    }

    LockFiles locks;
    FilesInMemory inMemory;
    MonitorRoom room;
    std::unique_ptr<VantUnderTest> monitor;
};

TEST(LimitFault, GivenNoDescriptorsThenPollsGoOnAndTheOldSnapshotSurvives) {
    inChild([] {
        Watch watch;
        const std::string old = watch.room.dir.read(kSnapshot);
        std::vector<QELEvent> events;
        {
            const Limit none(RLIMIT_NOFILE, 0);
            for (const int state : {kDriveFailed, kDriveReady, kDriveFailed}) {
                watch.pollWith(state);
            }
            events = watch.monitor->getEvents(0);
            EXPECT_EQ(300, watch.monitor->eventQueueSize) << "settings keep";
        }
        ASSERT_EQ(5U, events.size());
        EXPECT_EQ(0U, events[0].text.find("agentEventErrDefunctDrive("));
        EXPECT_EQ(old, watch.room.dir.read(kSnapshot));
        EXPECT_EQ("qel.eventQueueSize=300\n", watch.room.dir.read("QELConfig.conf"));
        watch.pollWith(kDriveReady);
        EXPECT_EQ(kReplaced, MonitorRoom::codes(*watch.monitor));
        EXPECT_EQ(old, watch.room.dir.read(kSnapshot));  // the same machine as at first
        watch.pollWith(kDriveFailed);
        EXPECT_NE(old, watch.room.dir.read(kSnapshot));
    });
}

TEST(LimitFault, GivenNoDescriptorsAtConstructionThenItWatchesWithoutFilesAndFindsThemLater) {
    inChild([] {
        Watch watch;
        testing::internal::CaptureStderr();
        std::unique_ptr<VantUnderTest> monitor;
        {
            const Limit none(RLIMIT_NOFILE, 0);
            monitor = std::make_unique<VantUnderTest>(watch.room.lib());
            monitor->poll(0, monitor->queue());
        }
        EXPECT_EQ(
            "File open failed:: Too many open files\n"
            "key for lock unavailable:: No such file or directory\n",
            testing::internal::GetCapturedStderr());
        const std::vector<QELEvent> first = monitor->getEvents(0);
        ASSERT_LT(0U, first.size());
        EXPECT_EQ("", first[0].text);
        watch.room.machine.controllers[0].drives[0].state = kDriveFailed;
        watch.room.clock.advance(120);
        monitor->poll(1, monitor->queue());
        const std::vector<QELEvent> events = monitor->getEvents(0);
        ASSERT_EQ(2U, events.size());
        EXPECT_EQ(0U, events[0].text.find("agentEventErrDefunctDrive("));
        EXPECT_NE(std::string::npos, watch.room.dir.read(kSnapshot).find("state=\"2\""));
    });
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// Takes all memory that the process may still have, down to the smallest block.
class Hog {
public:
    Hog() {
        for (std::size_t size = std::size_t{1} << 22U; size >= sizeof(void*); size /= 2) {
            while (void* block = std::malloc(size)) {
                *static_cast<void**>(block) = taken;
                taken = block;
            }
        }
    }
    ~Hog() {
        while (taken != nullptr) {
            void* next = *static_cast<void**>(taken);
            std::free(taken);
            taken = next;
        }
    }
    Hog(const Hog&) = delete;
    Hog& operator=(const Hog&) = delete;

private:
    void* taken = nullptr;
};

rlim_t addressSpaceInUse() {
    std::ifstream statm("/proc/self/statm");
    rlim_t pages = 0;
    statm >> pages;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

#endif

TEST(LimitFault, GivenNoMemoryWhileItPollsThenBadAllocLeavesAndTheNextPollTellsEverything) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "NOT TESTED: a sanitizer needs its address space";
#else
    inChild([] {
        Watch watch;
        const std::string old = watch.room.dir.read(kSnapshot);
        const Limit little(RLIMIT_AS, addressSpaceInUse() + (rlim_t{16} << 20U));
        int thrown = 0;
        int otherwise = 0;
        {
            const Hog hog;
            watch.room.machine.controllers[0].drives[0].state = kDriveFailed;
            for (int i = 0; i < 3; ++i) {
                watch.room.clock.advance(120);
                try {
                    watch.monitor->poll(1, watch.monitor->queue());
                } catch (const std::bad_alloc&) {
                    ++thrown;
                } catch (...) {
                    ++otherwise;
                }
            }
        }
        EXPECT_EQ(3, thrown);
        EXPECT_EQ(0, otherwise);
        EXPECT_EQ(0, watch.monitor->getNumberOfEvents());
        EXPECT_EQ(old, watch.room.dir.read(kSnapshot));
        watch.pollWith(kDriveFailed);
        EXPECT_EQ(kFailed, MonitorRoom::codes(*watch.monitor));
    });
#endif
}

// Every single allocation of a poll fails once, and all after it.
TEST(LimitFault, GivenAnyAllocationOfAPollFailsThenTheNextPollsTellTheChange) {
    if (!FailingNew::available()) GTEST_SKIP() << "NOT TESTED: the sanitizer owns operator new";
    Watch watch;
    const std::string healthy = watch.room.dir.read(kSnapshot);
    watch.pollWith(kDriveFailed);
    const std::string failed = watch.room.dir.read(kSnapshot);
    watch.pollWith(kDriveReady);
    (void)watch.monitor->getEvents(0);
    int broken = 0;
    int allocations = 0;
    for (bool succeeded = false; !succeeded; ++allocations) {
        ASSERT_GT(5000, allocations);
        watch.room.machine.controllers[0].drives[0].state = kDriveFailed;
        watch.room.clock.advance(120);
        try {
            const FailingNew failing(allocations);
            watch.monitor->poll(1, watch.monitor->queue());
            succeeded = true;
        } catch (const std::bad_alloc&) {
            ++broken;
        }
        // The old snapshot or the new one, and nothing in between.
        const std::string snapshot = watch.room.dir.read(kSnapshot);
        ASSERT_TRUE(snapshot == healthy || snapshot == failed) << allocations << "\n" << snapshot;
        watch.pollWith(kDriveFailed);
        Codes codes = MonitorRoom::codes(*watch.monitor);
        // What was queued before the memory ran out is told a second time.
        const Codes twice{401, 401, 499};
        ASSERT_TRUE(codes == kFailed || codes == twice) << allocations;
        ASSERT_EQ(failed, watch.room.dir.read(kSnapshot)) << allocations;
        watch.pollWith(kDriveReady);
        ASSERT_EQ(kReplaced, MonitorRoom::codes(*watch.monitor)) << allocations;
    }
    EXPECT_LT(20, broken);
}

// The writer drops what it has no memory for; a file with holes would tell of drives that are gone.
TEST(LimitFault, GivenNoMemoryForTheWholeTextThenTheOldSnapshotStays) {
    if (!FailingNew::available()) GTEST_SKIP() << "NOT TESTED: the sanitizer owns operator new";
    const LockFiles locks;
    const FilesInMemory inMemory;
    MonitorRoom room;
    room.machine.addController(3);
    for (unsigned i = 0; i < 50; ++i) {
        room.machine.controllers[0].drives.push_back({0, i, kDriveReady});
    }
    const auto write = [&room](int allocations) {
        System live(kStorLibGeneric);
        room.machine.builder()(live);
        QELConfigBuilder builder(room.dir.file(kSnapshot));
        builder.build(&live, nullptr);
        live.deleteAllChildren();
        try {
            const FailingNew failing(allocations);
            builder.writeXML();
        } catch (const std::bad_alloc&) {
        }
    };
    write(100000);
    const std::string fresh = room.dir.read(kSnapshot);
    int kept = 0;
    std::string found;
    for (int allocations = 0; found != fresh; ++allocations) {
        ASSERT_GT(100, allocations);
        room.dir.write(kSnapshot, "the old one");
        write(allocations);
        found = room.dir.read(kSnapshot);
        ASSERT_TRUE(found == fresh || found == "the old one") << allocations;
        if (found != fresh) ++kept;
    }
    EXPECT_LE(2, kept);
}

}  // namespace
