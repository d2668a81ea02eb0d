// FastClock: a clock that nobody waits for. While it lives it is the clock of the whole process:
// a sleep returns at once and the time has moved by as much.
//
//   FastClock clock(std::time(nullptr));
//   monitor.poll(1, events);
//   clock.sleepSeconds(65);   // the next step of a recording is more than a minute later
//
// Threads  Any. Ownership: puts itself into Clock::current() and, at the end, back what was there.
#ifndef AGENT_FASTCLOCK_H
#define AGENT_FASTCLOCK_H

#include <atomic>
#include <cstdint>

#include "util/Clock.h"

class FastClock : public Clock {
public:
    explicit FastClock(std::int64_t start) : time(start), before(Clock::set(this)) {}
    ~FastClock() override { Clock::set(before); }

    std::int64_t now() override { return time; }
    void sleepSeconds(unsigned seconds) override { time += seconds; }

private:
    std::atomic<std::int64_t> time;
    Clock* before;
};

#endif  // AGENT_FASTCLOCK_H
