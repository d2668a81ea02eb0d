#include "monitor/TextArguments.h"

#include <gtest/gtest.h>

#include <string>

#include "nls/NLSParser.h"

namespace {

using TextArguments::canFill;
using TextArguments::List;

struct FillCase {
    const char* text;
    List args;
    const char* filled;  // null: never ends, or throws
};

const FillCase kFills[] = {
    {"x {0}", {}, "x "},
    {"x {0}", {""}, "x "},
    {"{1} {0}", {"plain", "name"}, "name plain"},
    {"{0} {1}", {"}", "0}"}, "} 0}"},
    // Another argument, or none: ends.
    {"{0}", {"{1}", "name"}, "name"},
    {"{1}", {"name", "{0}{0}{0}"}, "namenamename"},
    {"{0}", {"{1}", "{2}", "name"}, "name"},
    {"{0}", {"{7}"}, ""},
    {"{0}", {"{7} and {99999999999999999999}"}, " and 999999999999999999}"},
    {"{0}", {"{-1}"}, "}"},
    // Itself, but nobody calls for it.
    {"{1}", {"{0}", "name"}, "name"},
    {"x", {"{0}"}, "x"},
    // What the number is depends on what follows.
    {"{0}{1} (slot {2})", {"1", " a{", "7"}, "1 a1slot 7)"},
    {"{1}0} end", {"name", "a{"}, "aname end"},
    {"{1}5} end", {"name", "a{"}, "a end"},
    {"{1} end", {"name", "a{12"}, "a end"},
    // Itself.
    {"{0}", {"{0}"}, nullptr},
    {"{1}", {"name", "{1}"}, nullptr},
    {"{1}", {"name", "{ +1}"}, nullptr},
    {"{0}", {"{}"}, nullptr},  // a "{" without a number calls for the first
    {"{0}", {"{x"}, nullptr},
    {"{0}", {"much{0}more"}, nullptr},
    // Itself over others.
    {"{0}", {"{1}", "{0}"}, nullptr},
    {"{0}", {"{1}", "{2}", "{0}"}, nullptr},
    {"{1}1}", {"name", "{"}, nullptr},
    // Left open at the end.
    {"x {0}", {"a{"}, nullptr},
    {"x {0} {1}", {"a{", "a{"}, nullptr},
    {"x {0}{", {"a{7}b"}, nullptr},
    {"x {0}{", {"a{7}"}, "x a{"},  // what follows a missing argument is passed over
};

TEST(TextArguments, CanFillUnlessItNeverEndsOrIsLeftOpen) {
    for (const FillCase& c : kFills) {
        SCOPED_TRACE(std::string(c.text) + " with " + testing::PrintToString(c.args));
        ASSERT_EQ(c.filled != nullptr, canFill(c.text, c.args));
        if (c.filled == nullptr) continue;
        std::string text = c.text;
        NLSParser::parse(text, c.args);
        EXPECT_EQ(c.filled, text);
    }
}

// A text that would throw with any argument is its author's mistake, and stays one.
TEST(TextArguments, GivenNoPlaceholderInTheArgumentsThenTheTextIsNotLookedAt) {
    EXPECT_TRUE(canFill("x {", {"a", "}"}));
}

// 1000 substitutions and none more: the first argument calls for the second so many times.
TEST(TextArguments, GivenMoreThanAThousandSubstitutionsThenTheyCountAsWithoutEnd) {
    std::string calls;
    for (int i = 0; i < 999; ++i) calls += "{1}";
    EXPECT_TRUE(canFill("{0}", {calls, "x"}));
    EXPECT_FALSE(canFill("{0}", {calls + "{1}", "x"}));
    EXPECT_FALSE(canFill("{0}{0}", {std::string(1024 * 1024, 'x') + "{1}", "x"}));
}

// Every short combination of what matters, inserted for real: it would never return, or throw, if
// one that is said to end did not.
TEST(TextArguments, WhatCanBeFilledEnds) {
    const std::string parts[] = {"", "a", "{0}", "{1}", "{9}", "{", "}", "{a", "{1"};
    int ended = 0;
    for (const std::string& first : parts) {
        for (const std::string& second : parts) {
            for (const std::string& third : parts) {
                for (const std::string& fourth : parts) {
                    const List args = {first + second, third + fourth};
                    std::string text = "x {0}{1}{0} {1}";
                    if (!canFill(text, args)) continue;
                    ASSERT_NO_THROW(NLSParser::parse(text, args));
                    ++ended;
                }
            }
        }
    }
    EXPECT_LT(864, ended);  // those of them that leave no "{" open
}

TEST(TextArguments, InertOnesHoldNoPlaceholder) {
    EXPECT_EQ((List{"_0}", "a_", "b"}), TextArguments::inert({"{0}", "a{", "b"}));
}

}  // namespace
