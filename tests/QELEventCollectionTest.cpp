#include "events/QELEventCollection.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/EventPrinter.h"
#include "tests/support/LockFiles.h"
#include "tests/support/LockRoom.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"
#include "util/DebugFlag.h"

namespace {

using Events = std::vector<QELEvent>;

constexpr const char* kNoticeText = "QEL Event queue overload. Discarding events.";

QELEvent numbered(int number, int severity = 3) {
    return QELEvent(number, severity, "event " + std::to_string(number), "EVENT_X");
}

Events numberedFrom(int first, int last) {
    Events events;
    for (int i = first; i <= last; ++i) events.push_back(numbered(i));
    return events;
}

QELEvent notice() { return QELEvent(200, 2, kNoticeText, ""); }

struct QELEventCollectionTest : ::testing::Test {
    QELEventCollectionTest() { setDebugMask(0); }
    ~QELEventCollectionTest() override { setDebugMask(0); }

    static void fill(QELEventCollection& queue, int first, int last) {
        for (int i = first; i <= last; ++i) queue.addEvent(numbered(i));
    }

    LockFiles lockFiles;
    ManualClock clock;
    TempDir dir;
};

TEST_F(QELEventCollectionTest, EventsComeOutInTheOrderTheyWentIn) {
    QELEventCollection queue("", 200, kEventAll);
    fill(queue, 1, 5);
    EXPECT_EQ(5, queue.getNumberOfEvents());
    EXPECT_TRUE(sameEvents(numberedFrom(1, 2), queue.getEvents(2)));
    EXPECT_TRUE(sameEvents(numberedFrom(3, 5), queue.getAllEvents()));
    EXPECT_TRUE(sameEvents({}, queue.getAllEvents()));
    EXPECT_EQ(0, queue.getNumberOfEvents());
}

struct CountCase {
    int n, taken, leftAfterFlush;
};

constexpr CountCase kCounts[] = {
    {1, 1, 2},          {2, 2, 1}, {3, 3, 0},  {5, 3, 0},
    {2147483647, 3, 0}, {0, 0, 0}, {-1, 0, 3}, {-2147483647 - 1, 0, 3},
};

TEST_F(QELEventCollectionTest, GivenThreeEventsThenNAreTakenOrDiscarded) {
    for (const CountCase& c : kCounts) {
        SCOPED_TRACE(c.n);
        QELEventCollection queue("", 200, kEventAll);
        fill(queue, 1, 3);
        EXPECT_TRUE(sameEvents(numberedFrom(1, c.taken), queue.getEvents(c.n)));
        EXPECT_EQ(3 - c.taken, queue.getNumberOfEvents());
        queue.getAllEvents();
        fill(queue, 1, 3);
        queue.flushEvents(c.n);
        EXPECT_TRUE(sameEvents(numberedFrom(4 - c.leftAfterFlush, 3), queue.getAllEvents()));
    }
}

TEST_F(QELEventCollectionTest, GivenALevelAtConstructionThenOnlyFiveToSevenAreTaken) {
    for (const int level : {5, 6, 7}) {
        EXPECT_EQ(level, QELEventCollection("", 200, EnumEventType(level)).getEventTypeLevel());
    }
    for (const int level : {-1, 0, 1, 2, 3, 4, 8, 0x7fffffff}) {
        EXPECT_EQ(5, QELEventCollection("", 200, EnumEventType(level)).getEventTypeLevel());
    }
}

TEST_F(QELEventCollectionTest, LevelsOneToSevenCanBeSet) {
    QELEventCollection queue("", 200, EnumEventType(3));
    for (const int level : {1, 2, 3, 4, 5, 6, 7}) {
        EXPECT_TRUE(queue.setEventTypeLevel(EnumEventType(level)));
        EXPECT_EQ(level, queue.getEventTypeLevel());
    }
    for (const int level : {0, 8, -1, 0x7fffffff}) {
        EXPECT_FALSE(queue.setEventTypeLevel(EnumEventType(level)));
        EXPECT_EQ(7, queue.getEventTypeLevel());
    }
}

TEST_F(QELEventCollectionTest, WhatIsLessImportantThanTheLevelIsDropped) {
    for (int level = 1; level <= 7; ++level) {
        SCOPED_TRACE(level);
        QELEventCollection queue("", 200, kEventAll);
        queue.setEventTypeLevel(EnumEventType(level));
        for (int severity = -1; severity <= 8; ++severity) {
            queue.addEvent(numbered(1, severity));
            EXPECT_EQ(severity <= level ? 1 : 0, queue.getNumberOfEvents()) << severity;
            queue.flushEvents(0);
        }
    }
}

// Intended: it only leaves a mark in the event log.
TEST_F(QELEventCollectionTest, GivenABareTextThenTheQueueStaysAsItIs) {
    QELEventCollection queue(dir.file("log"), 200, kEventAll);
    queue.addEvent("text");
    queue.addEvent(static_cast<const char*>(nullptr));
    EXPECT_EQ(0, queue.getNumberOfEvents());
    EXPECT_EQ("", dir.read("log"));
    setDebugMask(kDebugEvent);
    queue.addEvent("text");
    queue.addEvent(static_cast<const char*>(nullptr));
    EXPECT_EQ(0, queue.getNumberOfEvents());
    QELEvent marked;
    marked.text = "text";
    EXPECT_EQ(marked.toString() + "\n\n" + QELEvent().toString() + "\n\n", dir.read("log"));
}

TEST_F(QELEventCollectionTest, GivenAFullQueueThenANoticeReplacesTheTwentyOldest) {
    for (const int bound : {200, 50, -1}) {  // less than 200 is 200
        SCOPED_TRACE(bound);
        QELEventCollection queue("", bound, kEventAll);
        fill(queue, 1, 200);
        EXPECT_EQ(200, queue.getNumberOfEvents());
        clock.advance(60);
        Events expected = numberedFrom(21, 201);
        for (QELEvent& event : expected) event.timeStamp -= event.eventCode == 201 ? 0 : 60;
        expected.insert(expected.begin(), notice());
        queue.addEvent(numbered(201));
        EXPECT_EQ(182, queue.getNumberOfEvents());
        EXPECT_TRUE(sameEvents(expected, queue.getAllEvents()));
    }
}

TEST_F(QELEventCollectionTest, GivenAFrontEventOfADriveThenTheNoticeHasNothingOfIt) {
    QELEventCollection queue("", 200, kEventAll);
    QELEvent full(418, 2, "text", Addr(1, 2, 3, 4, 5, 6, 7, 8), 1, 2, 3, "serial", "X", "detail");
    full.objectType = QELEvent::kPhysicalDrive;
    full.flags = 1;
    full.extra1 = "one";
    full.extra2 = "two";
    for (int i = 0; i < 201; ++i) queue.addEvent(full);
    EXPECT_TRUE(sameEvents({notice(), full}, queue.getEvents(2)));
}

struct BoundCase {
    int bound, leftAfterOneMore;
};

constexpr BoundCase kBounds[] = {{200, 182}, {201, 183}, {209, 191}, {210, 191}, {1000, 902}};

TEST_F(QELEventCollectionTest, OneTenthOfTheBoundIsLostInAnOverload) {
    for (const BoundCase& c : kBounds) {
        SCOPED_TRACE(c.bound);
        QELEventCollection queue("", c.bound, kEventAll);
        fill(queue, 1, c.bound);
        EXPECT_EQ(c.bound, queue.getNumberOfEvents());
        queue.addEvent(numbered(0));
        EXPECT_EQ(c.leftAfterOneMore, queue.getNumberOfEvents());
    }
}

TEST_F(QELEventCollectionTest, AFilteredEventMakesNoRoom) {
    QELEventCollection queue("", 200, kEventProgress);
    fill(queue, 1, 200);
    queue.addEvent(numbered(0, 6));
    EXPECT_TRUE(sameEvents(numberedFrom(1, 200), queue.getAllEvents()));
}

// The bound shows in the length at which an overload happens.
int boundOf(QELEventCollection& queue) {
    queue.flushEvents(0);
    int length = 0;
    for (queue.addEvent(numbered(1)); queue.getNumberOfEvents() > length;
         queue.addEvent(numbered(1))) {
        length = queue.getNumberOfEvents();
    }
    return length;
}

// Intended: a raised bound stays above the least one.
TEST_F(QELEventCollectionTest, GivenABoundOfTwoHundredOrLessThenItIsIgnored) {
    QELEventCollection queue("", 500, kEventAll);
    for (const int ignored : {200, 199, 0, -1}) {
        queue.setMaxSize(ignored);
        EXPECT_EQ(500, boundOf(queue));
    }
    queue.setMaxSize(201);
    EXPECT_EQ(201, boundOf(queue));
    queue.setMaxSize(500);
    EXPECT_EQ(500, boundOf(queue));
}

TEST_F(QELEventCollectionTest, GivenABoundBelowTheLengthThenEachFurtherEventMakesRoom) {
    QELEventCollection queue("", 500, kEventAll);
    fill(queue, 1, 400);
    queue.setMaxSize(201);
    EXPECT_EQ(400, queue.getNumberOfEvents());
    queue.addEvent(numbered(401));
    EXPECT_EQ(382, queue.getNumberOfEvents());
    fill(queue, 402, 412);
    EXPECT_EQ(184, queue.getNumberOfEvents());
    queue.addEvent(numbered(413));
    EXPECT_EQ(185, queue.getNumberOfEvents());
}

struct MaskCase {
    std::uint32_t mask;
    bool logged;
};

constexpr MaskCase kMasks[] = {
    {0, false},       {0xf00000, false}, {0x00ffff, false}, {0xff0000, true},
    {0xffffff, true}, {0x010000, true},  {0x080000, true},  {0x100000, false},
};

TEST_F(QELEventCollectionTest, GivenEventTracingThenEveryOfferedEventIsLoggedAlsoTheDropped) {
    for (const MaskCase& c : kMasks) {
        SCOPED_TRACE(c.mask);
        const TempDir folder;
        QELEventCollection queue(folder.file("log"), 200, kEventProgress);
        setDebugMask(c.mask);
        queue.addEvent(numbered(1, 3));
        queue.addEvent(numbered(2, 6));
        queue.printEvent(numbered(3));
        setDebugMask(0);
        queue.addEvent(numbered(4));
        const std::string lines = numbered(1, 3).toString() + "\n\n" + numbered(2, 6).toString() +
                                  "\n\n" + numbered(3).toString() + "\n\n";
        EXPECT_EQ(c.logged ? lines : "", folder.read("log"));
        EXPECT_EQ(2, queue.getNumberOfEvents());
    }
}

TEST_F(QELEventCollectionTest, GivenAnOverloadThenTheNoticeIsLoggedBeforeTheEvent) {
    QELEventCollection queue(dir.file("log"), 200, kEventAll);
    fill(queue, 1, 200);
    setDebugMask(kDebugEvent);
    queue.addEvent(numbered(201));
    EXPECT_EQ(notice().toString() + "\n\n" + numbered(201).toString() + "\n\n", dir.read("log"));
}

TEST_F(QELEventCollectionTest, TheLogIsAppendedTo) {
    dir.write("log", "before\n");
    setDebugMask(kDebugEvent);
    QELEventCollection(dir.file("log"), 200, kEventAll).addEvent(numbered(1));
    QELEventCollection(dir.file("log"), 200, kEventAll).addEvent(numbered(2));
    EXPECT_EQ("before\n" + numbered(1).toString() + "\n\n" + numbered(2).toString() + "\n\n",
              dir.read("log"));
}

TEST_F(QELEventCollectionTest, GivenAnEventTheSizeOfABufferThenItIsOnDiskAtOnce) {
    QELEventCollection queue(dir.file("log"), 200, kEventAll);
    setDebugMask(kDebugEvent);
    QELEvent event = numbered(1);
    event.text = std::string(100000, 'x');
    queue.addEvent(event);
    EXPECT_EQ(event.toString() + "\n\n", dir.read("log"));
}

TEST_F(QELEventCollectionTest, GivenALogThatCannotBeOpenedThenTheQueueWorksWithoutIt) {
    setDebugMask(kDebugEvent);
    for (const std::string& name : {std::string(), dir.file("no/such/log"), dir.folder()}) {
        SCOPED_TRACE(name);
        QELEventCollection queue(name, 200, kEventAll);
        queue.addEvent(numbered(1));
        queue.addEvent("text");
        EXPECT_TRUE(sameEvents({numbered(1)}, queue.getAllEvents()));
    }
    EXPECT_FALSE(dir.exists("no"));
}

TEST_F(QELEventCollectionTest, GivenALogOfThreeGigabytesThenItStillGetsLines) {
    dir.write("log", "");
    constexpr off_t kSize = off_t{3} * 1024 * 1024 * 1024;
    const int file = open(dir.file("log").c_str(), O_WRONLY | O_CLOEXEC | O_LARGEFILE);
    ASSERT_NE(-1, file);
    ASSERT_EQ(0, ftruncate(file, kSize));
    close(file);

    setDebugMask(kDebugEvent);
    QELEventCollection(dir.file("log"), 200, kEventAll).addEvent(numbered(1));
    struct stat info {};
    ASSERT_EQ(0, stat(dir.file("log").c_str(), &info));
    EXPECT_EQ(kSize + static_cast<off_t>(numbered(1).toString().size()) + 2, info.st_size);
}

TEST_F(QELEventCollectionTest, GivenAnOverloadingProducerAndTwoDrainersThenEachEventComesOnce) {
    constexpr int kEvents = 4000;
    QELEventCollection queue(dir.file("log"), 200, kEventAll);
    queue.setMaxSize(201);
    std::atomic<bool> done{false};
    std::vector<Events> drained(2);
    std::vector<std::thread> drainers;
    for (Events& mine : drained) {
        drainers.emplace_back([&] {
            for (bool last = false; !last;) {
                last = done;
                for (QELEvent& event : queue.getEvents(7)) mine.push_back(std::move(event));
                for (QELEvent& event : queue.getAllEvents()) mine.push_back(std::move(event));
                queue.getNumberOfEvents();
            }
        });
    }
    std::thread meddler([&] {
        while (!done) {
            queue.setEventTypeLevel(kEventDetail);
            queue.setMaxSize(queue.getEventTypeLevel() == kEventDetail ? 202 : 203);
            setDebugMask(debugMask());
            std::this_thread::yield();
        }
    });
    for (int i = 1; i <= kEvents; ++i) queue.addEvent(numbered(i + 1000));
    done = true;
    for (std::thread& drainer : drainers) drainer.join();
    meddler.join();

    std::set<int> seen;
    std::size_t notices = 0;
    for (const Events& mine : drained) {
        int before = 0;
        for (const QELEvent& event : mine) {
            if (event.eventCode == 200) {
                EXPECT_TRUE(sameEvent(notice(), event));
                ++notices;
                continue;
            }
            EXPECT_TRUE(seen.insert(event.eventCode).second) << event.eventCode << " came twice";
            EXPECT_TRUE(sameEvent(numbered(event.eventCode), event));
            EXPECT_LT(before, event.eventCode);
            before = event.eventCode;
        }
    }
    EXPECT_EQ(0, queue.getNumberOfEvents());
    if (notices == 0) {
        EXPECT_EQ(std::size_t{kEvents}, seen.size());
    }
    EXPECT_GE(seen.size(), std::size_t{182});  // what an overload leaves is not lost
    EXPECT_EQ(1U, seen.count(kEvents + 1000));
}

TEST_F(QELEventCollectionTest, GivenOverloadsWhileTheHostEmptiesTheQueueThenNothingBreaks) {
    QELEventCollection queue("", 200, kEventAll);
    std::atomic<bool> done{false};
    std::thread host([&] {
        while (!done) {
            if (queue.getNumberOfEvents() >= 199) queue.flushEvents(0);
        }
    });
    for (int i = 0; i < 5000; ++i) queue.addEvent(numbered(i));
    done = true;
    host.join();
    queue.addEvent(numbered(5000));  // the host may have emptied the queue after the last one
    EXPECT_LE(queue.getNumberOfEvents(), 200);
    EXPECT_GE(queue.getNumberOfEvents(), 1);
}

TEST_F(QELEventCollectionTest, EachQueueLeavesAnEmptyLockFile) {
    inLockRoom([] {
        QELEventCollection queue("", 200, kEventAll);
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/")) {
            if (entry.path() == "/tmp") continue;
            EXPECT_EQ(0U, entry.path().string().find("/StorLock0QEL-")) << entry.path();
            EXPECT_EQ(0U, std::filesystem::file_size(entry.path()));
            ++count;
        }
        EXPECT_EQ(1, count);
    });
}

