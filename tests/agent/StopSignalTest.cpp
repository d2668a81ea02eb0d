#include "agent/StopSignal.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

namespace {

using std::chrono::milliseconds;

TEST(StopSignal, GivenNoSignalThenWaitingEndsWithTheTime) {
    const StopSignal stop;
    EXPECT_FALSE(stop.waitFor(milliseconds(1)));
    EXPECT_FALSE(stop.requested());
}

TEST(StopSignal, EachOfTheThreeSignalsIsARequest) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const StopSignal stop;
        ASSERT_EQ(0, kill(getpid(), number));
        EXPECT_TRUE(stop.waitFor(milliseconds(10000))) << number;
        EXPECT_TRUE(stop.requested());
    }
}

TEST(StopSignal, GivenHangUpMeansReloadThenItEndsNothing) {
    const StopSignal stop;
    std::atomic<int> woken{0};
    stop.takeHangUpAsReload([&] { ++woken; });
    EXPECT_FALSE(stop.takeReload());
    for (int i = 1; i <= 2; ++i) {
        ASSERT_EQ(0, kill(getpid(), SIGHUP));
        while (woken < i) std::this_thread::sleep_for(milliseconds(1));
    }
    EXPECT_FALSE(stop.requested());
    EXPECT_TRUE(stop.takeReload());
    EXPECT_FALSE(stop.takeReload()) << "asked for once";
    ASSERT_EQ(0, kill(getpid(), SIGTERM));
    EXPECT_TRUE(stop.waitFor(milliseconds(10000)));
    while (woken < 3) std::this_thread::sleep_for(milliseconds(1));
    stop.callNobody();
}

TEST(StopSignal, GivenItIsGoneThenTheMaskIsAsBefore) {
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    { const StopSignal stop; }
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EQ(sigismember(&before, number), sigismember(&after, number));
    }
}

TEST(StopSignalDeathTest, ASecondSignalEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const StopSignal stop;
            (void)kill(getpid(), SIGTERM);
            (void)stop.waitFor(milliseconds(10000));
            (void)kill(getpid(), SIGTERM);
            for (;;) pause();
        },
        testing::ExitedWithCode(1), "");
}

}  // namespace
