// What the source makes of md arrays; what a field says is not always what it means.
#include "storlib/sources/LinuxSource.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "storlib/LogicalDrive.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/SysTree.h"
#include "tests/support/SystemText.h"

namespace {

using Lines = SystemText::Lines;
using LinuxMachine::array;
using LinuxMachine::drive;
using LinuxMachine::drives;
using LinuxMachine::member;
using LinuxMachine::set;
using LinuxMachine::wholeArray;

// "sda 1:0:0 slot 0 active": who belongs to the only array, by which roles.
Lines membersOf(const SystemText& seen) {
    std::vector<RaidObject*> arrays;
    seen.tree().getChildren(arrays, "LogicalDrive", true, true);
    Lines lines;
    if (arrays.size() != 1) return lines;
    constexpr const char* kRoles[] = {"active", "rebuilding", "failed", "spare", "missing"};
    for (const ArrayMember& member : static_cast<LogicalDrive*>(arrays.front())->members) {
        std::string line = member.osName.empty() ? "-" : member.osName;
        if (member.drive.deviceID != Addr::kNotSet) {
            line += " " + std::to_string(member.drive.controllerID) + ":" +
                    std::to_string(member.drive.channelID) + ":" +
                    std::to_string(member.drive.deviceID);
        }
        line += " slot " + std::to_string(member.slot);
        lines.push_back(line + " " + kRoles[member.role]);
    }
    return lines;
}

TEST(LinuxSource, GivenAnArrayWithASpareThenItsMembersAreListedBySlot) {
    SysTree tree(drives() + array("md0", "raid1", 2, "idle") +
                 member("md0", "sdb", 1, "in_sync", 1) + member("md0", "sda", 0, "in_sync", 0) +
                 member("md0", "sdc", 2, "spare", -1));
    LinuxSource source(tree.folder());
    EXPECT_EQ(
        (Lines{"sda 1:0:0 slot 0 active", "sdb 1:0:1 slot 1 active", "sdc 1:0:2 slot -1 spare"}),
        membersOf(SystemText(source)));
}

TEST(LinuxSource, GivenAPulledDriveThenItsPlaceIsListedAsMissing) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 4));
    tree.add("x /sys/block/sdc");
    LinuxSource source(tree.folder());
    EXPECT_EQ((Lines{"sda 1:0:0 slot 0 active", "sdb 1:0:1 slot 1 active", "- slot 2 missing",
                     "sdd 1:0:3 slot 3 active"}),
              membersOf(SystemText(source)));
}

TEST(LinuxSource, GivenARebuildThenFailedAndRebuildingMembersAreListed) {
    SysTree tree(drives() + array("md0", "raid1", 2, "recover") +
                 member("md0", "sda", 0, "in_sync", 0) + member("md0", "sdb", 1, "spare", 1) +
                 member("md0", "sdc", 2, "faulty", -1) + set("md0", "degraded", "1"));
    LinuxSource source(tree.folder());
    EXPECT_EQ((Lines{"sda 1:0:0 slot 0 active", "sdb 1:0:1 slot 1 rebuilding",
                     "sdc 1:0:2 slot -1 failed"}),
              membersOf(SystemText(source)));
}

TEST(LinuxSource, GivenARaid10ThenItsCopiesAreThoseOfItsLayout) {
    const struct {
        const char* layout;
        int copies;
    } rows[] = {{"258", 2}, {"513", 2}, {"259", 3}, {"0", 0}};
    for (const auto& row : rows) {
        SysTree tree(drives() + wholeArray("md0", "raid10", 4) + set("md0", "layout", row.layout));
        LinuxSource source(tree.folder());
        const SystemText seen(source);
        std::vector<RaidObject*> arrays;
        seen.tree().getChildren(arrays, "LogicalDrive", true, true);
        ASSERT_EQ(1u, arrays.size());
        EXPECT_EQ(row.copies, static_cast<LogicalDrive*>(arrays.front())->copies) << row.layout;
        EXPECT_EQ(4, static_cast<LogicalDrive*>(arrays.front())->raidDevices);
        EXPECT_EQ("md0", static_cast<LogicalDrive*>(arrays.front())->osName);
    }
}

