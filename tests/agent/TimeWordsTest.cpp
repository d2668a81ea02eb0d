#include "agent/TimeWords.h"

#include <gtest/gtest.h>

#include "agent/Failure.h"

namespace {

constexpr std::int64_t kNow = 1763712345;  // 2025-11-21 08:05:45 UTC

struct Case {
    const char* word;
    std::int64_t expected;
};

TEST(TimeWords, ReadsMoments) {
    const Case cases[] = {
        {"90s", kNow - 90},
        {"90m", kNow - 5400},
        {"2h", kNow - 7200},
        {"7d", kNow - 7 * 86400},
        {"1w", kNow - 7 * 86400},
        {"now", kNow},
        {"today", 1763683200},
        {"yesterday", 1763596800},
        {"2025-11-21", 1763683200},
        {"2025-11-21 05:30", 1763703000},
        {"2025-11-21 05:30:12", 1763703012},
        {"2025-11-21T05:30", 1763703000},
        {"2025-11-21T05:30:12Z", 1763703012},
        {"2025-11-21T05:30:12.75Z", 1763703012},
        {"2025-11-21T05:30:12+01:00", 1763699412},
        {"2025-11-21T05:30:12-00:30", 1763704812},
    };
    for (const Case& c : cases) EXPECT_EQ(c.expected, momentOf("--since", c.word, kNow)) << c.word;
    EXPECT_GT(momentOf("--since", "boot", kNow), 0);
}

TEST(TimeWords, GivenNoTimeThenOneLineNamesTheForms) {
    for (const char* word :
         {"", "h", "2", "2x", "-2h", "1234567s", "2.5h", "tomorrow", "2025-02-31", "2025-13-01",
          "2025-11-21 25:00", "2025-11-21T05:30:12+1", "2025-11-21T05:30:12.Z",
          "2025-11-21 05:30 x"}) {
        SCOPED_TRACE(word);
        try {
            (void)momentOf("--since", word, kNow);
            ADD_FAILURE();
        } catch (const Failure& e) {
            EXPECT_EQ(Failure::kBadUse, e.exitCode);
            EXPECT_EQ("--since: \"" + std::string(word) +
                          "\" is no time; give 2h, yesterday, boot, 2026-11-21 or "
                          "\"2026-11-21 05:30\"",
                      e.what());
        }
    }
}

TEST(TimeWords, AnEndIsInTheFuture) {
    EXPECT_EQ(kNow + 7200, endOf("--until", "2h", kNow));
    EXPECT_EQ(1763769600, endOf("--until", "2025-11-22", kNow));
    try {
        (void)endOf("--until", "2025-11-21", kNow);
        ADD_FAILURE();
    } catch (const Failure& e) {
        EXPECT_STREQ("--until: 2025-11-21 00:00:00 is over; give a time in the future", e.what());
    }
}

TEST(TimeWords, ASpanIsMoreThanNothing) {
    EXPECT_EQ(5400, spanOf("--for", "90m"));
    EXPECT_THROW(spanOf("--for", "0h"), Failure);
    EXPECT_THROW(spanOf("--for", "2026-11-21"), Failure);
    EXPECT_THROW(spanOf("--for", "\x1b[2Jh"), Failure);
}

}  // namespace
