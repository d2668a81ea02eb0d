#include "util/Clock.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/support/ManualClock.h"

namespace {

std::atomic<int> signalsSeen{0};

TEST(Clock, TheMachinesClockIsInUseUntilAnotherIsSet) {
    EXPECT_EQ(&Clock::system(), &Clock::current());
    {
        ManualClock clock;
        EXPECT_EQ(&clock, &Clock::current());
        EXPECT_EQ(&clock, Clock::set(nullptr));
        EXPECT_EQ(&Clock::system(), &Clock::current());
        EXPECT_EQ(&Clock::system(), Clock::set(&clock));
    }
    EXPECT_EQ(&Clock::system(), &Clock::current());
}

TEST(Clock, TheMachinesClockTellsTheTimeOfDay) {
    const std::int64_t before = std::time(nullptr);
    const std::int64_t now = Clock::system().now();
    EXPECT_LE(before, now);
    EXPECT_GE(std::int64_t{std::time(nullptr)}, now);
}

TEST(Clock, GivenSignalsDuringASleepThenItStillLastsTheFullSecond) {
    struct sigaction action {};
    action.sa_handler = [](int) { ++signalsSeen; };  // without SA_RESTART
    struct sigaction old {};
    ASSERT_EQ(0, sigaction(SIGUSR1, &action, &old));

    signalsSeen = 0;
    std::atomic<bool> done{false};
    std::chrono::duration<double> slept{};
    std::thread sleeper([&] {
        const auto start = std::chrono::steady_clock::now();
        Clock::system().sleepSeconds(1);
        slept = std::chrono::steady_clock::now() - start;
        done = true;
    });
    while (!done) {
        pthread_kill(sleeper.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    sleeper.join();
    sigaction(SIGUSR1, &old, nullptr);

    EXPECT_GE(slept.count(), 1.0);
    EXPECT_GE(signalsSeen, 1);
}

TEST(Clock, ZeroSecondsAreNoSleep) {
    const auto start = std::chrono::steady_clock::now();
    Clock::system().sleepSeconds(0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
}

TEST(Clock, TextIsTheLineOfCtimeWithoutItsEnd) {
    for (const std::time_t when : {std::time_t{0}, std::time_t{1000000000}, std::time_t{-1}}) {
        const std::string expected = std::ctime(&when);
        EXPECT_EQ(expected.substr(0, 24), Clock::text(when));
        EXPECT_EQ(24U, Clock::text(when).size());
        Clock::Text line;
        Clock::write(when, line);
        EXPECT_EQ(expected.substr(0, 24), line);
    }
}

TEST(Clock, TextFollowsAChangedTimeZone) {
    const char* const old = std::getenv("TZ");
    const std::string kept = old != nullptr ? old : "";
    setenv("TZ", "UTC", 1);
    EXPECT_EQ("Sun Sep  9 01:46:40 2001", Clock::text(1000000000));
    setenv("TZ", "XYZ-2", 1);
    EXPECT_EQ("Sun Sep  9 03:46:40 2001", Clock::text(1000000000));
    if (old != nullptr) {
        setenv("TZ", kept.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}

TEST(Clock, GivenAYearOfFiveDigitsThenTextIsDashes) {
    if (sizeof(std::time_t) == 4) GTEST_SKIP() << "NOT TESTED: 32-bit times end in 2038";
    const auto when = static_cast<std::time_t>(std::int64_t{1} << 50);
    EXPECT_EQ(std::string(24, '-'), Clock::text(when));
}

TEST(ManualClock, ASleepMovesItAndTellsTheTest) {
    ManualClock clock(100);
    unsigned told = 0;
    clock.onSleep([&](unsigned seconds) { told = seconds; });
    Clock::current().sleepSeconds(7);
    EXPECT_EQ(107, clock.now());
    EXPECT_EQ(7U, told);
    EXPECT_EQ(1, clock.sleeps());
    EXPECT_EQ(7, clock.slept());
    clock.advance(-7);
    EXPECT_EQ(100, Clock::current().now());
    clock.moveTo(std::int64_t{1} << 33);
    EXPECT_EQ(std::int64_t{1} << 33, Clock::current().now());
}

}  // namespace
