#include "storlib/MilliSleep.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <thread>

namespace {

long long nowMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

TEST(MilliSleep, GivenNothingToSleepThenReturnsAtOnce) {
    const long long before = nowMilliseconds();
    MilliSleep(0);
    MilliSleep(-1000000);
    EXPECT_LT(nowMilliseconds() - before, 1000);
}

TEST(MilliSleep, SleepsAtLeastTheTimeAskedFor) {
    const long long before = nowMilliseconds();
    MilliSleep(3);
    EXPECT_GE(nowMilliseconds() - before, 2);  // the clock may be read within a millisecond
}

TEST(MilliSleep, GivenSignalsThenTheWholeTimeIsSlept) {
    struct sigaction ignore {};
    struct sigaction before {};
    ignore.sa_handler = [](int) {};  // without SA_RESTART: every signal interrupts
    ASSERT_EQ(0, sigaction(SIGUSR1, &ignore, &before));

    std::atomic<bool> done{false};
    long long slept = 0;
    std::thread sleeper([&] {
        const long long start = nowMilliseconds();
        MilliSleep(20);
        slept = nowMilliseconds() - start;
        done = true;
    });
    while (!done) {
        pthread_kill(sleeper.native_handle(), SIGUSR1);
        std::this_thread::yield();
    }
    sleeper.join();
    EXPECT_GE(slept, 19);
    ASSERT_EQ(0, sigaction(SIGUSR1, &before, nullptr));
}

}  // namespace
