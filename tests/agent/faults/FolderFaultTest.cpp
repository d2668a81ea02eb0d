// Folders that cannot be written, and folders that everybody can write.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tests/agent/DaemonRoom.h"
#include "tests/agent/faults/SmallDisk.h"

namespace {

class FolderFaultTest : public testing::Test {
protected:
    mode_t modeOf(const std::string& name) {
        struct stat info {};
        EXPECT_EQ(0, stat(name.c_str(), &info)) << name;
        return info.st_mode & 07777;
    }
    // The exit code of a daemon that cannot start.
    int refused() {
        room.configure("");
        room.start();
        return room.waitForEnd();
    }

    DaemonRoom room;
};

TEST_F(FolderFaultTest, GivenAReadOnlyDiskThenItEndsAndNamesTheFolder) {
    const SmallDisk disk;
    if (!disk.isThere()) GTEST_SKIP() << SmallDisk::kRefused;
    for (const char* name : {"state", "run"}) {
        std::filesystem::create_directories(disk.file(name));
    }
    ASSERT_TRUE(disk.makeReadOnly());
    const AgentSettings good = room.settings;
    room.settings.stateFolder = disk.file("state");
    EXPECT_EQ(1, refused());
    EXPECT_TRUE(room.logged("cannot write to " + disk.file("state"))) << room.log();
    room.settings = good;
    room.settings.runFolder = disk.file("run");
    EXPECT_EQ(1, refused());
    EXPECT_TRUE(room.logged("cannot write to " + disk.file("run"))) << room.log();
    room.settings = good;
    room.settings.stateFolder = disk.file("state/made/by/nobody");
    EXPECT_EQ(1, refused());
    EXPECT_TRUE(room.logged("cannot write to " + disk.file("state/made/by/nobody"))) << room.log();
}

// The engine keeps its snapshot there. What happens while it runs is told all the same; the next
// start sees the machine for the first time again.
TEST_F(FolderFaultTest, GivenAnEngineFolderThatCannotBeWrittenThenItWatchesAndSaysWhatIsMissing) {
    const SmallDisk disk;
    if (!disk.isThere()) GTEST_SKIP() << SmallDisk::kRefused;
    ASSERT_TRUE(disk.makeReadOnly());
    room.settings.engineFolder = disk.file("");
    room.configure("");
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(207) && room.isUp(); }))
        << room.log();
    EXPECT_TRUE(room.logged("cannot write to " + disk.file(""))) << room.log();
    EXPECT_TRUE(room.logged("what changes while raidwatch is away stays unseen")) << room.log();
    room.machine.add("x /sys/block/sdb");
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(408); })) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
    EXPECT_TRUE(std::filesystem::is_empty(disk.file("")));
}

// Its own folders lie elsewhere, as on an appliance. The engine makes its lock file in the root.
TEST_F(FolderFaultTest, GivenAReadOnlyRootThenItWatchesAndTells) {
    const SmallDisk disk;
    if (!disk.isThere()) GTEST_SKIP() << SmallDisk::kRefused;
    const char* const usual = getenv("TMPDIR");
    const std::string before = usual == nullptr ? "/tmp" : usual;
    setenv("TMPDIR", disk.file("").c_str(), 1);
    {
        DaemonRoom apart;
        const auto remount = [](unsigned long flags) {
            return mount("none", "/", nullptr, MS_REMOUNT | MS_BIND | flags, nullptr);
        };
        ASSERT_EQ(0, remount(MS_RDONLY)) << std::strerror(errno);
        EXPECT_NE(0, mkdir("/raidwatch-was-here", 0700));
        EXPECT_EQ(EROFS, errno);
        apart.start();
        EXPECT_TRUE(DaemonRoom::waitFor([&] { return apart.toldCode(207) && apart.isUp(); }))
            << apart.log();
        apart.machine.add("x /sys/block/sdb");
        EXPECT_TRUE(DaemonRoom::waitFor([&] { return apart.toldCode(408); })) << apart.log();
        EXPECT_EQ(0, apart.stop(SIGTERM)) << apart.log();
        EXPECT_EQ(0, remount(0));
    }
    setenv("TMPDIR", before.c_str(), 1);
}

TEST_F(FolderFaultTest, GivenFoldersThatEverybodyMayWriteThenOthersAreShutOut) {
    for (const std::string& name : {room.settings.runFolder, room.settings.stateFolder}) {
        std::filesystem::create_directories(name);
        ASSERT_EQ(0, chmod(name.c_str(), 0777));
    }
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.polled(); })) << room.log();
    for (const std::string& name : {room.settings.runFolder, room.settings.stateFolder}) {
        EXPECT_TRUE(room.logged("everybody could write to " + name + "; now others cannot"))
            << room.log();
        EXPECT_EQ(0775u, modeOf(name));
    }
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
}

// Such as /tmp: others have their files there, and count on it.
TEST_F(FolderFaultTest, GivenASharedFolderThenItIsRefusedAndLeftAsItIs) {
    const std::string shared = room.dir.file("shared");
    std::filesystem::create_directories(shared);
    ASSERT_EQ(0, chmod(shared.c_str(), 01777));
    room.settings.runFolder = shared;
    EXPECT_EQ(1, refused());
    EXPECT_TRUE(room.logged("everybody may write to " + shared)) << room.log();
    EXPECT_TRUE(room.logged("chmod o-w " + shared)) << room.log();
    EXPECT_EQ(01777u, modeOf(shared));
}

TEST_F(FolderFaultTest, GivenAFolderOfAnotherUserThatEverybodyMayWriteThenItIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can give a folder away";
    const std::string foreign = room.dir.file("foreign");
    std::filesystem::create_directories(foreign);
    ASSERT_EQ(0, chown(foreign.c_str(), 65534, 65534));
    ASSERT_EQ(0, chmod(foreign.c_str(), 0777));
    room.settings.runFolder = foreign;
    EXPECT_EQ(1, refused());
    EXPECT_TRUE(room.logged("everybody may write to " + foreign)) << room.log();
    EXPECT_EQ(0777u, modeOf(foreign));
}

}  // namespace
