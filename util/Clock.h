// Clock: the one seam through which the system reads the time and sleeps.
//
// Everything that stamps an event, times a reminder or waits for the next poll asks
// Clock::current(), so that a test can let thirty days pass in no time.
//
// Ownership  set() borrows; the caller keeps its clock alive until another one is set.
// Threads    Any thread may call anything here; a replaced clock brings its own locking.
// Units      Seconds since 1970-01-01 UTC, in 64 bits on every host.
// Errors     None.
//
//   const std::int64_t elapsed = Clock::current().now() - startTime;
//   Clock::current().sleepSeconds(1);
#ifndef UTIL_CLOCK_H
#define UTIL_CLOCK_H

#include <cstdint>
#include <ctime>
#include <string>

class Clock {
public:
    Clock() = default;
    virtual ~Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    virtual std::int64_t now() = 0;

    // Returns after the full time, also when signals arrive meanwhile; 0 returns at once.
    virtual void sleepSeconds(unsigned seconds) = 0;

    // The clock of the machine.
    static Clock& system();

    // The clock in use: the machine's until set() names another.
    static Clock& current();

    // Puts `clock` into use, or the machine's when it is null, and returns the one used before.
    static Clock* set(Clock* clock);

    // `when` as ctime() writes it in local time, without the line end: "Sun Sep  9 01:46:40 2001",
    // always 24 characters (dashes where the year has no four digits).
    static std::string text(std::time_t when);

    // The same into `line`, for callers that must not need memory.
    using Text = char[25];
    static void write(std::time_t when, Text& line);
};

#endif  // UTIL_CLOCK_H
