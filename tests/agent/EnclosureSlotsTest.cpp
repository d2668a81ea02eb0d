#include "agent/state/EnclosureSlots.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "agent/Failure.h"
#include "tests/agent/EnclosureTree.h"

namespace {

using Light = EnclosureSlots::Light;
using Texts = std::vector<std::string>;

Texts pathsOf(const std::vector<EnclosureSlots::Slot>& slots) {
    Texts paths;
    for (const EnclosureSlots::Slot& slot : slots) paths.push_back(slot.path());
    return paths;
}

std::string failureOf(const EnclosureSlots::Slot& slot, bool on) {
    try {
        EnclosureSlots::setLocate(slot, on);
    } catch (const Failure& e) {
        return e.what();
    }
    return "";
}

TEST(EnclosureSlots, ReadsEverySlotByEnclosureAndNumber) {
    EnclosureTree tree;
    tree.addSlot("2:0:9:0", "Slot 10", 10);
    tree.addSlot("2:0:9:0", "Slot 02", 2);
    tree.addSlot("0:0:8:0", "ArrayDevice01", 1);
    tree.putDrive("2:0:9:0", "Slot 02", "sdb", "S7K2M9Q0", "5000c500a1b2c3d4");
    tree.dir.write("sys/class/enclosure/2:0:9:0/device/type", "13\n");
    const EnclosureSlots slots(tree.dir.folder());
    const std::vector<EnclosureSlots::Slot> all = slots.all();
    EXPECT_EQ((Texts{"0:0:8:0/ArrayDevice01", "2:0:9:0/Slot 02", "2:0:9:0/Slot 10"}), pathsOf(all));
    EXPECT_EQ(2, all[1].number);
    EXPECT_EQ(Texts{"sdb"}, all[1].drives);
    EXPECT_EQ("S7K2M9Q0", all[1].serial);
    EXPECT_EQ("5000c500a1b2c3d4", all[1].wwn);
    EXPECT_EQ("0x2:0:9:0", all[1].enclosureId);
    EXPECT_FALSE(all[1].isEmpty());
    EXPECT_TRUE(all[2].isEmpty());
    EXPECT_EQ("OK", EnclosureSlots::status(all[1]));
    EXPECT_EQ(Light::kOff, EnclosureSlots::locate(all[1]));
    EXPECT_TRUE(slots.hasEnclosure());
    EXPECT_TRUE(slots.hasDrive("/dev/sdb"));
    EXPECT_FALSE(slots.hasDrive("../class"));
}

TEST(EnclosureSlots, GivenNoEnclosureThenNothingIsFound) {
    const TempDir dir;
    const EnclosureSlots slots(dir.folder());
    EXPECT_FALSE(slots.hasEnclosure());
    EXPECT_TRUE(slots.all().empty());
    EXPECT_TRUE(slots.find("sdb").empty());
}

TEST(EnclosureSlots, FindsByAnyIdentityAndNothingElse) {
    EnclosureTree tree;
    tree.addSlot("2:0:9:0", "Slot 01", 1);
    tree.addSlot("2:0:9:0", "Slot 02", 2);
    tree.putDrive("2:0:9:0", "Slot 02", "sdb", "S7K2M9Q0", "5000c500a1b2c3d4");
    const EnclosureSlots slots(tree.dir.folder());
    for (const char* accepted :
         {"sdb", "/dev/sdb", "S7K2M9Q0", "s7k2m9q0", "5000c500a1b2c3d4", "0x5000C500A1B2C3D4",
          "naa.5000c500a1b2c3d4", "wwn-0x5000c500a1b2c3d4", "2:0:9:0/Slot 02", "2:0:9:0/2",
          "0x2:0:9:0/2", "slot 02", "2"}) {
        EXPECT_EQ(Texts{"2:0:9:0/Slot 02"}, pathsOf(slots.find(accepted))) << accepted;
    }
    for (const char* rejected : {"", "sd", "sdb1", "/dev/", "S7K2", "0x", "naa.", "3", "2:0:9:0",
                                 "2:0:9:0/", "2:0:9:0/3", "2:0:9:1/2", "/2", "*"}) {
        EXPECT_EQ(Texts(), pathsOf(slots.find(rejected))) << rejected;
    }
}

TEST(EnclosureSlots, GivenTheSameWordInTwoEnclosuresThenBothAreFound) {
    EnclosureTree tree;
    tree.addSlot("2:0:9:0", "Slot 01", 1);
    tree.addSlot("0:0:8:0", "Slot 01", 1);
    EXPECT_EQ((Texts{"0:0:8:0/Slot 01", "2:0:9:0/Slot 01"}),
              pathsOf(EnclosureSlots(tree.dir.folder()).find("Slot 01")));
}

// Two ways lead to one enclosure: one drive, two names of it, two places in the tree.
TEST(EnclosureSlots, GivenAnEnclosureOnTwoWaysThenItsSlotsCountOnce) {
    EnclosureTree tree;
    tree.addSlot("0:0:8:0", "Slot 01", 1);
    tree.addSlot("1:0:8:0", "Slot 01", 1);
    tree.dir.write("sys/class/enclosure/0:0:8:0/id", "0x500a\n");
    tree.dir.write("sys/class/enclosure/1:0:8:0/id", "0x500a\n");
    tree.putDrive("0:0:8:0", "Slot 01", "sdb", "S1", "5000c500a1b2c3d4");
    tree.putDrive("1:0:8:0", "Slot 01", "sdq", "S1", "5000c500a1b2c3d4");
    const EnclosureSlots slots(tree.dir.folder());
    EXPECT_EQ(Texts{"0:0:8:0/Slot 01"}, pathsOf(slots.find("S1")));
    EXPECT_EQ(Texts{"1:0:8:0/Slot 01"}, pathsOf(slots.find("sdq")));
    EXPECT_EQ(2u, slots.all().size());
}

TEST(EnclosureSlots, SwitchesTheLightAndReadsItBack) {
    EnclosureTree tree;
    tree.addSlot("2:0:9:0", "Slot 01", 1);
    const EnclosureSlots::Slot slot = EnclosureSlots(tree.dir.folder()).all().front();
    EnclosureSlots::setLocate(slot, true);
    EXPECT_EQ(Light::kOn, EnclosureSlots::locate(slot));
    EXPECT_EQ(Light::kOff, EnclosureSlots::fault(slot));
    EXPECT_EQ("1\n", tree.dir.read("sys/class/enclosure/2:0:9:0/Slot 01/locate"));
    EnclosureSlots::setLocate(slot, false);
    EXPECT_EQ(Light::kOff, EnclosureSlots::locate(slot));
}

TEST(EnclosureSlots, GivenALightThatCannotBeSwitchedThenSaysWhy) {
    EnclosureTree tree;
    tree.addSlot("2:0:9:0", "Slot 01", 1);
    const std::string light = tree.dir.file("sys/class/enclosure/2:0:9:0/Slot 01/locate");
    const EnclosureSlots::Slot slot = EnclosureSlots(tree.dir.folder()).all().front();
    ASSERT_EQ(0, unlink(light.c_str()));
    EXPECT_EQ(
        "cannot switch the light of 2:0:9:0/Slot 01 (No such file or directory); the enclosure may "
        "have none for this slot",
        failureOf(slot, true));
    EXPECT_NE(0, access(light.c_str(), F_OK)) << "it must not be made";
    EXPECT_EQ(Light::kUnknown, EnclosureSlots::locate(slot));
    // An enclosure that takes every order and does nothing.
    ASSERT_EQ(0, symlink("/dev/null", light.c_str()));
    EXPECT_EQ(
        "the enclosure took the order for 2:0:9:0/Slot 01, but its light does not show on; look "
        "before you pull a drive",
        failureOf(slot, true));
}

TEST(EnclosureSlots, GivenALightThatWeMayNotSwitchThenNamesTheCure) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can become another user";
    EnclosureTree tree;
    tree.addSlot("2:0:9:0", "Slot 01", 1);
    ASSERT_EQ(0, chmod(tree.dir.folder().c_str(), 0755));
    const pid_t other = fork();
    if (other == 0) {
        const bool changed = setgid(65534) == 0 && setuid(65534) == 0;
        const std::string line = failureOf(EnclosureSlots(tree.dir.folder()).all().front(), true);
        _exit(changed && line ==
                             "not permitted to switch the light of 2:0:9:0/Slot 01; run as root, "
                             "with sudo"
                  ? 0
                  : 1);
    }
    int status = 0;
    ASSERT_EQ(other, waitpid(other, &status, 0));
    EXPECT_EQ(0, status);
}

}  // namespace
