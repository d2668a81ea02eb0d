// ManualClock: a clock that stands still until a test moves it.
//
// In use from construction to the end of the scope; a sleep advances it and returns at once.
//
//   ManualClock clock(1000000000);
//   clock.advance(28801);
//   clock.onSleep([&](unsigned) { if (clock.sleeps() == 5) monitor.stop(); });
//
// Threads: any. The callback runs on the sleeping thread, without a lock, after the clock moved.
#ifndef TESTS_SUPPORT_MANUALCLOCK_H
#define TESTS_SUPPORT_MANUALCLOCK_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>

#include "util/Clock.h"

class ManualClock : public Clock {
public:
    static constexpr std::int64_t kStart = 1000000000;  // Sun Sep  9 01:46:40 2001 UTC

    explicit ManualClock(std::int64_t start = kStart) : time(start), before(Clock::set(this)) {}
    ~ManualClock() override { Clock::set(before); }

    std::int64_t now() override { return time; }

    void sleepSeconds(unsigned seconds) override {
        time += seconds;
        ++sleepCount;
        sleptSeconds += seconds;
        if (callback) callback(seconds);
    }

    void advance(std::int64_t seconds) { time += seconds; }
    void moveTo(std::int64_t when) { time = when; }

    // Set it before the other threads start.
    void onSleep(std::function<void(unsigned)> action) { callback = std::move(action); }

    int sleeps() const { return sleepCount; }            // calls of sleepSeconds()
    std::int64_t slept() const { return sleptSeconds; }  // seconds in all

private:
    std::atomic<std::int64_t> time;
    std::atomic<int> sleepCount{0};
    std::atomic<std::int64_t> sleptSeconds{0};
    std::function<void(unsigned)> callback;
    Clock* before;
};

#endif  // TESTS_SUPPORT_MANUALCLOCK_H
