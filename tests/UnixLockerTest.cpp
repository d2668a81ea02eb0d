#include "util/UnixLocker.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <thread>
#include <type_traits>

#include "tests/support/LockRoom.h"

namespace {

std::atomic<int> signalsSeen{0};

UnixLocker cleanLocker(const char* suffix = "x") {
    errno = 0;
    return UnixLocker(kAdapterGeneric, suffix);
}

TEST(UnixLocker, GivenANewSetThenItIsFreeAndItsFileIsEmpty) {
    inLockRoom([] {
        errno = 0;
        UnixLocker locker(kAdapterZor, "QEL-17");
        EXPECT_EQ(1, lockValue());
        struct stat info {};
        ASSERT_EQ(0, stat("/StorLock2QEL-17", &info));
        EXPECT_EQ(0, info.st_size);
        locker.getLock();
        EXPECT_EQ(0, lockValue());
        locker.releaseLock();
        EXPECT_EQ(1, lockValue());
    });
}

TEST(UnixLocker, GivenNoSuffixThenTheFileIsNamedAfterTheTypeAlone) {
    inLockRoom([] {
        errno = 0;
        UnixLocker locker(kAdapterVant, nullptr);
        EXPECT_EQ(0, access("/StorLock1", F_OK));
        EXPECT_EQ(1, lockValue());
    });
}

// Intended: monitors of different kinds of adapters take turns on one machine.
TEST(UnixLocker, GivenDifferentTypesAndSuffixesThenTheyStillExcludeOneAnother) {
    inLockRoom([] {
        UnixLocker first = cleanLocker("a");
        UnixLocker second(kAdapterVant, "b");
        first.getLock();
        std::atomic<bool> taken{false};
        std::thread other([&] {
            second.getLock();
            taken = true;
        });
        waitUntil([] { return lockWaiters() == 1; });
        EXPECT_FALSE(taken);
        first.releaseLock();
        other.join();
        EXPECT_TRUE(taken);
        EXPECT_EQ(0, lockValue());
    });
}

TEST(UnixLocker, ASignalDoesNotEndTheWait) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "NOT TESTED: ThreadSanitizer holds signal handlers back during semop()";
#endif
    inLockRoom([] {
        struct sigaction action {};
        action.sa_handler = [](int) { ++signalsSeen; };  // without SA_RESTART
        ASSERT_EQ(0, sigaction(SIGUSR1, &action, nullptr));
        UnixLocker locker = cleanLocker();
        locker.getLock();
        std::atomic<bool> taken{false};
        std::thread waiter([&] {
            locker.getLock();
            taken = true;
        });
        for (int i = 1; i <= 5; ++i) {
            waitUntil([] { return lockWaiters() == 1; });
            pthread_kill(waiter.native_handle(), SIGUSR1);
            waitUntil([i] { return signalsSeen == i; });
        }
        waitUntil([] { return lockWaiters() == 1; });
        EXPECT_FALSE(taken);
        locker.releaseLock();
        waiter.join();
        EXPECT_TRUE(taken);
    });
}

// Intended: only an administrator may say that a dead holder's work is done.
TEST(UnixLocker, GivenAHolderThatDiedThenTheLockStaysTaken) {
    inLockRoom([] {
        UnixLocker locker = cleanLocker();
        const pid_t holder = fork();
        if (holder == 0) {
            locker.getLock();
            raise(SIGKILL);
        }
        int status = 0;
        ASSERT_EQ(holder, waitpid(holder, &status, 0));
        ASSERT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(0, lockValue());
        EXPECT_EQ(holder, semctl(lockSet(), 0, GETPID));

        UnixLocker next = cleanLocker("y");
        EXPECT_EQ(0, lockValue()) << "a later object must not free it either";
        setLockValue(1);
        next.getLock();
        next.releaseLock();
        EXPECT_EQ(1, lockValue());
    });
}

TEST(UnixLocker, GivenALeftoverEexistThenANewSetStaysTaken) {
    inLockRoom([] {
        errno = EEXIST;
        const UnixLocker locker(kAdapterGeneric, "x");
        EXPECT_EQ(0, lockValue());
    });
}

TEST(UnixLocker, GivenAnOldSetThenItsValueIsLeftAlone) {
    inLockRoom([] {
        ASSERT_GT(semget(54321, 1, IPC_CREAT | 0777), 0);
        setLockValue(3);
        UnixLocker locker = cleanLocker();
        EXPECT_EQ(3, lockValue());
        locker.getLock();
        EXPECT_EQ(2, lockValue());
    });
}

// The first set of a fresh namespace has the identifier 0, which counts as no lock.
TEST(UnixLocker, GivenIdentifierZeroThenNothingIsLocked) {
    inLockRoom(
        [] {
            UnixLocker locker = cleanLocker();
            ASSERT_EQ(0, lockSet());
            setLockValue(1);
            locker.getLock();
            locker.getLock();
            EXPECT_EQ(1, lockValue());
            locker.releaseLock();
            EXPECT_EQ(1, lockValue());
        },
        FirstSet::kFree);
}

TEST(UnixLocker, GivenNoPlaceForTheFileThenSaysSoTwiceAndLocksNothing) {
    inLockRoom([] {
        ::testing::internal::CaptureStderr();
        UnixLocker locker = cleanLocker("/no/such/folder");
        EXPECT_EQ(
            "File open failed:: No such file or directory\n"
            "key for lock unavailable:: No such file or directory\n",
            ::testing::internal::GetCapturedStderr());
        EXPECT_EQ(-1, lockSet());
        locker.getLock();
        locker.getLock();
        locker.releaseLock();
    });
}

TEST(UnixLocker, GivenAFileThatCannotBeWrittenThenSaysSoAndLocksAllTheSame) {
    inLockRoom([] {
        ASSERT_EQ(0, mkdir("/StorLock0x", 0755));  // opens for nobody, root included
        ::testing::internal::CaptureStderr();
        UnixLocker locker = cleanLocker();
        EXPECT_EQ("File open failed:: Is a directory\n", ::testing::internal::GetCapturedStderr());
        EXPECT_EQ(1, lockValue());
        locker.getLock();
        EXPECT_EQ(0, lockValue());
    });
}

TEST(UnixLocker, GivenTheObjectIsGoneThenTheSemaphoreStays) {
    inLockRoom([] {
        (void)cleanLocker();
        EXPECT_EQ(1, lockValue());
        static_assert(!std::has_virtual_destructor<UnixLocker>::value, "nothing to release");
    });
}

}  // namespace
