#include "agent/fleet/FleetFailures.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const FleetFailures::Kind kKova{"KOVA", "K500", "A7"};
const FleetFailures::Kind kNewer{"KOVA", "K500", "B1"};

}  // namespace

TEST(FleetFailures, GivenOneDriveSeveralTimesThenItCountsOnce) {
    FleetFailures failures;
    for (const int at : {300, 100, 200}) failures.add("m1", kKova, "S1", at);
    failures.add("m2", kKova, "S1", 250);  // it has moved
    const auto rows = failures.list(0, 1, {{kKova, 12}});
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(1, rows[0].failed);
    EXPECT_EQ(2, rows[0].machines);
    EXPECT_EQ(12, rows[0].inUse);
    EXPECT_EQ(100, rows[0].firstAt);
    EXPECT_EQ(300, rows[0].lastAt);
    EXPECT_EQ("K500", rows[0].model);
}

TEST(FleetFailures, GivenKindsThenThoseWithEnoughComeMostFirst) {
    FleetFailures failures;
    failures.add("m1", kKova, "S1", 100);
    for (const char* serial : {"S2", "S3"}) failures.add("m1", kNewer, serial, 100);
    for (const char* serial : {"S4", "S5"}) failures.add("m1", {"", "", ""}, serial, 100);
    const auto rows = failures.list(0, 1, {});
    ASSERT_EQ(2u, rows.size());  // those without a model are no kind
    EXPECT_EQ("B1", rows[0].firmware);
    EXPECT_EQ(2, rows[0].failed);
    EXPECT_EQ(0, rows[0].inUse);
    EXPECT_EQ("A7", rows[1].firmware);
    EXPECT_EQ(1u, failures.list(0, 2, {}).size());
    EXPECT_EQ(0u, failures.list(101, 1, {}).size());  // all failed before
}

TEST(FleetFailures, GivenAMachineThatTellsOfTooManyThenTheRestIsLeftOut) {
    FleetFailures failures;
    for (int i = 0; i < FleetFailures::kMostOfOne + 5; ++i) {
        failures.add("m1", kKova, "S" + std::to_string(i), 100);
    }
    failures.add("m1", kKova, "S0", 500);  // one that is known still counts
    failures.add("m2", kKova, "T1", 100);
    const auto rows = failures.list(0, 1, {});
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(FleetFailures::kMostOfOne + 1, rows[0].failed);
    EXPECT_EQ(500, rows[0].lastAt);
}
