#include "storlib/sources/LinuxSource.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "storlib/LogicalDrive.h"
#include "storlib/SATAChannel.h"
#include "tests/support/EventListener.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Recording.h"
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

std::string onMd5(const std::string& name, const std::string& value) {
    return set("md5", name, value);
}

struct StepCase {
    const char* step;
    Lines arrays;
    Lines drives;
};

void expectSteps(const char* sequence, const std::vector<StepCase>& cases) {
    const Recording recording(sequence);
    ASSERT_EQ(cases.size(), recording.steps().size());
    for (const StepCase& c : cases) {
        SCOPED_TRACE(c.step);
        LinuxSource source(recording.step(c.step));
        const SystemText seen(source);
        EXPECT_EQ(Ret::kOk, seen.result.status);
        EXPECT_EQ(c.arrays, seen.arrays());
        EXPECT_EQ(c.drives, seen.drives());
    }
}

// What events.txt and mdadm.txt beside the recordings say, in the states that a tree has.
TEST(LinuxSource, GivenTheRaid1RecordingThenEachStepShowsWhatHappened) {
    expectSteps("raid1-spare", {
                                   {"01-clean",
                                    {"md0: raid 1, state 2, 127 MB"},
                                    {"KL7A200 1", "KL7A201 1", "KL7A202 4", "PQB0001 0"}},
                                   {"02-member-failed",
                                    {"md0: raid 1, state 6, 127 MB, task 6 at 0 %"},
                                    {"KL7A200 1", "KL7A201 2", "KL7A202 5", "PQB0001 0"}},
                                   {"03-rebuilding-a",
                                    {"md0: raid 1, state 6, 127 MB, task 6 at 18 %"},
                                    {"KL7A200 1", "KL7A201 2", "KL7A202 5", "PQB0001 0"}},
                                   {"04-rebuilding-b",
                                    {"md0: raid 1, state 6, 127 MB, task 6 at 50 %"},
                                    {"KL7A200 1", "KL7A201 2", "KL7A202 5", "PQB0001 0"}},
                                   {"05-rebuilding-c",
                                    {"md0: raid 1, state 6, 127 MB, task 6 at 88 %"},
                                    {"KL7A200 1", "KL7A201 2", "KL7A202 5", "PQB0001 0"}},
                                   {"06-rebuilt",
                                    {"md0: raid 1, state 2, 127 MB"},
                                    {"KL7A200 1", "KL7A201 2", "KL7A202 1", "PQB0001 0"}},
                                   {"07-failed-removed",
                                    {"md0: raid 1, state 2, 127 MB"},
                                    {"KL7A200 1", "KL7A201 0", "KL7A202 1", "PQB0001 0"}},
                                   {"08-failed-pulled",
                                    {"md0: raid 1, state 2, 127 MB"},
                                    {"KL7A200 1", "KL7A202 1", "PQB0001 0"}},
                                   {"09-new-drive",
                                    {"md0: raid 1, state 2, 127 MB"},
                                    {"KL7A200 1", "KL7A202 1", "KL7A203 0", "PQB0001 0"}},
                                   {"10-new-spare",
                                    {"md0: raid 1, state 2, 127 MB"},
                                    {"KL7A200 1", "KL7A202 1", "KL7A203 4", "PQB0001 0"}},
                               });
}

TEST(LinuxSource, GivenTheRaid5RecordingThenEachStepShowsWhatHappened) {
    expectSteps("raid5-pull", {
                                  {"01-clean",
                                   {"md127: raid 5, state 2, 189 MB"},
                                   {"SC55D0 1", "SC55D1 1", "SC55D2 1", "SC55D3 1"}},
                                  {"02-pulled-unnoticed",
                                   {"md127: raid 5, state 3, 189 MB"},
                                   {"SC55D0 1", "SC55D1 1", "SC55D3 1"}},
                                  {"03-degraded",
                                   {"md127: raid 5, state 3, 189 MB"},
                                   {"SC55D0 1", "SC55D1 1", "SC55D3 1"}},
                                  {"04-gone-removed",
                                   {"md127: raid 5, state 3, 189 MB"},
                                   {"SC55D0 1", "SC55D1 1", "SC55D3 1"}},
                                  {"05-second-failed",
                                   {"md127: raid 5, state 1, 189 MB"},
                                   {"SC55D0 2", "SC55D1 1", "SC55D3 1"}},
                                  {"06-failed-after-write",
                                   {"md127: raid 5, state 1, 189 MB"},
                                   {"SC55D0 2", "SC55D1 1", "SC55D3 1"}},
                                  {"07-stopped", {}, {"SC55D0 0", "SC55D1 0", "SC55D3 0"}},
                                  {"08-inactive",
                                   {"md127: raid 14, state 1, 0 MB"},
                                   {"SC55D0 0", "SC55D1 1", "SC55D3 0"}},
                              });
}

