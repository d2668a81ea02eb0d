#include "agent/commands/WatchGaps.h"

#include <algorithm>

std::int64_t spanEnd(const WatchSpan& span, std::int64_t now) {
    if (span.ended != 0) return span.ended;
    const std::int64_t sign = std::max(span.began, span.lastPoll);
    return now - sign <= kSpanAlive ? now : sign;
}

std::vector<WatchGap> watchGaps(const std::vector<WatchSpan>& spans, std::int64_t since,
                                std::int64_t now) {
    std::vector<WatchGap> gaps;
    std::int64_t seen = since;  // up to here all is told
    std::string boot;
    for (const WatchSpan& span : spans) {
        if (span.began > seen) {
            gaps.push_back({seen, span.began, !boot.empty() && boot != span.bootId, false});
        }
        // Only the last one can be running: the next one began because it was not.
        const bool last = &span == &spans.back();
        const std::int64_t end =
            last ? spanEnd(span, now) : std::max({span.began, span.lastPoll, span.ended});
        seen = std::max(seen, end);
        boot = span.bootId;
    }
    if (seen < now) gaps.push_back({seen, now, false, true});
    return gaps;
}

std::int64_t lastRunEnd(const std::vector<WatchSpan>& spans, std::int64_t now) {
    if (spans.empty()) return 0;
    const std::int64_t end = spanEnd(spans.back(), now);
    if (end != now) return end;
    if (spans.size() < 2) return 0;
    const WatchSpan& before = spans[spans.size() - 2];
    return std::max({before.began, before.lastPoll, before.ended});
}
