// QuickClock: lets a minute of the engine pass in a few milliseconds, but does not spin.
//
//   QuickClock clock;              // the clock of the whole program, until it goes out of scope
//
// Any thread may sleep by it.
#ifndef TESTS_AGENT_SUPPORT_QUICKCLOCK_H
#define TESTS_AGENT_SUPPORT_QUICKCLOCK_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "util/Clock.h"

class QuickClock : public Clock {
public:
    QuickClock() : before(Clock::set(this)) {}
    ~QuickClock() override { Clock::set(before); }
    std::int64_t now() override { return time; }
    void sleepSeconds(unsigned seconds) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        time += static_cast<std::int64_t>(seconds) * 13;
    }

private:
    std::atomic<std::int64_t> time{1000000000};
    Clock* before;
};

#endif  // TESTS_AGENT_SUPPORT_QUICKCLOCK_H
