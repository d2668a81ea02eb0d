#include "agent/fleet/FleetSeen.h"

#include <gtest/gtest.h>

TEST(FleetSeen, GivenAnIdAgainThenItIsARepeatOrSomethingElse) {
    FleetSeen seen(10);
    EXPECT_EQ(FleetSeen::kNew, seen.add("m:1", 7));
    EXPECT_EQ(FleetSeen::kRepeat, seen.add("m:1", 7));
    EXPECT_EQ(FleetSeen::kOther, seen.add("m:1", 8));
    EXPECT_EQ(FleetSeen::kRepeat, seen.add("m:1", 7));  // the first one counts
    EXPECT_EQ(FleetSeen::kNew, seen.add("m:2", 7));
}

TEST(FleetSeen, GivenMoreThanItRemembersThenTheOldestIsForgotten) {
    FleetSeen seen(2);
    for (const char* id : {"a", "b", "a", "c"}) (void)seen.add(id, 0);
    EXPECT_EQ(FleetSeen::kRepeat, seen.add("b", 0));
    EXPECT_EQ(FleetSeen::kRepeat, seen.add("c", 0));
    EXPECT_EQ(FleetSeen::kNew, seen.add("a", 0));  // a repeat does not keep it
    EXPECT_EQ(FleetSeen::kNew, seen.add("b", 0));
}
