#include "agent/commands/LocateVerb.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "tests/agent/CommandRun.h"
#include "tests/agent/EnclosureTree.h"

namespace {

// One enclosure with two slots, a drive in the first.
class OneEnclosure : public EnclosureTree {
public:
    OneEnclosure() {
        addSlot("2:0:9:0", "Slot 01", 1);
        addSlot("2:0:9:0", "Slot 02", 2);
        putDrive("2:0:9:0", "Slot 01", "sdb", "S7K2M9Q0", "5000c500a1b2c3d4");
    }
    std::string light() const { return dir.read(slot("2:0:9:0", "Slot 01") + "locate"); }
    std::string root() const { return dir.folder(); }
};

TEST(LocateVerb, StatusTellsPlaceDriveAndLights) {
    const OneEnclosure tree;
    const CommandRun ran = runCommand({"locate", "/dev/sdb", "status", "--root", tree.root()});
    EXPECT_EQ(0, ran.exit);
    EXPECT_EQ("2:0:9:0/Slot 01 (sdb, serial S7K2M9Q0): light off, fault off, status OK\n", ran.out);
    const auto json =
        nlohmann::json::parse(runCommand({"locate", "sdb", "--json", "--root", tree.root()}).out);
    EXPECT_EQ(false, json["locate"]);
    EXPECT_EQ("S7K2M9Q0", json["serial"]);
}

TEST(LocateVerb, WithoutASlotShowsThemAll) {
    const OneEnclosure tree;
    EXPECT_EQ(
        "2:0:9:0/Slot 01 (sdb, serial S7K2M9Q0): light off, fault off, status OK\n"
        "2:0:9:0/Slot 02 (empty): light off, fault off, status OK\n",
        runCommand({"locate", "--root", tree.root()}).out);
    const TempDir none;
    EXPECT_EQ("the kernel knows no enclosure with slots here\n",
              runCommand({"locate", "--root", none.folder()}).out);
}

TEST(LocateVerb, OnBurnsForItsTimeAndGoesOff) {
    const OneEnclosure tree;
    const CommandRun ran =
        runCommand({"locate", "S7K2M9Q0", "on", "--for", "1s", "--root", tree.root()});
    EXPECT_EQ(0, ran.exit);
    EXPECT_EQ("2:0:9:0/Slot 01 (sdb, serial S7K2M9Q0): light on, fault off, status OK\n", ran.out);
    EXPECT_EQ((std::vector<std::string>{"it goes off in 1s, or at Ctrl-C",
                                        "the light of 2:0:9:0/Slot 01 is off"}),
              ran.notes);
    EXPECT_EQ("0\n", tree.light());
}

TEST(LocateVerb, EverySignalThatEndsItSwitchesTheLightOff) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        const OneEnclosure tree;
        std::string seen;
        KeptContext kept;  // takes the signals before the other thread is made
        std::thread other([&] {
            for (int i = 0; i < 5000 && tree.light() != "1\n"; ++i) usleep(1000);
            seen = tree.light();
            kill(getpid(), signal);
        });
        const std::string root = tree.root();
        const char* const argv[] = {"raidwatch", "locate", "sdb", "on", "--root", root.c_str()};
        EXPECT_EQ(0, CommandLine(kept.context, "0").run(6, argv));
        other.join();
        EXPECT_EQ("1\n", seen);
        EXPECT_EQ("0\n", tree.light());
    }
}

TEST(LocateVerb, GivenTheReaderOfItsOutputGoesThenTheLightGoesOff) {
    const OneEnclosure tree;
    KeptContext kept;
    kept.out.closed = true;
    const std::string root = tree.root();
    const char* const argv[] = {"raidwatch", "locate", "sdb", "on", "--root", root.c_str()};
    EXPECT_THROW((void)CommandLine(kept.context, "0").run(6, argv), OutputClosed);
    EXPECT_EQ("0\n", tree.light());
}

TEST(LocateVerb, GivenSomebodySwitchesItOffThenItEnds) {
    const OneEnclosure tree;
    std::thread other([&] {
        for (int i = 0; i < 5000 && tree.light() != "1\n"; ++i) usleep(1000);
        tree.dir.write(EnclosureTree::slot("2:0:9:0", "Slot 01") + "locate", "0\n");
    });
    const CommandRun ran = runCommand({"locate", "sdb", "on", "--root", tree.root()});
    other.join();
    EXPECT_EQ(0, ran.exit);
    ASSERT_EQ(3u, ran.notes.size());
    EXPECT_EQ("somebody has switched it off", ran.notes[1]);
}

TEST(LocateVerb, OffSwitchesOff) {
    const OneEnclosure tree;
    tree.dir.write(EnclosureTree::slot("2:0:9:0", "Slot 01") + "locate", "1\n");
    EXPECT_EQ(0, runCommand({"locate", "2:0:9:0/1", "off", "--root", tree.root()}).exit);
    EXPECT_EQ("0\n", tree.light());
}

TEST(LocateVerb, RefusesWhenItIsNotSure) {
    const OneEnclosure tree;
    tree.addSlot("0:0:8:0", "Slot 01", 1);
    tree.dir.write("sys/block/sdz/size", "1000\n");
    const struct {
        const char* wanted;
        const char* failure;
    } rows[] = {
        {"Slot 01",
         "Slot 01 can mean 0:0:8:0/Slot 01 (empty) and 2:0:9:0/Slot 01 (sdb, serial S7K2M9Q0); "
         "name the slot as ENCLOSURE/SLOT"},
        {"sdz",
         "sdz sits in no slot of an enclosure that the kernel knows; find it by its serial number"},
        {"nobody", "no slot and no drive is called nobody; raidwatch locate shows every slot"},
    };
    for (const auto& row : rows) {
        const CommandRun ran = runCommand({"locate", row.wanted, "on", "--root", tree.root()});
        EXPECT_EQ(1, ran.exit) << row.wanted;
        EXPECT_EQ(row.failure, ran.failure);
        EXPECT_EQ("0\n", tree.light());
    }
    const TempDir none;
    EXPECT_EQ(
        "the kernel knows no enclosure here, so no light can be switched; load the module ses, or "
        "use the tool of the controller's maker",
        runCommand({"locate", "sdb", "on", "--root", none.folder()}).failure);
}

TEST(LocateVerb, GivenWrongUseThenSaysSo) {
    const OneEnclosure tree;
    EXPECT_EQ(2, runCommand({"locate", "sdb", "blink", "--root", tree.root()}).exit);
    EXPECT_EQ(2, runCommand({"locate", "sdb", "on", "--for", "0", "--root", tree.root()}).exit);
    EXPECT_EQ(2, runCommand({"locate", "sdb", "on", "--for", "2d", "--root", tree.root()}).exit);
    EXPECT_EQ(2, runCommand({"locate", "sdb", "on", "--root", "/nowhere/at/all"}).exit);
    EXPECT_EQ("0\n", tree.light());
}

}  // namespace
