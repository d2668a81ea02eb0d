#include "agent/FastClock.h"

#include <gtest/gtest.h>

namespace {

TEST(FastClock, WhileItLivesASleepMovesTheTimeOfTheProcess) {
    {
        const FastClock clock(1000);
        EXPECT_EQ(1000, Clock::current().now());
        Clock::current().sleepSeconds(86400 * 30);
        EXPECT_EQ(1000 + 86400 * 30, Clock::current().now());
    }
    EXPECT_EQ(&Clock::system(), &Clock::current());
}

TEST(FastClock, GivenTwoThenTheFirstComesBack) {
    FastClock first(1);
    {
        const FastClock second(2);
        EXPECT_EQ(2, Clock::current().now());
    }
    EXPECT_EQ(&first, &Clock::current());
}

}  // namespace
