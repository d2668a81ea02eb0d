// Milliseconds: the present time in milliseconds since 1970-01-01 UTC; with a clock that a test or
// a replay has put into use, in whole seconds of that clock. Any thread.
#ifndef AGENT_MILLISECONDS_H
#define AGENT_MILLISECONDS_H

#include <chrono>
#include <cstdint>

#include "util/Clock.h"

inline std::int64_t nowMilliseconds() {
    if (&Clock::current() != &Clock::system()) return Clock::current().now() * 1000;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

#endif  // AGENT_MILLISECONDS_H
