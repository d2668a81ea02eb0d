#include "storlib/sources/MdStat.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(MdStat, GivenARunningArrayThenMembersCountsAndProgressAreRead) {
    const MdStat stat = MdStat::parse(
        "Personalities : [raid10] \n"
        "md0 : active raid10 sdc1[4] sdd[3](S) sdb[1](F) nvme0n1p2[0](W)\n"
        "      194560 blocks super 1.2 128K chunks 2 near-copies [4/3] [UU_U]\n"
        "      [=======>.............]  recovery = 37.6% (36992/97280) finish=0.1min\n"
        "      bitmap: 1/1 pages [4KB], 65536KB chunk\n\nunused devices: <none>\n");
    ASSERT_EQ(1U, stat.arrays.size());
    const MdStat::Array& array = stat.arrays[0];
    EXPECT_EQ("md0", array.name);
    EXPECT_TRUE(array.active);
    EXPECT_EQ("raid10", array.level);
    ASSERT_EQ(4U, array.members.size());
    EXPECT_EQ("sdc1", array.members[0].name);
    EXPECT_EQ(4, array.members[0].number);
    EXPECT_TRUE(array.members[1].spare);
    EXPECT_TRUE(array.members[2].faulty);
    EXPECT_EQ("nvme0n1p2", array.members[3].name);
    EXPECT_FALSE(array.members[3].faulty || array.members[3].spare);
    EXPECT_EQ(4, array.disks);
    EXPECT_EQ(3, array.working);
    EXPECT_EQ("recovery", array.operation);
    EXPECT_EQ("", array.waiting);
    EXPECT_EQ(37, array.percent);
}

struct HeadingCase {
    const char* line;
    bool active;
    const char* level;
};

constexpr HeadingCase kHeadingCases[] = {
    {"md127 : inactive sdb[1](S)\n", false, ""},
    {"md1 : active (auto-read-only) raid1 sda[0]\n", true, "raid1"},
    {"md1 : active (read-only) raid6 sda[0]\n", true, "raid6"},
    {"md_d0 : broken raid0 sda[0]\n", true, "raid0"},
    {"md1 : active raid1", true, "raid1"},
};

TEST(MdStat, GivenAHeadingThenActivityAndLevelAreRead) {
    for (const HeadingCase& c : kHeadingCases) {
        SCOPED_TRACE(c.line);
        const MdStat stat = MdStat::parse(c.line);
        ASSERT_EQ(1U, stat.arrays.size());
        EXPECT_EQ(c.active, stat.arrays[0].active);
        EXPECT_EQ(c.level, stat.arrays[0].level);
    }
}

struct OperationCase {
    const char* line;
    const char* operation;
    const char* waiting;
    int percent;
};

constexpr OperationCase kOperationCases[] = {
    {"  resync=PENDING\n", "resync", "PENDING", 0},
    {"\tresync=DELAYED\n", "resync", "DELAYED", 0},
    {"  [>....]  resync =  0.7% (1/2)\n", "resync", "", 0},
    {"  [====>]  check = 100.0% (2/2)\n", "check", "", 100},
    {"  [====>]  reshape = 999999999999.0% (2/2)\n", "reshape", "", 0},
    {"  [====>]  reshape = 250% (2/2)\n", "reshape", "", 100},
    {"  recovery =\n", "", "", 0},
    {"  something = 5%\n", "", "", 0},
};

TEST(MdStat, GivenAnOperationThenItsNameAndWhetherItWaitsAreRead) {
    for (const OperationCase& c : kOperationCases) {
        SCOPED_TRACE(c.line);
        const MdStat stat = MdStat::parse(std::string("md0 : active raid1 sda[0]\n") + c.line);
        ASSERT_EQ(1U, stat.arrays.size());
        EXPECT_EQ(c.operation, stat.arrays[0].operation);
        EXPECT_EQ(c.waiting, stat.arrays[0].waiting);
        EXPECT_EQ(c.percent, stat.arrays[0].percent);
    }
}

TEST(MdStat, GivenWhatIsNoTableThenThereAreNoArrays) {
    for (const char* text : {"", "\n\n", "md0", "md0 :", "sda : active raid1", "md0 = active x",
                             "  md0 : active raid1 sda[0]", "Personalities : [raid1]\n"}) {
        EXPECT_TRUE(MdStat::parse(text).arrays.empty()) << text;
    }
}

TEST(MdStat, GivenDamagedMembersAndCountsThenTheyAreLeftOut) {
    const MdStat stat = MdStat::parse(
        "md0 : active raid1 sda[x] [3] sdb] sdc[ sdd[-1] sde[99999999999]\n"
        "   [1/] [/2] [a/b] [3] []\n");
    ASSERT_EQ(1U, stat.arrays.size());
    ASSERT_EQ(3U, stat.arrays[0].members.size());
    for (const MdStat::Member& member : stat.arrays[0].members) EXPECT_EQ(-1, member.number);
    EXPECT_EQ(-1, stat.arrays[0].disks);
    EXPECT_EQ(-1, stat.arrays[0].working);
}

// What moves by itself must not look like a change; what waits or starts must.
TEST(MdStat, GivenOtherFiguresThenTheStandingTextIsTheSame) {
    const auto table = [](const std::string& progress, const std::string& pages) {
        return MdStat::parse("md0 : active raid1 sda[0]\n   10 blocks [2/2] [UU]\n" + progress +
                             "   bitmap: " + pages + " pages\n")
            .standing;
    };
    const std::string early = table("  [>..] resync = 1.0% (1/9) speed=1K/sec\n", "1/1");
    EXPECT_EQ(early, table("  [==>] resync = 81.0% (8/9) speed=9K/sec\n", "0/1"));
    EXPECT_NE(early, table("  resync=DELAYED\n", "1/1"));
    EXPECT_NE(early, table("", "1/1"));
    EXPECT_NE(early, table("  [>..] recovery = 1.0% (1/9)\n", "1/1"));
}

}  // namespace
