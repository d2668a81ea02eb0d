#include "agent/StorageWords.h"

#include <gtest/gtest.h>

#include <string>

#include "storlib/StorEnums.h"

namespace {

struct StateCase {
    int number;
    const char* word;
    const char* listed;
};

// clang-format off
constexpr StateCase kDrives[] = {
    {0,  "unused",     "ready"},
    {1,  "normal",     "member"},
    {2,  "failed",     "FAILED"},
    {3,  "unknown",    "state 3"},
    {4,  "spare",      "hot spare"},
    {5,  "rebuilding", "rebuilding"},
    {7,  "missing",    "absent"},
    {-1, "unknown",    "state -1"},
};
constexpr StateCase kArrays[] = {
    {kLogicalFree,           "unknown",    "free"},
    {kLogicalOffline,        "failed",     "OFFLINE"},
    {kLogicalOptimal,        "normal",     "optimal"},
    {kLogicalDegraded,       "degraded",   "DEGRADED"},
    {kLogicalResyncing,      "checking",   "resyncing"},
    {kLogicalHidden,         "unknown",    "hidden"},
    {kLogicalRebuilding,     "rebuilding", "REBUILDING"},
    {kLogicalCriticalHidden, "unknown",    "hidden"},
    {99,                     "unknown",    "state 99"},
};
// clang-format on

TEST(StorageWords, DrivesHaveAWordForProgramsAndOneForLists) {
    for (const StateCase& c : kDrives) {
        EXPECT_EQ(c.word, driveWord(c.number)) << c.number;
        EXPECT_EQ(c.listed, listedDriveWord(c.number)) << c.number;
    }
}

TEST(StorageWords, ArraysHaveAWordForProgramsAndOneForLists) {
    for (const StateCase& c : kArrays) {
        EXPECT_EQ(c.word, arrayWord(c.number)) << c.number;
        EXPECT_EQ(c.listed, listedArrayWord(c.number)) << c.number;
    }
}

TEST(StorageWords, LevelsHaveAWordAndOthersShowTheirNumber) {
    EXPECT_EQ("RAID 0", raidLevelWord(kRaid0));
    EXPECT_EQ("RAID 6", raidLevelWord(16));
    EXPECT_EQ("spanned", raidLevelWord(kSpannedVolume));
    EXPECT_EQ("level 12", raidLevelWord(12));
}

}  // namespace