// The log folder that exists already leaves EEXIST behind, on every start but the first.
TEST_F(QELEventCollectionTest, GivenALeftoverEexistThenTheFirstEventDoesNotWait) {
    inLockRoom([] {
        ASSERT_EQ(0, mkdir("/qavelogs", 0755));
        ASSERT_EQ(-1, mkdir("/qavelogs", 0755));
        ASSERT_EQ(EEXIST, errno);
        QELEventCollection queue("", 200, kEventAll);
        EXPECT_EQ(1, lockValue());
        queue.addEvent(numbered(1));
        EXPECT_EQ(1, lockValue());
        EXPECT_EQ(1, queue.getNumberOfEvents());
    });
}

TEST_F(QELEventCollectionTest, GivenAnotherHolderThenAddingWaitsAndCountingDoesNot) {
    inLockRoom([] {
        QELEventCollection queue("", 200, kEventAll);
        queue.addEvent(numbered(1));
        setLockValue(0);  // as another process leaves it while it holds the lock
        std::atomic<bool> added{false};
        std::thread producer([&] {
            queue.addEvent(numbered(2));
            added = true;
        });
        waitUntil([] { return lockWaiters() == 1; });
        EXPECT_EQ(1, queue.getNumberOfEvents());
        EXPECT_FALSE(added);
        setLockValue(1);
        producer.join();
        EXPECT_EQ(2, queue.getNumberOfEvents());
        EXPECT_EQ(1, lockValue());
    });
}

