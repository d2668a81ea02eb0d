// Trees that are empty, damaged, huge, hostile or vanish while they are read.
#include "storlib/sources/LinuxSource.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

#include "storlib/LogicalDrive.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/SysTree.h"
#include "tests/support/SystemText.h"

namespace {

using Lines = SystemText::Lines;
using LinuxMachine::drives;
using LinuxMachine::set;
using LinuxMachine::wholeArray;

TEST(LinuxSource, GivenAnEmptyRootThenReadingFailsAndSaysWhy) {
    SysTree tree;
    LinuxSource source(tree.folder());
    System system;
    EXPECT_EQ(Ret::kFailed, source.fill(system).status);
    EXPECT_EQ("neither /sys nor /proc/mdstat can be read below " + tree.folder(),
              source.lastError());
    std::string listing;
    EXPECT_EQ(Ret::kOk, source.events(0, 1, listing).status);
    EXPECT_EQ("", listing);
}

TEST(LinuxSource, GivenNoSysThenTheMdControllerIsThereAllTheSame) {
    SysTree tree("f /proc/mdstat Personalities :");
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Ret::kOk, seen.result.status);
    EXPECT_EQ(Lines{}, seen.arrays());
    EXPECT_NE(nullptr, seen.adapter(0));
}

TEST(LinuxSource, GivenEmptyAttributesThenNothingIsMadeUp) {
    SysTree tree(drives() + wholeArray("md0", "raid5", 3));
    for (const char* name : {"array_state", "level", "raid_disks", "degraded", "sync_action",
                             "sync_completed", "dev-sda/state", "dev-sda/slot", "dev-sdb/errors"}) {
        tree.add("f " + LinuxMachine::folder("md0") + "/" + name);
    }
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{"md0: raid 14, state 2, 128 MB"}, seen.arrays());
    EXPECT_EQ(4U, seen.drives().size());
}

TEST(LinuxSource, GivenBinaryGarbageEverywhereThenReadingGoesOn) {
    std::string garbage;
    for (int i = 0; i < 9000; ++i) garbage += static_cast<char>((i * 131 + 7) & 0xff);
    SysTree tree(drives() + wholeArray("md0", "raid5", 3));
    for (const char* name : {"array_state", "level", "raid_disks", "degraded", "sync_action",
                             "sync_completed", "layout", "uuid", "mismatch_cnt", "dev-sda/state",
                             "dev-sda/slot", "dev-sda/errors", "dev-sda/bad_blocks"}) {
        tree.write(LinuxMachine::folder("md0") + "/" + name, garbage);
    }
    for (const char* name :
         {"vendor", "model", "rev", "wwid", "vpd_pg80", "state", "block/sdb/size"}) {
        tree.write(LinuxMachine::devicePath(1) + "/" + name, garbage);
    }
    tree.write("/proc/mdstat", garbage);
    tree.write("/proc/mounts", garbage);
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Ret::kOk, seen.result.status);
    EXPECT_EQ(1U, seen.arrays().size());
    std::string listing;
    EXPECT_EQ(Ret::kOk, source.events(0, 1, listing).status);
}

TEST(LinuxSource, GivenAnAttributeOfTenMegabytesThenOnlyItsBeginningCounts) {
    SysTree tree(drives() + wholeArray("md0", "raid1", 2));
    tree.write(LinuxMachine::devicePath(0) + "/model", std::string(10 * 1024 * 1024, 'x'));
    tree.write("/proc/mdstat", std::string(10 * 1024 * 1024, '\n'));
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{"md0: raid 1, state 2, 128 MB"}, seen.arrays());
    EXPECT_EQ(std::string(63, 'x'), seen.drive("S0")->model);
}

