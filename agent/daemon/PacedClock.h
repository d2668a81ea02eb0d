// PacedClock: time that runs faster (or slower) than it does, for trials with simulated machines
// and for tests: each second that somebody sleeps takes `pace` seconds, and has then passed.
//
//   const PacedClock clock(0.01);        // a minute of the monitor passes in 0.6 seconds
//
// Only sleeping moves it: it stands still while work is done.
//
// Threads  Any. Ownership: puts itself into Clock::current() and, at the end, back what was there.
#ifndef AGENT_DAEMON_PACEDCLOCK_H
#define AGENT_DAEMON_PACEDCLOCK_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "util/Clock.h"

class PacedClock : public Clock {
public:
    explicit PacedClock(double paceIN)
        : pace(paceIN), time(Clock::system().now()), before(Clock::set(this)) {}
    ~PacedClock() override { Clock::set(before); }

    std::int64_t now() override { return time; }
    void sleepSeconds(unsigned seconds) override {
        std::this_thread::sleep_for(std::chrono::duration<double>(pace * seconds));
        time += seconds;
    }

private:
    const double pace;
    std::atomic<std::int64_t> time;
    Clock* before;
};

#endif  // AGENT_DAEMON_PACEDCLOCK_H