// ---- what a field says is not always what it means -------------------------------------------

TEST(LinuxSource, GivenAPulledDriveThatMdCallsInSyncThenTheArrayIsDegraded) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 4));
    tree.add("x /sys/block/sdc");
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{"md0: raid 5, state 3, 128 MB"}, seen.arrays());
    EXPECT_EQ((Lines{"S0 1", "S1 1", "S3 1"}), seen.drives());
}

TEST(LinuxSource, GivenTwoPulledDrivesOfARaid5ThatMdCallsInSyncThenTheArrayHasFailed) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 4));
    tree.add("x /sys/block/sdc\nx /sys/block/sdd");
    LinuxSource source(tree.folder());
    EXPECT_EQ(Lines{"md0: raid 5, state 1, 128 MB"}, SystemText(source).arrays());
}

TEST(LinuxSource, GivenAPulledMemberOfAStripeThenTheArrayHasFailed) {
    SysTree tree(drives() + wholeArray("md0", "raid0", 2));
    tree.add("x " + LinuxMachine::folder("md0") + "/degraded\nx /sys/block/sdb");
    LinuxSource source(tree.folder());
    EXPECT_EQ(Lines{"md0: raid 0, state 1, 128 MB"}, SystemText(source).arrays());
}

TEST(LinuxSource, GivenTwoPulledDrivesOfARaid10ThenItDependsOnWhichTheyAre) {
    SysTree apart(drives() + wholeArray("md0", "raid10", 4) + set("md0", "layout", "258"));
    apart.add("x /sys/block/sda\nx /sys/block/sdc");
    LinuxSource first(apart.folder());
    EXPECT_EQ(Lines{"md0: raid 9, state 3, 128 MB"}, SystemText(first).arrays());

    SysTree pair(drives() + wholeArray("md0", "raid10", 4) + set("md0", "layout", "258"));
    pair.add("x /sys/block/sdc\nx /sys/block/sdd");
    LinuxSource second(pair.folder());
    EXPECT_EQ(Lines{"md0: raid 9, state 1, 128 MB"}, SystemText(second).arrays());
}

TEST(LinuxSource, GivenACleanArrayStateAndALackingMemberThenTheArrayIsDegraded) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 4));
    tree.add(set("md0", "degraded", "1") + set("md0", "dev-sdd/state", "faulty") +
             set("md0", "dev-sdd/slot", "none"));
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{"md0: raid 5, state 3, 128 MB"}, seen.arrays());
    EXPECT_EQ((Lines{"S0 1", "S1 1", "S2 1", "S3 2"}), seen.drives());
}

// The tool that makes a raid5 lets md compute the parity onto the last member.
TEST(LinuxSource, GivenTheFirstBuildOfARaid5ThenTheArrayIsNotDegraded) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 4));
    tree.add(set("md0", "degraded", "1") + set("md0", "sync_action", "recover") +
             set("md0", "sync_completed", "25 / 100") + set("md0", "dev-sdd/state", "spare"));
    const std::string table =
        "Personalities : [raid5]\n"
        "md0 : active raid5 sdd[4] sdc[2] sdb[1] sda[0]\n"
        "      98304 blocks super 1.2 level 5, 512k chunk, algorithm 2 [4/3] [UUU_]\n"
        "      [=====>....]  recovery = 25.0% (25/100) finish=1.0min speed=1K/sec\n";
    tree.write("/proc/mdstat", table);
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{"md0: raid 5, state 4, 128 MB, task 6 at 25 %"}, seen.arrays());
    EXPECT_EQ((Lines{"S0 1", "S1 1", "S2 1", "S3 5"}), seen.drives());
}

TEST(LinuxSource, GivenARebuildOntoTheLastMemberOfAWatchedArrayThenItIsNoFirstBuild) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 4));
    LinuxSource source(tree.folder());
    (void)SystemText(source);  // seen whole
    tree.add(set("md0", "degraded", "1") + set("md0", "sync_action", "recover") +
             set("md0", "sync_completed", "25 / 100") + set("md0", "dev-sdd/state", "spare"));
    tree.write("/proc/mdstat", "md0 : active raid5 sdd[4] sdc[2] sdb[1] sda[0]\n");
    EXPECT_EQ(Lines{"md0: raid 5, state 6, 128 MB, task 6 at 25 %"}, SystemText(source).arrays());
}