TEST(LinuxSource, GivenTheRaid10RecordingThenEachStepShowsWhatHappened) {
    const Lines four = {"RST9K0 1", "RST9K1 1", "RST9K2 1", "RST9K3 1"};
    const Lines three = {"RST9K0 1", "RST9K1 1", "RST9K3 1"};
    expectSteps("sas-raid10", {
                                  {"01-clean", {"md0: raid 9, state 2, 190 MB"}, four},
                                  {"02-fan-failed", {"md0: raid 9, state 2, 190 MB"}, four},
                                  {"03-psu-out-hot", {"md0: raid 9, state 2, 190 MB"}, four},
                                  {"04-drive-pulled", {"md0: raid 9, state 3, 190 MB"}, three},
                                  {"05-enclosure-well", {"md0: raid 9, state 3, 190 MB"}, three},
                                  {"06-rebuilding",
                                   {"md0: raid 9, state 6, 190 MB, task 6 at 37 %"},
                                   {"RST9K0 1", "RST9K1 1", "RST9K3 1", "RST9K77 5"}},
                                  {"07-rebuilt",
                                   {"md0: raid 9, state 2, 190 MB"},
                                   {"RST9K0 1", "RST9K1 1", "RST9K3 1", "RST9K77 1"}},
                              });
}

TEST(LinuxSource, GivenTheRaid10RecordingThenTheEnclosureFollowsItsPages) {
    struct EnclosureCase {
        const char* step;
        Lines fans;
        Lines supplies;
        bool hot;
    };
    const EnclosureCase cases[] = {
        {"01-clean", {"Fan 0 1", "Fan 1 1", "Fan 2 1"}, {"PSU 0 1", "PSU 1 1"}, false},
        {"02-fan-failed", {"Fan 0 1", "Fan 1 2", "Fan 2 1"}, {"PSU 0 1", "PSU 1 1"}, false},
        {"03-psu-out-hot", {"Fan 0 1", "Fan 1 2", "Fan 2 1"}, {"PSU 0 5", "PSU 1 1"}, true},
        {"04-drive-pulled", {"Fan 0 1", "Fan 1 2", "Fan 2 1"}, {"PSU 0 5", "PSU 1 1"}, true},
        {"05-enclosure-well", {"Fan 0 1", "Fan 1 1", "Fan 2 1"}, {"PSU 0 1", "PSU 1 1"}, false},
    };
    const Recording recording("sas-raid10");
    for (const EnclosureCase& c : cases) {
        SCOPED_TRACE(c.step);
        LinuxSource source(recording.step(c.step));
        const SystemText seen(source);
        EXPECT_EQ(c.fans, seen.elements(kSesCooling));
        EXPECT_EQ(c.supplies, seen.elements(kSesPowerSupply));
        const auto enclosures = seen.all("SES2EnclosureDevice");
        ASSERT_EQ(1U, enclosures.size());
        const auto* enclosure = static_cast<const SES2EnclosureDevice*>(enclosures[0]);
        EXPECT_EQ(c.hot, enclosure->isTempOutOfRange());
        EXPECT_TRUE(enclosure->isSESDataValid());
        EXPECT_STREQ("ENC0000", enclosure->serialNumber);
        EXPECT_EQ(1U, enclosure->addr.controllerID);  // with its drives, not with its own host
    }
}

