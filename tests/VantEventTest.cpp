#include "events/VantEvent.h"

#include <gtest/gtest.h>

#include <climits>

#include "tests/support/ManualClock.h"

namespace {

struct SeverityCase {
    int qual, severity;
    const char* key;
};

// clang-format off
constexpr SeverityCase kSeverities[] = {
    {0,       2, "eventViewerCritical"},
    {1,       1, "eventViewerFatal"},
    {2,       2, "eventViewerCritical"},
    {3,       1, "eventViewerFatal"},
    {4,       1, "eventViewerFatal"},
    {5,       2, "eventViewerCritical"},
    {6,       1, "eventViewerFatal"},
    {7,       3, "eventViewerInformation"},
    {8,       2, "eventViewerCritical"},
    {9,       2, "eventViewerCritical"},
    {10,      1, "eventViewerFatal"},
    // any other
    {11,      3, "eventViewerInformation"},
    {-1,      3, "eventViewerInformation"},
    {INT_MAX, 3, "eventViewerInformation"},
    {INT_MIN, 3, "eventViewerInformation"},
};
// clang-format on

TEST(VantEvent, TheQualifierDecidesTheSeverityAndItsWord) {
    for (const SeverityCase& c : kSeverities) {
        SCOPED_TRACE(c.qual);
        VantEvent event;
        event.qual = c.qual;
        EXPECT_EQ(c.severity, event.getSeverity());
        EXPECT_EQ(std::string(c.key) + "\t",
                  event.toString().substr(0, std::string(c.key).size() + 1));
    }
}

TEST(VantEvent, GivenNoArgumentsThenNothingIsSetButTheTime) {
    ManualClock clock(77);
    const VantEvent event;
    EXPECT_EQ(77, event.timeStamp);
    EXPECT_EQ(0, event.qual);
    EXPECT_EQ(0, event.status);
    EXPECT_EQ(0, event.senseKey);
    EXPECT_EQ(0, event.additionalSenseCode);
    EXPECT_EQ(0, event.sequence);
    EXPECT_EQ("", event.ldPath);
    EXPECT_EQ("", event.description);
}

TEST(VantEvent, GivenAllArgumentsThenEachHasItsField) {
    ManualClock clock(77);
    const VantEvent event(1, 2, 3, 0x81, 5, "path", "description");
    clock.advance(1);
    const VantEvent copy = event;
    EXPECT_EQ(77, copy.timeStamp);
    EXPECT_EQ(1, copy.qual);
    EXPECT_EQ(2, copy.status);
    EXPECT_EQ(3, copy.senseKey);
    EXPECT_EQ(0x81, copy.additionalSenseCode);
    EXPECT_EQ(5, copy.sequence);
    EXPECT_EQ("path", copy.ldPath);
    EXPECT_EQ("description", copy.description);
}

TEST(VantEvent, GivenASequenceBeyondThirtyTwoBitsThenItIsCut) {
    EXPECT_EQ(-1, VantEvent(0, 0, 0, 0, static_cast<long>(0xffffffffUL), "", "").sequence);
    EXPECT_EQ(INT_MIN, VantEvent(0, 0, 0, 0, static_cast<long>(0x80000000UL), "", "").sequence);
}

TEST(VantEvent, TheLineHasTheFieldsBetweenTabs) {
    const VantEvent event(7, 0x12, 1, -1, -1234, "/0/1/2", "bad block repaired");
    EXPECT_EQ(
        "eventViewerInformation\t                  \t7\t12\t1\tffffffff\t-1234\t/0/1/2\t"
        "bad block repaired",
        event.toString());
}

}  // namespace
