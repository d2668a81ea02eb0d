#include "util/UnixSemLocker.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <type_traits>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::atomic<int> signalsSeen{0};

TEST(UnixSemLocker, CountsDownFromItsValue) {
    UnixSemLocker locker(2);
    EXPECT_TRUE(locker.getLockWithTimeout(1));
    locker.getLock();
    EXPECT_FALSE(locker.getLockWithTimeout(1));
    locker.releaseLock();
    EXPECT_TRUE(locker.getLockWithTimeout(1));
}

TEST(UnixSemLocker, GivenNoTimeThenNothingIsTriedEvenWhenItIsFree) {
    UnixSemLocker locker(1);
    EXPECT_FALSE(locker.getLockWithTimeout(0));
    EXPECT_FALSE(locker.getLockWithTimeout(-1));
    EXPECT_FALSE(locker.getLockWithTimeout(-2147483647L - 1));
    EXPECT_TRUE(locker.getLockWithTimeout(1));
}

TEST(UnixSemLocker, GivenATakenOneThenItSleepsAfterEachTryTheLastToo) {
    UnixSemLocker locker(0);
    for (const long tries : {1L, 3L}) {
        const auto start = steady_clock::now();
        EXPECT_FALSE(locker.getLockWithTimeout(tries));
        EXPECT_GE(steady_clock::now() - start, milliseconds(tries));
    }
}

TEST(UnixSemLocker, GivenItIsReleasedMeanwhileThenALaterTryTakesIt) {
    UnixSemLocker locker(0);
    std::atomic<bool> taken{false};
    std::thread waiter([&] { taken = locker.getLockWithTimeout(60000); });
    locker.releaseLock();
    waiter.join();
    EXPECT_TRUE(taken);
    EXPECT_FALSE(locker.getLockWithTimeout(1));
}

TEST(UnixSemLocker, ASignalDoesNotEndTheWait) {
    struct sigaction action {};
    action.sa_handler = [](int) { ++signalsSeen; };  // without SA_RESTART
    struct sigaction old {};
    ASSERT_EQ(0, sigaction(SIGUSR1, &action, &old));

    signalsSeen = 0;
    UnixSemLocker locker(0);
    std::atomic<bool> taken{false};
    std::thread waiter([&] {
        locker.getLock();
        taken = true;
    });
    while (signalsSeen < 5) {
        pthread_kill(waiter.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(milliseconds(2));
    }
    EXPECT_FALSE(taken);
    locker.releaseLock();
    waiter.join();
    EXPECT_TRUE(taken);
    sigaction(SIGUSR1, &old, nullptr);
}

TEST(UnixSemLocker, GivenAnImpossibleValueThenItIsTaken) {
    UnixSemLocker locker(-1);
    EXPECT_FALSE(locker.getLockWithTimeout(1));
}

TEST(UnixSemLocker, IsDestroyedThroughItsBase) {
    static_assert(std::has_virtual_destructor<SemLocker>::value, "deleted by its users");
    static_assert(!std::has_virtual_destructor<Locker>::value, "never deleted");
    SemLocker* const locker = new UnixSemLocker(1);
    EXPECT_TRUE(locker->getLockWithTimeout(1));
    delete locker;
}

struct CountingLocker : SemLocker {
    void getLock() override { ++count; }
    void releaseLock() override { --count; }
    bool getLockWithTimeout(long) override { return false; }
    int count = 0;
};

TEST(UnixSemLocker, EveryOperationOfTheBaseCanBeReplaced) {
    CountingLocker own;
    Locker& locker = own;
    locker.getLock();
    EXPECT_EQ(1, own.count);
    locker.releaseLock();
    EXPECT_EQ(0, own.count);
}

}  // namespace
