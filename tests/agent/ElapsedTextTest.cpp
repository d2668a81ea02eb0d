#include "agent/ElapsedText.h"

#include <gtest/gtest.h>

#include <cstdint>

TEST(ElapsedText, GivenSecondsThenTwoUnitsAtMost) {
    const struct {
        std::int64_t seconds;
        const char* text;
    } rows[] = {
        {-5, "0 s"},
        {0, "0 s"},
        {1, "1 s"},
        {59, "59 s"},
        {60, "1 min"},
        {61, "1 min 1 s"},
        {3599, "59 min 59 s"},
        {3600, "1 h"},
        {3601, "1 h"},
        {11520, "3 h 12 min"},
        {86399, "23 h 59 min"},
        {86400, "1 d"},
        {200000, "2 d 7 h"},
        {31536000, "365 d"},
    };
    for (const auto& row : rows) EXPECT_EQ(elapsedText(row.seconds), row.text);
}