// A drive is told by its slot: the phys below the slot are the drive's own.
TEST(LinuxSource, GivenASasDriveInAnEnclosureThenItsSlotHasItsPhys) {
    const Recording recording("sas-raid10", {"06-rebuilding"});
    LinuxSource source(recording.step("06-rebuilding"));
    const SystemText seen(source);
    EXPECT_EQ((Lines{"SLOT 0 1", "SLOT 1 1", "SLOT 2 5", "SLOT 3 1", "SLOT 4 1", "SLOT 5 5"}),
              seen.elements(kSesArrayDevice));
    const HardDrive* fresh = seen.drive("RST9K77");
    ASSERT_NE(nullptr, fresh);
    ASSERT_EQ(1U, fresh->getChildCount());
    const auto* own = static_cast<const SASPhy*>(fresh->getChild(0));
    EXPECT_STREQ("5001122300000500", own->SASaddress);
    EXPECT_NE(0, own->attachedDeviceType);
    for (const RaidObject* object : seen.all("SESElement")) {
        const auto* slot = static_cast<const SESElement*>(object);
        if (slot->getDescriptor() != "SLOT 4") continue;
        ASSERT_EQ(1U, slot->getChildCount());
        const auto* phy = static_cast<const SASPhy*>(slot->getChild(0));
        EXPECT_STREQ(own->SASaddress, phy->SASaddress);
        EXPECT_STREQ(own->attachedSASaddress, phy->attachedSASaddress);
        EXPECT_EQ(slot->addr.itemID, phy->addr.itemID);
    }
}

// The other way to tell where a SAS drive is: each end of the cable knows the other.
TEST(LinuxSource, GivenASasDriveThenAControllerPhyMirrorsItsPhy) {
    const Recording recording("sas-raid10", {"01-clean"});
    LinuxSource source(recording.step("01-clean"));
    const SystemText seen(source);
    const HardDrive* drive = seen.drive("RST9K2");
    ASSERT_NE(nullptr, drive);
    const auto* own = static_cast<const SASPhy*>(drive->getChild(0));
    int mirrors = 0;
    int phys = 0;
    for (const RaidObject* object : seen.adapter(1)->getChildren()) {
        if (!object->isInstanceOf("SASPhy")) continue;
        const auto* phy = static_cast<const SASPhy*>(object);
        ++phys;
        if (phy->addr.phyID == own->attachedPhyID && phy->attachedPhyID == own->addr.phyID &&
            std::string(phy->SASaddress) == own->attachedSASaddress &&
            std::string(phy->attachedSASaddress) == own->SASaddress) {
            ++mirrors;
            EXPECT_EQ(2U, phy->addr.phyID);
            EXPECT_EQ(9, phy->negPhyLinkRate);
        }
    }
    EXPECT_EQ(8, phys);
    EXPECT_EQ(1, mirrors);
}

TEST(LinuxSource, GivenASasControllerThenItsVersionsAndSerialAreRead) {
    const Recording recording("sas-raid10", {"01-clean"});
    LinuxSource source(recording.step("01-clean"));
    const SystemText seen(source);
    const Adapter* adapter = seen.adapter(1);
    ASSERT_NE(nullptr, adapter);
    EXPECT_STREQ("[1000:0054]", adapter->deviceVendor);
    EXPECT_STREQ("QEMU MPT Fusion", adapter->deviceName);
    EXPECT_STREQ("0000111122223333", adapter->controllerSerial);
    EXPECT_STREQ("01.50.146.00", adapter->firmwareVersion);
    EXPECT_STREQ("00.00.01.00", adapter->biosVersion);
    EXPECT_STREQ("3.04.20", adapter->deviceDriverVersion);
    EXPECT_EQ(0, adapter->pciBus);
    EXPECT_EQ(4, adapter->pciDevice);
    EXPECT_EQ(0, adapter->pciFunction);
    const Adapter* arrays = seen.adapter(0);
    EXPECT_STREQ("Linux", arrays->deviceVendor);
    EXPECT_STREQ("MD", arrays->deviceName);
    EXPECT_STREQ("6.1.0-56-amd64", arrays->deviceDriverVersion);
    EXPECT_EQ(0, arrays->pciBus + arrays->pciDevice + arrays->pciFunction);
    for (int limit = kLimitLogicalDrives; limit <= kLimitControllers; ++limit) {
        if (limit == kLimitSpannedArrays || limit == kLimitChannels) continue;
        EXPECT_GT(arrays->getLimit(static_cast<Limit>(limit)), 0) << limit;
    }
    EXPECT_TRUE(adapter->isInstanceOf("VantAdapter"));
}

