// WatchSpan: a time in which this machine was watched; between two spans nobody looked. Seconds
// since 1970-01-01 UTC.
#ifndef AGENT_SPOOL_WATCHSPAN_H
#define AGENT_SPOOL_WATCHSPAN_H

#include <cstdint>
#include <string>

struct WatchSpan {
    std::int64_t began = 0;
    std::int64_t lastPoll = 0;
    std::int64_t ended = 0;          // 0: not ended in order (still running, or killed)
    std::string bootId;              // of the kernel: another one means a reboot between
    std::int64_t firstSequence = 0;  // the last record before it
};

#endif  // AGENT_SPOOL_WATCHSPAN_H