TEST_F(QELEventCollectionTest, EveryRemovalAndFlushAndNewBoundTakesTheLock) {
    inLockRoom([] {
        QELEventCollection queue("", 500, kEventAll);
        fill(queue, 1, 10);
        const std::function<void()> calls[] = {
            [&] { queue.getEvents(1); },          [&] { queue.getAllEvents(); },
            [&] { queue.flushEvents(1); },        [&] { queue.setMaxSize(300); },
            [&] { queue.addEvent(numbered(1)); },
        };
        for (const auto& call : calls) {
            fill(queue, 1, 1);
            setLockValue(0);
            std::thread caller(call);
            waitUntil([] { return lockWaiters() == 1; });
            setLockValue(1);
            caller.join();
            EXPECT_EQ(1, lockValue());
        }
        // These take none: they would wait for ever.
        setLockValue(0);
        queue.setMaxSize(300);
        queue.setMaxSize(100);
        queue.setEventTypeLevel(kEventError);
        queue.addEvent(numbered(1));
        queue.addEvent("text");
        queue.flushEvents(-1);
        queue.getEvents(0);
        queue.getEvents(-1);
    });
}

TEST_F(QELEventCollectionTest, GivenAKilledHolderWhenTheLockIsReleasedThenTheQueueMoves) {
    inLockRoom([] {
        QELEventCollection queue("", 200, kEventAll);
        const pid_t holder = fork();
        if (holder == 0) {
            sembuf take{0, -1, 0};
            semop(lockSet(), &take, 1);
            raise(SIGKILL);
        }
        ASSERT_EQ(holder, waitpid(holder, nullptr, 0));
        std::thread producer([&] { queue.addEvent(numbered(1)); });
        waitUntil([] { return lockWaiters() == 1; });
        setLockValue(1);
        producer.join();
        EXPECT_EQ(1, queue.getNumberOfEvents());
    });
}

TEST_F(QELEventCollectionTest, GivenNoUsableSemaphoreThenTheQueueStillWorks) {
    inLockRoom(
        [] {
            QELEventCollection queue("", 200, kEventAll);
            ASSERT_EQ(0, lockSet());
            setLockValue(0);
            fill(queue, 1, 201);
            EXPECT_EQ(182, queue.getNumberOfEvents());
            EXPECT_EQ(182U, queue.getAllEvents().size());
        },
        FirstSet::kFree);
}

}  // namespace
