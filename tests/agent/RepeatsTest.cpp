#include "agent/daemon/Repeats.h"

#include <gtest/gtest.h>

namespace {

QELEvent eventOf(int code, const std::string& text = "text") {
    QELEvent event(code, kEventError, text, "EVENT");
    event.location = Addr::ofDevice(1, 0, 3);
    return event;
}

struct Case {
    const char* when;
    std::vector<int> spooled;  // codes about drive "a", before the snapshot
    std::vector<int> found;    // codes that the next start finds about it
    std::vector<bool> repeats;
};

// clang-format off
const Case kCases[] = {
    {"nothing was spooled",                          {},                   {401, 499}, {false, false}},
    {"all of it was spooled",                        {401, 499},           {401, 499}, {true, true}},
    {"in another order",                             {499, 401},           {401, 499}, {true, true}},
    {"only the beginning was spooled",               {401},                {401, 499}, {true, false}},
    {"more is found than was spooled",               {401, 499},           {401, 499, 408}, {true, true, false}},
    {"it failed, was well, and failed again",        {401, 499, 407, 499}, {401, 499}, {false, true}},
    {"something else came after it",                 {401, 499, 420},      {401, 499}, {false, false}},
    {"one record explains one event",                {499},                {499, 499}, {true, false}},
};
// clang-format on

TEST(Repeats, WhatWasSpooledBeforeItsSnapshotIsRecognised) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.when);
        Repeats repeats;
        for (const int code : c.spooled) repeats.add("a", eventOf(code), 0);
        std::vector<QELEvent> events;
        for (const int code : c.found) events.push_back(eventOf(code));
        std::vector<Repeats::Found> found;
        for (const QELEvent& event : events) found.push_back({&event, "a", true, 1});
        EXPECT_EQ(c.repeats, repeats.find(found));
    }
}

TEST(Repeats, OnlyTheSameContentsOfTheSameObjectCount) {
    Repeats repeats;
    repeats.add("a", eventOf(401), 0);
    QELEvent other = eventOf(401);
    other.location.deviceID = 4;
    const QELEvent text = eventOf(401, "other text");
    const QELEvent same = eventOf(401);
    EXPECT_EQ(std::vector<bool>({false}), repeats.find({{&other, "a", true, 1}}));
    EXPECT_EQ(std::vector<bool>({false}), repeats.find({{&text, "a", true, 1}}));
    EXPECT_EQ(std::vector<bool>({false}), repeats.find({{&same, "b", true, 1}}));
    EXPECT_EQ(std::vector<bool>({true}), repeats.find({{&same, "a", true, 1}}));
    EXPECT_EQ(std::vector<bool>({false}), repeats.find({{&same, "a", true, 1}})) << "it is used up";
}

TEST(Repeats, TheTimeOfTheEventDoesNotCount) {
    Repeats repeats;
    repeats.add("a", eventOf(401), 0);
    QELEvent later = eventOf(401);
    later.timeStamp += 3600;
    EXPECT_EQ(std::vector<bool>({true}), repeats.find({{&later, "a", true, 1}}));
}

TEST(Repeats, AnEventWhileWeWatchIsNoRepeat) {
    Repeats repeats;
    repeats.add("a", eventOf(401), 0);
    const QELEvent same = eventOf(401);
    EXPECT_EQ(std::vector<bool>({false}), repeats.find({{&same, "a", false, 1}}));
}

TEST(Repeats, WhatTheSamePollRaisedBeforeIsNoReasonToDropAnything) {
    Repeats repeats;
    repeats.add("a", eventOf(401), 5);
    const QELEvent same = eventOf(401);
    EXPECT_EQ(std::vector<bool>({false}), repeats.find({{&same, "a", true, 5}}));
    EXPECT_EQ(std::vector<bool>({true}), repeats.find({{&same, "a", true, 6}}));
}

TEST(Repeats, GivenTheSnapshotHasCaughtUpThenNothingIsARepeat) {
    Repeats repeats;
    repeats.add("a", eventOf(401), 0);
    repeats.clear();
    const QELEvent same = eventOf(401);
    EXPECT_EQ(std::vector<bool>({false}), repeats.find({{&same, "a", true, 1}}));
    EXPECT_TRUE(repeats.empty());
}

}  // namespace
