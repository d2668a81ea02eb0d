#include "util/Number.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

struct NumberCase {
    const char* text;
    int base;
    std::int32_t asSigned;
    std::uint32_t asUnsigned;
};

// clang-format off
constexpr NumberCase kNumbers[] = {
    {"17",                   10, 17,         17},
    {" \t\n\v\f\r+17x",      10, 17,         17},
    {"-1",                   10, -1,         4294967295U},
    {"2147483647",           10, 2147483647, 2147483647U},
    {"2147483648",           10, 2147483647, 2147483648U},
    {"4294967295",           10, 2147483647, 4294967295U},
    {"4294967296",           10, 2147483647, 4294967295U},
    {"9223372036854775807",  10, 2147483647, 4294967295U},
    {"99999999999999999999999999999999", 10, 2147483647, 4294967295U},
    {"-2147483648",          10, INT_MIN,    2147483648U},
    {"-2147483649",          10, INT_MIN,    2147483647U},
    {"-4294967295",          10, INT_MIN,    1},
    {"-4294967296",          10, INT_MIN,    4294967295U},
    {"0x1F",                 16, 31,         31},
    {"0X1f",                 16, 31,         31},
    {"1F",                   16, 31,         31},
    {"-0x10",                16, -16,        4294967280U},
    {"0xffffffff",           16, 2147483647, 4294967295U},
    {"0x1ffffffff",          16, 2147483647, 4294967295U},
    {"0x",                   16, 0,          0},
    {"0x1F",                 10, 0,          0},
    {"101",                   2, 5,          5},
    {"z",                    36, 35,         35},
    // no number at all
    {"",                     10, 0,          0},
    {"x1",                   10, 0,          0},
    {"- 1",                  10, 0,          0},
    {"+-1",                  10, 0,          0},
    {"--1",                  10, 0,          0},
    {"\xa0" "1",             10, 0,          0},
    {nullptr,                10, 0,          0},
};

struct HexCase {
    const char* text;
    std::uint32_t value;
};

constexpr HexCase kHexAccepted[] = {
    {"0",         0},
    {"10",        16},
    {" +Ff zz",   255},
    {"0x1f",      31},
    {"0X1F",      31},
    {"0x",        0},
    {"0xzz",      0},
    {"-1",        0xffffffff},
    {"ffffffff",  0xffffffff},
    {"100000000", 0xffffffff},
    {"1FFFFFFFF", 0xffffffff},
    {"-100000000", 0xffffffff},
};

constexpr const char* kHexRejected[] = {"", "zz", " ", "-", "+", "x1", "g", nullptr};
// clang-format on

TEST(Number, ConversionsFollowTheRulesForThirtyTwoBits) {
    for (const NumberCase& c : kNumbers) {
        SCOPED_TRACE(c.text == nullptr ? "null" : c.text);
        EXPECT_EQ(c.asSigned, strtol32(c.text, c.base));
        EXPECT_EQ(c.asUnsigned, strtoul32(c.text, c.base));
    }
}

TEST(Number, DecimalIsTheBaseWhenNoneIsGiven) {
    EXPECT_EQ(10, strtol32("10"));
    EXPECT_EQ(10U, strtoul32("10"));
}

TEST(Number, GivenHexadecimalDigitsWhenScannedThenTheValueIsReplaced) {
    for (const HexCase& c : kHexAccepted) {
        SCOPED_TRACE(c.text);
        std::uint32_t value = 5;
        EXPECT_TRUE(scanHex32(c.text, value));
        EXPECT_EQ(c.value, value);
    }
}

TEST(Number, GivenNoHexadecimalDigitWhenScannedThenTheValueStays) {
    for (const char* text : kHexRejected) {
        SCOPED_TRACE(text == nullptr ? "null" : text);
        std::uint32_t value = 5;
        EXPECT_FALSE(scanHex32(text, value));
        EXPECT_EQ(5U, value);
    }
}

}  // namespace
