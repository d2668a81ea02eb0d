// The machine-wide lock taken away, left taken or not to be had: what the queue and the monitor do.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <thread>

#include "tests/support/LockRoom.h"
#include "tests/support/MonitorRoom.h"
#include "util/UnixLocker.h"

namespace {

QELEvent numbered(int number) { return QELEvent(number, kEventInformation, "", ""); }

std::atomic<int> signalsSeen{0};

TEST(LockFault, GivenTheSemaphoreIsRemovedWhileTheQueueWaitsThenItGoesOnWithoutIt) {
    inLockRoom([] {
        QELEventCollection queue("", 200, kEventAll);
        queue.addEvent(numbered(1));
        setLockValue(0);
        std::thread producer([&] { queue.addEvent(numbered(2)); });
        waitUntil([] { return lockWaiters() == 1; });
        ASSERT_EQ(0, semctl(lockSet(), 0, IPC_RMID));
        producer.join();
        EXPECT_EQ(2, queue.getNumberOfEvents());
        for (int i = 3; i <= 500; ++i) queue.addEvent(numbered(i));  // overloads included
        const std::vector<QELEvent> events = queue.getAllEvents();
        EXPECT_EQ(QELEventCollection::kOverloadCode, events.front().eventCode);
        EXPECT_EQ(500, events.back().eventCode);

        // The next queue makes a new set, which the old one does not know.
        QELEventCollection next("", 200, kEventAll);
        EXPECT_EQ(1, lockValue());
        setLockValue(0);
        queue.addEvent(numbered(1));
        EXPECT_EQ(1, queue.getNumberOfEvents());
    });
}

TEST(LockFault, GivenASemaphoreRemovedWhileManyThreadsUseItThenNothingIsLostOrTwice) {
    inLockRoom([] {
        QELEventCollection queue("", 100000, kEventAll);
        std::atomic<bool> done{false};
        std::vector<QELEvent> taken;
        std::thread drainer([&] {
            while (!done || queue.getNumberOfEvents() != 0) {
                for (QELEvent& event : queue.getEvents(7)) taken.push_back(std::move(event));
            }
        });
        for (int i = 0; i < 5000; ++i) {
            queue.addEvent(numbered(i));
            if (i == 2500) (void)semctl(lockSet(), 0, IPC_RMID);
        }
        done = true;
        drainer.join();
        EXPECT_EQ(-1, lockSet());
        ASSERT_EQ(5000U, taken.size());
        for (int i = 0; i < 5000; ++i) {
            ASSERT_EQ(i, taken[static_cast<std::size_t>(i)].eventCode);
        }
    });
}

TEST(LockFault, GivenSignalsWhileTheQueueWaitsThenTheEventIsQueuedOnce) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "NOT TESTED: ThreadSanitizer holds signal handlers back during semop()";
#endif
    inLockRoom([] {
        struct sigaction action {};
        action.sa_handler = [](int) { ++signalsSeen; };  // without SA_RESTART
        ASSERT_EQ(0, sigaction(SIGUSR1, &action, nullptr));
        QELEventCollection queue("", 200, kEventAll);
        setLockValue(0);
        std::thread producer([&] { queue.addEvent(numbered(1)); });
        for (int i = 1; i <= 100; ++i) {
            waitUntil([] { return lockWaiters() == 1; });
            pthread_kill(producer.native_handle(), SIGUSR1);
            waitUntil([i] { return signalsSeen == i; });
        }
        EXPECT_EQ(0, queue.getNumberOfEvents());
        setLockValue(1);
        producer.join();
        EXPECT_EQ(1, queue.getNumberOfEvents());
        EXPECT_EQ(1, lockValue());
    });
}

// A holder that was killed: the poll waits, as it must, but the host is not held up by it.
TEST(LockFault, GivenALockLeftTakenThenStopAndCountingDoNotWaitAndThePollGoesOnWhenItIsFreed) {
    inLockRoom([] {
        (void)unsetenv("TMPDIR");  // the room has no temporary folder but /tmp
        MonitorRoom room;
        room.machine.addController(3);
        VantUnderTest monitor(room.lib());
        const pid_t holder = fork();
        if (holder == 0) {
            UnixLocker lock(kAdapterGeneric, "killed");
            lock.getLock();
            raise(SIGKILL);
        }
        ASSERT_EQ(holder, waitpid(holder, nullptr, 0));
        std::thread loop([&] { monitor.start(); });
        waitUntil([] { return lockWaiters() == 1; });
        EXPECT_EQ(0, monitor.getNumberOfEvents());
        monitor.stop();
        EXPECT_TRUE(monitor.isStopped()) << "still at its first poll";
        setLockValue(1);  // by an administrator
        loop.join();
        EXPECT_EQ((std::vector<int>{207, 299}), MonitorRoom::codes(monitor));
    });
}

TEST(LockFault, GivenNoMoreSemaphoreSetsThenTheQueueWorksInsideItsProcess) {
    inLockRoom([] {
        constexpr int kMoreThanAnySystemHas = 200000;
        int made = 0;
        while (made < kMoreThanAnySystemHas && semget(IPC_PRIVATE, 1, 0600) != -1) ++made;
        ASSERT_EQ(ENOSPC, errno);
        ::testing::internal::CaptureStderr();
        QELEventCollection queue("", 200, kEventAll);
        EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
        EXPECT_EQ(-1, lockSet());
        for (int i = 1; i <= 201; ++i) queue.addEvent(numbered(i));
        EXPECT_EQ(182, queue.getNumberOfEvents());
        EXPECT_EQ(182U, queue.getAllEvents().size());
    });
}

}  // namespace