TEST(LinuxSource, GivenSataDrivesThenEachHostIsAPortAndTheIdentityIsWhole) {
    const Recording recording("raid1-spare", {"01-clean"});
    LinuxSource source(recording.step("01-clean"));
    const SystemText seen(source);
    EXPECT_EQ(6U, seen.all("SATAChannel").size());  // empty ports count too
    const HardDrive* boot = seen.drive("PQB0001");
    ASSERT_NE(nullptr, boot);
    EXPECT_EQ(4U, boot->addr.channelID);
    EXPECT_EQ(0U, boot->addr.deviceID);
    EXPECT_EQ(0, boot->sataPort);
    EXPECT_EQ(1, static_cast<const SATAChannel*>(boot->getChannel())->getPortCount());
    EXPECT_STREQ("ATA", boot->vendor);
    EXPECT_STREQ("KOVA-PQ BOOT64", boot->model);
    EXPECT_STREQ("0101", boot->firmwareLevel);
    EXPECT_STREQ("5001122300000500", boot->wwn);
    EXPECT_EQ(0x23120150U, boot->wwn0);
    EXPECT_EQ(0x00050000U, boot->wwn1);
    EXPECT_EQ(64, boot->size);
    EXPECT_TRUE(boot->OSPartition);
    EXPECT_FALSE(boot->pfaSupported);
    EXPECT_FALSE(seen.drive("KL7A200")->OSPartition);
}

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

// ---- controllers and drives of other kinds -----------------------------------------------------

TEST(LinuxSource, GivenNvmeUsbVirtioAndLoopDrivesThenTheyHangBelowTheirControllers) {
    const std::string nvme = "/sys/devices/pci0000:00/0000:00:05.0/nvme/nvme0";
    const std::string usb =
        "/sys/devices/pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/target6:0:0/6:0:0:0";
    const std::string virtio = "/sys/devices/pci0000:00/0000:00:07.0/virtio4";
    SysTree tree(drives());
    tree.add("f " + nvme + "/model FAST\nf " + nvme + "/serial N1\nf " + nvme +
             "/firmware_rev 2B\nf " + nvme + "/state live\nf " + nvme +
             "/nvme0n1/wwid eui.0025385b71b0a1c2\nf " + nvme +
             "/nvme0n1/size 4194304\nl /sys/block/nvme0n1 ../.." + nvme + "/nvme0n1");
    tree.add("f /sys/devices/pci0000:00/0000:00:14.0/class 0x0c0330\nf " + usb +
             "/vendor STICK\nf " + usb + "/block/sde/size 4096\nl /sys/block/sde ../.." + usb +
             "/block/sde\nl /sys/class/scsi_host/host6 ../../devices/pci0000:00/0000:00:14.0/usb2/"
             "2-1/2-1:1.0/host6/scsi_host/host6");
    tree.add("f " + virtio + "/block/vda/serial V1\nf " + virtio +
             "/block/vda/size 8192\nl /sys/block/vda ../.." + virtio + "/block/vda");
    for (const char* loop : {"loop0", "loop1", "loop2"}) {
        const std::string name = loop;
        tree.add("f /sys/devices/virtual/block/" + name + "/size " +
                 (name == "loop2" ? "0" : "2048") + "\nf /sys/devices/virtual/block/" + name +
                 "/ro " + (name == "loop1" ? "1" : "0") + "\nl /sys/block/" + name +
                 " ../devices/virtual/block/" + name);
    }
    tree.add("f /sys/devices/virtual/block/loop0/loop/backing_file /tmp/disk.img");
    for (const char* other : {"ram0", "zram0", "dm-0", "sr0", "fd0", "nvme0c0n1"}) {
        const std::string name = other;
        tree.add("f /sys/devices/virtual/block/" + name + "/size 2048\nl /sys/block/" + name +
                 " ../devices/virtual/block/" + name);
    }
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    const auto place = [&](const char* serial) {
        const HardDrive* found = seen.drive(serial);
        return found == nullptr ? std::string("none") : LDPathUtils::textOf(found->addr);
    };
    EXPECT_EQ("/c1/b0/d2", place("S2"));
    EXPECT_EQ("/c2/b40/d1", place("N1"));  // 00:05.0 is place 40, whatever the drive's number
    EXPECT_EQ("/c3/b7/d0", place(""));     // USB: the host's number after the hostless channel
    EXPECT_EQ("/c3/b0/d56", place("V1"));
    EXPECT_NE("none", place("disk.img"));
    EXPECT_EQ(8U, seen.all("HardDrive").size());
    EXPECT_STREQ("0025385B71B0A1C2", seen.drive("N1")->wwn);
    EXPECT_EQ(2048, seen.drive("N1")->size);
    EXPECT_EQ(1, seen.adapter(2)->pciFunction);
    EXPECT_EQ(2, seen.adapter(3)->pciFunction);
    EXPECT_EQ(nullptr, seen.adapter(4));
}

