#include "agent/Duration.h"

#include <gtest/gtest.h>

namespace {

TEST(Duration, GivenSecondsThenSaysTheTwoLargestUnits) {
    struct {
        std::int64_t seconds;
        const char* text;
    } constexpr kRows[] = {
        {-5, "0 s"},
        {0, "0 s"},
        {59, "59 s"},
        {60, "1 min"},
        {61, "1 min 1 s"},
        {3599, "59 min 59 s"},
        {3600, "1 h"},
        {11520, "3 h 12 min"},
        {86399, "23 h 59 min"},
        {86400, "1 d"},
        {183600, "2 d 3 h"},
        {86460, "1 d"},
    };
    for (const auto& row : kRows) EXPECT_EQ(row.text, durationText(row.seconds));
}

}  // namespace