// md says so as soon as a member fails, until it has looked for a spare.
TEST(LinuxSource, GivenARecoveryWithoutAMemberThatIsRebuiltThenTheArrayIsDegradedAndHasNoTask) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 4));
    LinuxSource source(tree.folder());
    (void)SystemText(source);
    tree.add(set("md0", "degraded", "1") + set("md0", "sync_action", "recover") +
             set("md0", "sync_completed", "none") + set("md0", "dev-sdd/state", "faulty") +
             set("md0", "dev-sdd/slot", "none"));
    EXPECT_EQ(Lines{"md0: raid 5, state 3, 128 MB"}, SystemText(source).arrays());
}

// md marks the member that was copied away so that nobody uses it again; the drive is well.
TEST(LinuxSource, GivenAReplacedHealthyDriveThatReadsFaultyThenTheDriveIsReady) {
    SysTree tree(drives() + wholeArray("md0", "raid1", 2));
    tree.add(set("md0", "dev-sdb/state", "in_sync,want_replacement") +
             member("md0", "sdc", 2, "spare,replacement", 1) +
             set("md0", "sync_action", "recover") + set("md0", "sync_completed", "50 / 100"));
    LinuxSource source(tree.folder());
    {
        const SystemText copying(source);
        EXPECT_EQ(Lines{"md0: raid 1, state 4, 128 MB, task 6 at 50 %"}, copying.arrays());
        EXPECT_EQ((Lines{"S0 1", "S1 1", "S2 5", "S3 0"}), copying.drives());
    }
    tree.add(set("md0", "dev-sdb/state", "faulty") + set("md0", "dev-sdb/slot", "none") +
             set("md0", "dev-sdc/state", "in_sync") + set("md0", "sync_action", "idle"));
    const Lines whole = {"S0 1", "S1 0", "S2 1", "S3 0"};
    EXPECT_EQ(whole, SystemText(source).drives());
    EXPECT_EQ(whole, SystemText(source).drives());  // and it stays so
    EXPECT_EQ(Lines{"md0: raid 1, state 2, 128 MB"}, SystemText(source).arrays());
}

TEST(LinuxSource, GivenADriveThatFailsWhileItIsBeingReplacedThenItHasFailed) {
    SysTree tree(drives() + wholeArray("md0", "raid1", 2));
    tree.add(set("md0", "dev-sdb/state", "in_sync,want_replacement") +
             member("md0", "sdc", 2, "spare,replacement", 1));
    LinuxSource source(tree.folder());
    (void)SystemText(source);
    tree.add(set("md0", "dev-sdb/state", "faulty") + set("md0", "dev-sdb/slot", "none") +
             set("md0", "dev-sdc/state", "spare") + set("md0", "degraded", "1"));
    EXPECT_EQ((Lines{"S0 1", "S1 2", "S2 5", "S3 0"}), SystemText(source).drives());
}

// While bad blocks are being written down, md shows "faulty" beside "in_sync".
TEST(LinuxSource, GivenAMemberThatReadsFaultyAndInSyncThenItIsAMember) {
    SysTree tree(drives() + wholeArray("md0", "raid1", 2));
    tree.add(set("md0", "dev-sdb/state", "faulty,in_sync,blocked"));
    LinuxSource source(tree.folder());
    EXPECT_EQ((Lines{"S0 1", "S1 1", "S2 0", "S3 0"}), SystemText(source).drives());
}

TEST(LinuxSource, GivenAPendingResyncThatOnlyMdstatShowsThenTheArrayWaitsForIt) {
    SysTree tree(drives() + wholeArray("md0", "raid1", 2));
    tree.add(set("md0", "array_state", "read-auto"));
    tree.write("/proc/mdstat",
               "Personalities : [raid1]\n"
               "md0 : active (auto-read-only) raid1 sdb[1] sda[0]\n"
               "      130048 blocks super 1.2 [2/2] [UU]\n"
               "      \tresync=PENDING\n\nunused devices: <none>\n");
    LinuxSource source(tree.folder());
    EXPECT_EQ(Lines{"md0: raid 1, state 4, 128 MB, task 4 at 0 % waiting"},
              SystemText(source).arrays());
}