// Pulling the last drive must not look as if a controller had died.
TEST(LinuxSource, GivenTheLastDriveOfAnArtificialControllerGoesThenTheControllerStays) {
    SysTree tree(
        "f /proc/mdstat Personalities :\n"
        "f /sys/devices/pci0000:00/0000:00:07.0/virtio4/block/vda/size 8192\n"
        "l /sys/block/vda ../devices/pci0000:00/0000:00:07.0/virtio4/block/vda");
    LinuxSource source(tree.folder());
    EXPECT_NE(nullptr, SystemText(source).adapter(1));
    tree.add("x /sys/block/vda");
    const SystemText after(source);
    EXPECT_NE(nullptr, after.adapter(1));
    EXPECT_EQ(Lines{}, after.drives());
}

TEST(LinuxSource, GivenManyTargetsThenNoDeviceNumberEndsIn255AndAllDiffer) {
    SysTree tree(drives());
    for (const int target : {254, 255, 256, 509, 510, 511, 65534}) {
        tree.add(drive("sd" + std::to_string(target), target));
    }
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    std::vector<unsigned int> numbers;
    for (const RaidObject* object : seen.all("HardDrive")) {
        const unsigned int number = object->addr.deviceID;
        EXPECT_NE(0xffU, number & 0xff) << number;
        EXPECT_EQ(0, std::count(numbers.begin(), numbers.end(), number)) << number;
        numbers.push_back(number);
    }
    EXPECT_EQ(11U, numbers.size());
}

// Texts of drives go into messages, where "{" and "%" ask for a substitution.
TEST(LinuxSource, GivenHarmfulIdentityTextsThenTheyAreMadeHarmless) {
    SysTree tree(drives());
    tree.write(LinuxMachine::devicePath(0) + "/vendor", "   \n");
    tree.write(LinuxMachine::devicePath(0) + "/model", " {0}%s\x01 x \n");
    tree.write(LinuxMachine::devicePath(0) + "/vpd_pg80",
               std::string("\x00\x80\x00\x04", 4) + " {9 ");
    LinuxSource source(tree.folder());
    const SystemText seen(source);
    const HardDrive* found = seen.drive("_9");
    ASSERT_NE(nullptr, found);
    EXPECT_STREQ("", found->vendor);
    EXPECT_STREQ("_0}_s_ x", found->model);
}

// ---- hostile trees -----------------------------------------------------------------------------

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

// ---- events ------------------------------------------------------------------------------------

TEST(LinuxSource, GivenAFailedDriveThenTheNextQuestionSaysThatSomethingChanged) {
    SysTree tree(LinuxMachine::drives() + LinuxMachine::wholeArray("md5", "raid1", 2));
    LinuxSource source(tree.folder());
    (void)SystemText(source);
    EventListener monitor(source);
    for (int poll = 0; poll < 3; ++poll) {
        EXPECT_EQ(Lines{}, monitor.ask(0));
        EXPECT_EQ(Lines{}, monitor.ask(1));
    }
    EXPECT_EQ(0, monitor.announcements[0] + monitor.announcements[1]);
    tree.add(onMd5("dev-sdb/state", "faulty") + onMd5("degraded", "1"));
    (void)monitor.ask(0);
    (void)monitor.ask(1);
    EXPECT_EQ(1, monitor.announcements[0]);
    EXPECT_EQ(1, monitor.announcements[1]);  // the drive's state changed with it
}

