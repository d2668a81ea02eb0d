#include "agent/commands/WatchGaps.h"

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t kNow = 100000;

WatchSpan span(std::int64_t began, std::int64_t lastPoll, std::int64_t ended,
               const char* boot = "a") {
    WatchSpan made;
    made.began = began;
    made.lastPoll = lastPoll;
    made.ended = ended;
    made.bootId = boot;
    return made;
}

struct Case {
    const char* when;
    std::vector<WatchSpan> spans;
    std::int64_t since;
    const char* gaps;  // "from-to", + rebooted, ... open
};

TEST(WatchGaps, AreWhereNoSpanIs) {
    const Case cases[] = {
        {"running all the time", {span(1000, kNow - 5, 0)}, 2000, ""},
        {"began later", {span(3000, kNow - 5, 0)}, 2000, "2000-3000 "},
        {"ended in order", {span(1000, 1500, 1600), span(3000, kNow, 0)}, 1200, "1600-3000 "},
        {"killed", {span(1000, 1500, 0), span(3000, kNow, 0)}, 1200, "1500-3000 "},
        {"killed and back at once",
         {span(kNow - 90, kNow - 60, 0), span(kNow - 10, 0, 0)},
         kNow - 80,
         "99940-99990 "},
        {"rebooted", {span(1000, 1500, 0), span(3000, kNow, 0, "b")}, 1200, "1500-3000+ "},
        {"not running now", {span(1000, 1500, 1600)}, 1200, "1600-100000... "},
        {"killed, not running now", {span(1000, 1500, 0)}, 1200, "1500-100000... "},
        {"two gaps",
         {span(1000, 0, 1600), span(3000, 0, 4000), span(5000, kNow, 0)},
         0,
         "0-1000 1600-3000 4000-5000 "},
    };
    for (const Case& c : cases) {
        std::string gaps;
        for (const WatchGap& gap : watchGaps(c.spans, c.since, kNow)) {
            gaps += std::to_string(gap.from) + "-" + std::to_string(gap.to) +
                    (gap.rebooted ? "+" : "") + (gap.open ? "..." : "") + " ";
        }
        EXPECT_EQ(c.gaps, gaps) << c.when;
    }
}

TEST(WatchGaps, TheLastRunIsTheOneBeforeThePresentOne) {
    EXPECT_EQ(0, lastRunEnd({}, kNow));
    EXPECT_EQ(0, lastRunEnd({span(1000, kNow, 0)}, kNow));
    EXPECT_EQ(1600, lastRunEnd({span(1000, 1500, 1600)}, kNow));
    EXPECT_EQ(1500, lastRunEnd({span(1000, 1500, 0), span(3000, kNow, 0)}, kNow));
}

}  // namespace
