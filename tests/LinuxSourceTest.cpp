#include "storlib/sources/LinuxSource.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "storlib/SATAChannel.h"
#include "tests/support/EventListener.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/SysTree.h"
#include "tests/support/SystemText.h"
#include "tests/support/UnpackedRecording.h"

namespace {

using Lines = SystemText::Lines;
using LinuxMachine::drive;
using LinuxMachine::drives;
using LinuxMachine::set;

std::string onMd5(const std::string& name, const std::string& value) {
    return set("md5", name, value);
}

struct StepCase {
    const char* step;
    Lines arrays;
    Lines drives;
};

void expectSteps(const char* sequence, const std::vector<StepCase>& cases) {
    const UnpackedRecording recording(sequence);
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
    const UnpackedRecording recording("sas-raid10");
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
    const UnpackedRecording recording("sas-raid10", {"06-rebuilding"});
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
    const UnpackedRecording recording("sas-raid10", {"01-clean"});
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
    const UnpackedRecording recording("sas-raid10", {"01-clean"});
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
    const UnpackedRecording recording("raid1-spare", {"01-clean"});
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
    const UnpackedRecording recording("sas-raid10", {"01-clean", "02-fan-failed"});
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

// Runs on a thread for which a tree is the whole machine; false where that is not allowed.
bool onMachine(const SysTree& tree, const std::function<void()>& body) {
    bool allowed = false;
    std::thread([&] {
        allowed = unshare(CLONE_FS) == 0 && chroot(tree.folder().c_str()) == 0;
        if (allowed) body();
    }).join();
    return allowed;
}

// On the machine itself handles stay open and links are not read again; what moves takes them
// along.
TEST(LinuxSource, GivenADriveOfThisMachineThatMovesThenTheNextPollFindsItWhereItIs) {
    SysTree tree(LinuxMachine::drives() + LinuxMachine::wholeArray("md5", "raid1", 2) +
                 "f /proc/mdstat md5 : active raid1 sdb[1] sda[0]\n");
    LinuxSource source("/");
    source.getReader().keepHandles();
    EventListener monitor(source);
    const bool allowed = onMachine(tree, [&] {
        (void)SystemText(source);
        for (int poll = 0; poll < 3; ++poll) (void)monitor.ask(0);
    });
    if (!allowed) GTEST_SKIP() << "NOT TESTED: only root may give a thread another root";
    EXPECT_EQ(0, monitor.announcements[0]);

    tree.add("x " + LinuxMachine::devicePath(0) + "\n" + LinuxMachine::drive("sda", 7) +
             LinuxMachine::member("md5", "sda", 7, "in_sync", 0));
    Lines arrays;
    Lines drives;
    ASSERT_TRUE(onMachine(tree, [&] {
        (void)monitor.ask(0);
        const SystemText seen(source);
        arrays = seen.arrays();
        drives = seen.drives();
        for (int poll = 0; poll < 3; ++poll) (void)monitor.ask(0);
    }));
    EXPECT_EQ(1, monitor.announcements[0]);
    SysTree moved(LinuxMachine::host() + LinuxMachine::drive("sda", 7) +
                  LinuxMachine::drive("sdb", 1) + LinuxMachine::drive("sdc", 2) +
                  LinuxMachine::drive("sdd", 3) + LinuxMachine::wholeArray("md5", "raid1", 2) +
                  LinuxMachine::member("md5", "sda", 7, "in_sync", 0) + "x " +
                  LinuxMachine::devicePath(0) +
                  "\nf /proc/mdstat md5 : active raid1 sdb[1] sda[0]\n");
    LinuxSource fresh(moved.folder());
    const SystemText expected(fresh);
    EXPECT_EQ(expected.arrays(), arrays);
    EXPECT_EQ(expected.drives(), drives);
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
