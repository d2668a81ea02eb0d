#include "nls/StringTokenizer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct TokenCase {
    const char* text;
    const char* delimiter;
    std::vector<std::string> tokens;
};

const TokenCase kCases[] = {
    {"a,,b,", ",", {"a", "b"}},
    {",,a", ",", {"a"}},
    {"a", ",", {"a"}},
    {"a, b", ", ", {"a", "b"}},
    {"a,b c", ", ", {"a,b c"}},  // the delimiter is one text, not a set of characters
    {"a--b---c", "--", {"a", "b", "-c"}},
    {" a ", ",", {" a "}},
    {"ab", "ab", {}},
    {"ab", "abc", {"ab"}},
    // nothing to cut
    {"", ",", {}},
    {",,,", ",", {}},
    {"a,b", "", {}},
    {"", "", {}},
};

TEST(StringTokenizer, CutsAtTheWholeDelimiterAndDropsEmptyTokens) {
    for (const TokenCase& c : kCases) {
        SCOPED_TRACE(std::string(c.text) + " at " + c.delimiter);
        StringTokenizer tokenizer(c.text, c.delimiter);
        auto left = static_cast<int>(c.tokens.size());
        for (const std::string& token : c.tokens) {
            EXPECT_EQ(left--, tokenizer.countTokens());
            EXPECT_TRUE(tokenizer.hasMoreTokens());
            EXPECT_EQ(token, tokenizer.nextToken());
        }
        EXPECT_EQ(0, tokenizer.countTokens());
        EXPECT_FALSE(tokenizer.hasMoreTokens());
        EXPECT_EQ("", tokenizer.nextToken());
        EXPECT_EQ("", tokenizer.nextToken());
    }
}

TEST(StringTokenizer, GivenNulBytesThenTheyAreOrdinaryCharacters) {
    StringTokenizer tokenizer(std::string("a\0b", 3), std::string("\0", 1));
    EXPECT_EQ("a", tokenizer.nextToken());
    EXPECT_EQ("b", tokenizer.nextToken());
}

TEST(StringTokenizer, CopiesAreIndependent) {
    StringTokenizer first("a,b", ",");
    EXPECT_EQ("a", first.nextToken());
    StringTokenizer second = first;
    EXPECT_EQ("b", first.nextToken());
    EXPECT_EQ("b", second.nextToken());
}

}  // namespace