// Until the tree has been read anew, somebody still compares with the old one.
TEST(LinuxSource, GivenAChangeThatNobodyReadsThenItIsAnnouncedAtEveryPoll) {
    SysTree tree(LinuxMachine::drives() + LinuxMachine::wholeArray("md5", "raid1", 2));
    LinuxSource source(tree.folder());
    (void)SystemText(source);
    EventListener monitor(source);
    (void)monitor.ask(0);
    tree.add(onMd5("degraded", "1"));
    (void)monitor.ask(0);
    (void)monitor.ask(0);
    EXPECT_EQ(2, monitor.announcements[0]);
    (void)SystemText(source);
    (void)monitor.ask(0);
    EXPECT_EQ(2, monitor.announcements[0]);
}

TEST(LinuxSource, GivenADriveThatComesOrGoesThenThatIsAnnounced) {
    SysTree tree(LinuxMachine::drives());
    LinuxSource source(tree.folder());
    (void)SystemText(source);
    EventListener monitor(source);
    (void)monitor.ask(1);
    tree.add("x /sys/block/sdd");
    (void)monitor.ask(1);
    EXPECT_EQ(1, monitor.announcements[1]);
    (void)SystemText(source);
    tree.add(LinuxMachine::drive("sdd", 9));  // the name was given again
    (void)monitor.ask(0);
    EXPECT_EQ(1, monitor.announcements[0]);
}

// Progress, speed, bitmap pages and clean/active move all the time and are no change.
TEST(LinuxSource, GivenFiguresThatMoveByThemselvesThenNothingIsAnnounced) {
    const auto table = [](const char* percent, const char* pages) {
        return std::string("Personalities : [raid1]\nmd5 : active raid1 sdb[1] sda[0]\n") +
               "      130048 blocks super 1.2 [2/2] [UU]\n      [=>...]  check = " + percent +
               "% (1/2) finish=0.1min speed=1K/sec\n      bitmap: " + pages +
               " pages [4KB], 65536KB chunk\n\nunused devices: <none>\n";
    };
    SysTree tree(LinuxMachine::drives() + LinuxMachine::wholeArray("md5", "raid1", 2) +
                 onMd5("sync_action", "check"));
    tree.write("/proc/mdstat", table("10.0", "1/1"));
    LinuxSource source(tree.folder());
    (void)SystemText(source);
    EventListener monitor(source);
    (void)monitor.ask(0);
    tree.write("/proc/mdstat", table("71.5", "0/1"));
    tree.add(onMd5("array_state", "active-idle") + onMd5("sync_completed", "9 / 10"));
    EXPECT_EQ(Lines{}, monitor.ask(0));
    EXPECT_EQ(0, monitor.announcements[0]);
}

TEST(LinuxSource, GivenAFailedFanThenTheEnclosuresControllerAnnouncesIt) {
    const Recording recording("sas-raid10", {"01-clean", "02-fan-failed"});
    LinuxSource source(recording.step("01-clean"));
    (void)SystemText(source);
    EventListener monitor(source);
    (void)monitor.ask(0);
    (void)monitor.ask(1);
    source.setRoot(recording.step("02-fan-failed"));
    (void)monitor.ask(0);
    (void)monitor.ask(1);
    EXPECT_EQ(0, monitor.announcements[0]);
    EXPECT_EQ(1, monitor.announcements[1]);
}

TEST(LinuxSource, GivenThisMachineThenReadingItWorks) {
    LinuxSource source("/");
    const SystemText seen(source);
    EXPECT_EQ(Ret::kOk, seen.result.status) << source.lastError();
    EXPECT_NE(nullptr, seen.adapter(0));
}

TEST(LinuxSource, GivenARootThatIsNoFolderThenOpeningFailsInOneLine) {
    SysTree tree("f /plain text");
    std::string error;
    EXPECT_EQ(nullptr, LinuxSource::open(tree.folder() + "missing", error));
    EXPECT_EQ("cannot read " + tree.folder() +
                  "missing: No such file or directory; name a folder "
                  "that you may read and that holds sys and proc",
              error);
    EXPECT_EQ(nullptr, LinuxSource::open(tree.folder() + "plain", error));
    EXPECT_EQ(tree.folder() + "plain is no folder; name the folder that holds sys and proc", error);
}

}  // namespace
