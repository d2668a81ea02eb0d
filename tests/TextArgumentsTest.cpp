#include "monitor/TextArguments.h"

#include <gtest/gtest.h>

#include <string>

#include "nls/NLSParser.h"

namespace {

using TextArguments::List;

struct ArgumentsCase {
    List args;
    bool end;
};

const ArgumentsCase kArguments[] = {
    {{}, true},
    {{""}, true},
    {{"plain", "name"}, true},
    {{"}", "0}", "%0%"}, true},
    // Another argument, or none: ends.
    {{"{1}", "name"}, true},
    {{"name", "{0}{0}{0}"}, true},
    {{"{1}", "{2}", "name"}, true},
    {{"{1}", "name", "{0}"}, true},
    {{"{7}"}, true},
    {{"{7} and {99999999999999999999}"}, true},
    {{"{-1}"}, true},
    {{"name", "{1"}, false},
    // Itself.
    {{"{0}"}, false},
    {{"name", "{1}"}, false},
    {{"name", "{ +1}"}, false},
    // A "{" without a number calls for the first.
    {{"{}"}, false},
    {{"{x"}, false},
    {{"name", "{x"}, true},
    // Itself over others.
    {{"{1}", "{0}"}, false},
    {{"{1}", "{2}", "{0}"}, false},
    {{"name", "{2}", "{1}"}, false},
    // What the number is depends on what follows.
    {{"name", "a{"}, false},
    {{"name", "a{ "}, false},
    {{"name", "a{-"}, false},
    {{"name", "a{12"}, false},
};

TEST(TextArguments, EndUnlessOneCallsForItselfOrIsLeftOpen) {
    for (const ArgumentsCase& c : kArguments) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        EXPECT_EQ(c.end, TextArguments::end(c.args));
    }
}

// Every short combination of what matters, inserted for real: it would never return if one that is
// said to end did not, and throw if a "{" were left at the end.
TEST(TextArguments, WhatIsSaidToEndEnds) {
    const std::string parts[] = {"", "a", "{0}", "{1}", "{9}", "{", "}", "{a", "{1"};
    NLSParser nls;
    int ended = 0;
    for (const std::string& first : parts) {
        for (const std::string& second : parts) {
            for (const std::string& third : parts) {
                for (const std::string& fourth : parts) {
                    const List args = {first + second, third + fourth};
                    if (!TextArguments::end(args)) continue;
                    std::string text = "x {0}{1}{0} {1}";
                    nls.parse(text, args);
                    ++ended;
                }
            }
        }
    }
    EXPECT_EQ(864, ended);
}

TEST(TextArguments, InertOnesHoldNoPlaceholder) {
    EXPECT_EQ((List{"_0}", "a_", "b"}), TextArguments::inert({"{0}", "a{", "b"}));
}

}  // namespace
