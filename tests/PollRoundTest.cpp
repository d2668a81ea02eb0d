#include "storlib/sources/PollRound.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

// Plays a sequence of questions (a digit: the controller) and readings ("r"); a "|" in the result
// stands before each call that opens a poll.
std::string played(const std::string& calls) {
    PollRound round;
    std::string result;
    for (const char c : calls) {
        const bool opens =
            c == 'r' ? round.read() : round.asked(static_cast<unsigned int>(c - '0'));
        if (opens) result += '|';
        result += c;
    }
    return result;
}

struct Case {
    const char* when;
    const char* expected;
};

TEST(PollRound, GivenTheCallsOfAMonitorThenFindsWhereEachPollBegins) {
    const Case cases[] = {
        {"one controller, no refresh", "r0|0|0|0"},
        {"one controller, refreshed by each poll", "r0|0r|0r|0r"},
        {"two controllers", "r01|01|01r|01"},
        {"a controller disappears", "r01|01r|1|1"},
        {"the first controller of two disappears", "r01|01r|1r|1"},
        {"a controller appears", "r0|0r|01r|01"},
        {"all controllers are exchanged", "r0|0r|1|1"},
        {"all of two are exchanged", "r01|01r|23|23"},
        {"no controller, so only readings", "r|r|r|r"},
        {"the last controller disappears", "r0|0r|r|r"},
        {"the first controller appears", "r|r|0|0"},
        {"two controllers appear on an empty machine", "r|r|01|01"},
    };
    for (const Case& c : cases) {
        std::string calls = c.expected;
        calls.erase(std::remove(calls.begin(), calls.end(), '|'), calls.end());
        EXPECT_EQ(c.expected, played(calls)) << c.when;
    }
}

}  // namespace
