#include "agent/settings/Quantity.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

TEST(Quantity, AcceptsDurations) {
    const std::vector<std::pair<const char*, std::int64_t>> accepts = {
        {"0", 0},       {"90", 90},      {"30s", 30},     {"5m", 300},     {"2h", 7200},
        {"7d", 604800}, {"2w", 1209600}, {"1h30m", 5400}, {"1d1s", 86401}, {"007s", 7},
    };
    for (const auto& [text, seconds] : accepts) {
        std::int64_t result = -1;
        EXPECT_TRUE(parseDuration(text, result)) << text;
        EXPECT_EQ(seconds, result) << text;
    }
}

TEST(Quantity, RejectsWhatIsNoDurationAndKeepsTheResult) {
    for (const char* text : {"", "s", "-1s", "-0", "5 m", "1h30", "1.5h", "5x", "5ms", " 5s",
                             "99999999999999999999s", "9223372036854775807m", "+5s"}) {
        std::int64_t result = -1;
        EXPECT_FALSE(parseDuration(text, result)) << text;
        EXPECT_EQ(-1, result) << text;
    }
}

TEST(Quantity, WritesDurationsInTheLargestUnitThatFits) {
    const std::vector<std::pair<std::int64_t, const char*>> texts = {
        {0, "0s"},     {59, "59s"},   {60, "1m"},    {90, "90s"},
        {5400, "90m"}, {86400, "1d"}, {604800, "7d"}};
    for (const auto& [seconds, text] : texts) EXPECT_EQ(text, writtenDuration(seconds));
}

TEST(Quantity, ReadsAndWritesSizes) {
    const std::vector<std::pair<const char*, std::int64_t>> accepts = {
        {"0", 0}, {"1000", 1000}, {"4K", 4096}, {"10M", 10485760}, {"1T", 1099511627776}};
    for (const auto& [text, bytes] : accepts) {
        std::int64_t result = -1;
        EXPECT_TRUE(parseSize(text, result)) << text;
        EXPECT_EQ(bytes, result) << text;
        EXPECT_EQ(text, writtenSize(bytes));
    }
    for (const char* text : {"", "M", "-1", "10MB", "10m", "1 K", "9223372036854775807K"}) {
        std::int64_t result = -1;
        EXPECT_FALSE(parseSize(text, result)) << text;
        EXPECT_EQ(-1, result) << text;
    }
}

TEST(Quantity, QuotesAsTomlDoes) {
    EXPECT_EQ("\"a\\\"b\\\\c\\nd\\u001B\"", quotedText("a\"b\\c\nd\x1b"));
}

}  // namespace