// sdc was pulled, and a new drive on another place got the name; md still lists the old one.
TEST(LinuxSource, GivenANameThatWasGivenAgainElsewhereThenTheNewDriveIsNoMember) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 4));
    tree.add("x " + LinuxMachine::devicePath(2) + "\nx /sys/block/sdc");
    tree.add(drive("sdc", 7));
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{"md0: raid 5, state 3, 128 MB"}, seen.arrays());
    EXPECT_EQ((Lines{"S0 1", "S1 1", "S3 1", "S7 0"}), seen.drives());
}

// The new drive even sits in the old one's place: only that no array holds it tells them apart.
TEST(LinuxSource, GivenANameThatWasGivenAgainInTheSamePlaceThenTheNewDriveIsNoMember) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 4));
    tree.add("x " + LinuxMachine::devicePath(2));
    tree.add(drive("sdc", 2));
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{"md0: raid 5, state 3, 128 MB"}, seen.arrays());
    EXPECT_EQ((Lines{"S0 1", "S1 1", "S2 0", "S3 1"}), seen.drives());
}

// Only whoever watched the level knows it: an inactive array has none.
TEST(LinuxSource, GivenAnInactiveArrayThenItHasFailedAndItsMembersAreNoSpares) {
    SysTree tree(drives() + array("md5", "", 0, "") + member("md5", "sda", 0, "spare", -1));
    tree.add(set("md5", "array_state", "inactive") + "x " + LinuxMachine::folder("md5") +
             "/degraded\nf " + LinuxMachine::folder("md5") + "/raid_disks");
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{"md5: raid 14, state 1, 128 MB"}, seen.arrays());
    EXPECT_EQ((Lines{"S0 1", "S1 0", "S2 0", "S3 0"}), seen.drives());
}

TEST(LinuxSource, GivenAContainerOfAFirmwareFormatThenItIsNoArrayAndItsIdleDrivesAreSpares) {
    SysTree tree(drives() + array("md127", "container", 0, "") +
                 member("md127", "sda", 0, "spare", -1));
    tree.add(set("md127", "array_state", "inactive") +
             set("md127", "metadata_version", "external:imsm"));
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{}, seen.arrays());
    EXPECT_EQ((Lines{"S0 4", "S1 0", "S2 0", "S3 0"}), seen.drives());
}

// The kernel lists the drive but has given it up: it counts as pulled, before md notices.
TEST(LinuxSource, GivenADriveThatWentOfflineThenItIsNotPresentAndTheArrayIsDegraded) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 4));
    tree.add("f " + LinuxMachine::devicePath(1) + "/state offline");
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{"md0: raid 5, state 3, 128 MB"}, seen.arrays());
    EXPECT_EQ((Lines{"S0 1", "S1 7", "S2 1", "S3 1"}), seen.drives());
}

TEST(LinuxSource, GivenPartitionsAsMembersThenTheDriveShowsTheMostUrgentRole) {
    SysTree tree(drives() + array("md0", "raid1", 2, "idle") + array("md1", "raid1", 2, "idle"));
    const std::string block = LinuxMachine::devicePath(0) + "/block/sda";
    for (const auto& [name, part] : {std::pair<std::string, std::string>{"md0", "sda1"},
                                     std::pair<std::string, std::string>{"md1", "sda2"}}) {
        tree.add(member(name, part, 0, name == "md0" ? "in_sync" : "faulty", 0));
        tree.add("l " + LinuxMachine::folder(name) + "/dev-" + part +
                 "/block ../../../../../../.." + block + "/" + part + "\nd " + block + "/" + part +
                 "/holders/" + name);
    }
    LinuxSource source(tree.folder());
    EXPECT_EQ((Lines{"S0 2", "S1 0", "S2 0", "S3 0"}), SystemText(source).drives());
}