TEST(LinuxSource, GivenLoopsOfLinksThenReadingGoesOn) {
    SysTree tree(drives() + wholeArray("md0", "raid1", 2));
    tree.add("l /sys/block/sdx sdx\nl /sys/block/md9 md9\nl /sys/class/scsi_host/host9 host9\nl " +
             LinuxMachine::devicePath(0) + "/vendor vendor");
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_EQ(Lines{"md0: raid 1, state 2, 128 MB"}, seen.arrays());
    EXPECT_STREQ("", seen.drive("S0")->vendor);
}

// A recording shows nothing of the machine that it is read on.
TEST(LinuxSource, GivenLinksThatLeaveTheRootThenTheyEndAtTheRoot) {
    SysTree outside;
    outside.write("/secret", "OUTSIDE\n");
    SysTree tree(drives());
    tree.add("l " + LinuxMachine::devicePath(0) + "/vendor " + outside.folder() + "secret\nl " +
             LinuxMachine::devicePath(0) + "/model ../../../../../../../../../../../../../../.." +
             outside.folder() + "secret\n" + "f /inside INSIDE\nl " + LinuxMachine::devicePath(1) +
             "/model /inside");
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    EXPECT_STREQ("", seen.drive("S0")->vendor);
    EXPECT_STREQ("", seen.drive("S0")->model);
    EXPECT_STREQ("INSIDE", seen.drive("S1")->model);
}

TEST(LinuxSource, GivenAPipeInPlaceOfAnAttributeThenReadingDoesNotWait) {
    SysTree tree(drives());
    tree.add("x " + LinuxMachine::devicePath(0) + "/model");
    ASSERT_EQ(0, ::mkfifo(tree.file(LinuxMachine::devicePath(0) + "/model").c_str(), 0600));
    LinuxSource source(tree.folder());
    EXPECT_STREQ("", SystemText(source).drive("S0")->model);
}

TEST(LinuxSource, GivenAttributesThatMayNotBeReadThenTheyAreNotKnown) {
    SysTree tree(drives());
    ASSERT_EQ(0, ::chmod(tree.folder().c_str(), 0755));
    ASSERT_EQ(0, ::chmod(tree.file(LinuxMachine::devicePath(0) + "/model").c_str(), 0));
    asOrdinaryUser([&] {
        LinuxSource source(tree.folder());
        const SystemText text(source);
        ASSERT_NE(nullptr, text.drive("S0"));
        EXPECT_STREQ("", text.drive("S0")->model);
    });
}

TEST(LinuxSource, GivenFoldersThatVanishBetweenTwoReadingsThenTheRestIsStillRead) {
    SysTree tree(drives() + wholeArray("md0", "raid1", 2) + wholeArray("md1", "raid5", 3));
    LinuxSource source(tree.folder());
    EXPECT_EQ(2U, SystemText(source).arrays().size());
    tree.add("x " + LinuxMachine::folder("md1") + "\nx " + LinuxMachine::devicePath(3) +
             "\nx /sys/class/scsi_host");
    const SystemText after(source);
    EXPECT_EQ(Lines{"md0: raid 1, state 2, 128 MB"}, after.arrays());
    ProgressCollection tasks;
    EXPECT_EQ(Ret::kOk, source.tasks(Addr::ofLogicalDrive(0, 1), tasks).status);
    EXPECT_EQ(0, tasks.getProgressCount());
}

TEST(LinuxSource, GivenAnAddressThatNamesNoArrayThenThereAreNoTasks) {
    SysTree tree(drives() + wholeArray("md0", "raid1", 2));
    tree.add(set("md0", "sync_action", "check"));
    LinuxSource source(tree.folder());
    (void)SystemText(source);
    for (const Addr& address : {Addr(), Addr::ofController(0), Addr::ofLogicalDrive(1, 0),
                                Addr::ofLogicalDrive(0, 7), Addr::ofDevice(0, 0, 0)}) {
        ProgressCollection tasks;
        EXPECT_EQ(Ret::kOk, source.tasks(address, tasks).status);
        EXPECT_EQ(0, tasks.getProgressCount());
    }
}

}  // namespace
