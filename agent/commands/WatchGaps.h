// WatchGaps: when nobody watched, between a moment and now.
//
//   const std::vector<WatchGap> gaps = watchGaps(spans, since, now);
//
// A span that was never ended is still running when its last sign of life is at most `alive`
// seconds old; else it ended with that sign. Pure functions; any thread. Units: seconds.
#ifndef AGENT_COMMANDS_WATCHGAPS_H
#define AGENT_COMMANDS_WATCHGAPS_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/spool/WatchSpan.h"

struct WatchGap {
    std::int64_t from = 0;
    std::int64_t to = 0;
    bool rebooted = false;  // the machine was started again in it
    bool open = false;      // it lasts
};

constexpr std::int64_t kSpanAlive = 300;

std::int64_t spanEnd(const WatchSpan& span, std::int64_t now);  // `now` when it is running
std::vector<WatchGap> watchGaps(const std::vector<WatchSpan>& spans, std::int64_t since,
                                std::int64_t now);
// Where the last run before the present one ended, or the last one when none is running; 0 when
// there was none.
std::int64_t lastRunEnd(const std::vector<WatchSpan>& spans, std::int64_t now);

#endif  // AGENT_COMMANDS_WATCHGAPS_H