struct TaskCase {
    const char* action;
    const char* completed;
    const char* lastAction;
    const char* mismatches;
    const char* line;
    int badStripes;
};

// clang-format off
constexpr TaskCase kTaskCases[] = {
    {"idle",    "none",      "check",  "128", "md0: raid 1, state 2, 128 MB", 128},
    {"idle",    "none",      "repair", "128", "md0: raid 1, state 2, 128 MB", 0},
    {"idle",    "none",      "resync", "128", "md0: raid 1, state 2, 128 MB", 0},
    {"check",   "10 / 200",  "check",  "8",   "md0: raid 1, state 4, 128 MB, task 5 at 5 %", 0},
    {"repair",  "199 / 200", "repair", "8",   "md0: raid 1, state 4, 128 MB, task 5 at 99 %", 0},
    {"resync",  "200 / 200", "resync", "0",   "md0: raid 1, state 4, 128 MB, task 4 at 100 %", 0},
    {"resync",  "delayed",   "resync", "0",   "md0: raid 1, state 4, 128 MB, task 4 at 0 % waiting", 0},
    {"reshape", "1 / 0",     "none",   "0",   "md0: raid 1, state 4, 128 MB, task 4 at 0 % waiting", 0},
    {"frozen",  "none",      "none",   "0",   "md0: raid 1, state 2, 128 MB", 0},
    {"?\x01",   "-5 / 7",    "none",   "-3",  "md0: raid 1, state 2, 128 MB", 0},
};
// clang-format on

TEST(LinuxSource, GivenATaskThenItsTypePercentAndTheArrayStateFollow) {
    for (const TaskCase& c : kTaskCases) {
        SCOPED_TRACE(c.action);
        SysTree tree(drives() + wholeArray("md0", "raid1", 2));
        tree.add(set("md0", "sync_action", c.action) + set("md0", "sync_completed", c.completed) +
                 set("md0", "last_sync_action", c.lastAction) +
                 set("md0", "mismatch_cnt", c.mismatches));
        LinuxSource source(tree.folder());
        const SystemText seen(source);
        EXPECT_EQ(Lines{c.line}, seen.arrays());
        const auto arrays = seen.all("LogicalDrive");
        ASSERT_EQ(1U, arrays.size());
        EXPECT_EQ(c.badStripes, static_cast<const LogicalDrive*>(arrays[0])->badBlockCount);
    }
}

struct LevelCase {
    const char* level;
    int disks;
    int expected;
};

constexpr LevelCase kLevelCases[] = {
    {"raid0", 2, kRaid0},          {"raid1", 2, kRaid1},         {"raid4", 3, kRaid4},
    {"raid5", 3, kRaid5},          {"raid6", 4, kRaid6},         {"raid10", 4, kRaid10},
    {"linear", 2, kSpannedVolume}, {"linear", 1, kSimpleVolume}, {"new-level", 2, kRaidVolume},
};

TEST(LinuxSource, GivenALevelOfMdThenTheTreeHasItsNumber) {
    for (const LevelCase& c : kLevelCases) {
        SCOPED_TRACE(c.level);
        SysTree tree(drives() + wholeArray("md0", c.level, c.disks));
        LinuxSource source(tree.folder());
        const SystemText seen(source);
        const auto arrays = seen.all("LogicalDrive");
        ASSERT_EQ(1U, arrays.size());
        const auto* found = static_cast<const LogicalDrive*>(arrays[0]);
        EXPECT_EQ(c.expected, found->getRaidLevel());
        EXPECT_EQ(kLogicalOptimal, found->getState());
    }
}

TEST(LinuxSource, GivenAnArrayWithANameOfItsOwnThenItsNumberIsTheMinorOfItsDevice) {
    SysTree tree(drives() + wholeArray("md_home", "raid1", 2));
    tree.add("f /sys/devices/virtual/block/md_home/dev 9:126");
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    ASSERT_EQ(1U, seen.all("LogicalDrive").size());
    EXPECT_EQ(126U, seen.all("LogicalDrive")[0]->addr.logicalDriveID);
}

}  // namespace
