#include "agent/sinks/SinkRule.h"

#include <gtest/gtest.h>

#include "tests/agent/SinkFixture.h"

namespace {

TEST(SinkRule, APatternMatchesTheWholeText) {
    struct {
        const char* pattern;
        const char* text;
        bool matches;
    } cases[] = {
        {"md0", "md0", true},
        {"md0", "md01", false},
        {"md0", "xmd0", false},
        {"md*", "md127", true},
        {"md*", "md", true},
        {"md?", "md", false},
        {"md?", "md1", true},
        {"*", "", true},
        {"", "", true},
        {"", "x", false},
        {"**x**", "axb", true},
        {"*0:?", "drive 1:0:3", true},
        {"a*b*c", "a-b-b-c", true},
        {"a*b*c", "a-b-b-d", false},
        {"DRIVE *", "drive 1:0:3", true},
        {"[md]0", "m0", false},
        {"[md]0", "[md]0", true},
        {"a\\*", "a*", false},
        {"*aab", "aaaaaaaab", true},
        {"drive 1:*", "drive 11:0", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.matches, matchesPattern(c.pattern, c.text)) << c.pattern << " on " << c.text;
    }
}

TEST(SinkRule, APatternOfManyStarsEndsSoon) {
    const std::string text(4000, 'a');
    EXPECT_FALSE(matchesPattern("*a*a*a*a*a*a*a*a*a*b", text));
}

TEST(SinkRule, TheFilterLooksAtSeverityObjectAndCode) {
    struct {
        const char* when;
        SinkFilter filter;
        Record record;
        bool passes;
    } cases[] = {
        {"nothing is restricted", {}, driveEvent(), true},
        {"as severe as wanted", {2, {}, {}}, driveEvent(402, kEventWarning), true},
        {"less severe", {2, {}, {}}, driveEvent(407, kEventInformation), false},
        {"without a severity", {3, {}, {}}, driveEvent(407, QELEvent::kNotSet), false},
        {"of a notice its incident counts", {1, {}, {}}, arrayNotice(), false},
        {"the name fits", {3, {"md*", "drive 1:*"}, {}}, driveEvent(), true},
        {"the key fits", {3, {"drive:S7K*"}, {}}, driveEvent(), true},
        {"another object", {3, {"drive 2:*"}, {}}, driveEvent(), false},
        {"one of the codes", {3, {}, {404, 401}}, driveEvent(401), true},
        {"another code", {3, {}, {404}}, driveEvent(401), false},
        {"of a notice its event's code", {3, {}, {301}}, arrayNotice(), true},
    };
    for (const auto& c : cases) EXPECT_EQ(c.passes, passesFilter(c.filter, c.record)) << c.when;
}

TEST(SinkRule, OnlyATestRecordCanBeMeantForOneSink) {
    EXPECT_EQ("sink:page", testObject("page"));
    EXPECT_TRUE(isTestOfAnother(sinkSettings("page"), testNotice("sink:pager")));
    EXPECT_FALSE(isTestOfAnother(sinkSettings("page"), testNotice("sink:page")));
    EXPECT_FALSE(isTestOfAnother(sinkSettings("page"), testNotice("")));
    Record live = testNotice("sink:other");
    live.origin = Origin::kLive;
    EXPECT_FALSE(isTestOfAnother(sinkSettings("page"), live));
    EXPECT_TRUE(isTestNotice(testNotice()));
    EXPECT_FALSE(isTestNotice(live));
}

}  // namespace
