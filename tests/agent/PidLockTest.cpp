#include "agent/daemon/PidLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>

#include "agent/Failure.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/TempDir.h"

namespace {

TEST(PidLock, HoldsTheNumberOfTheProcessWhileItLives) {
    const TempDir dir;
    {
        const PidLock lock(dir.file("pid"));
        EXPECT_EQ(std::to_string(getpid()) + "\n", dir.read("pid"));
        EXPECT_GE(lock.descriptor(), 0);
    }
    EXPECT_EQ("", dir.read("pid"));
}

TEST(PidLock, GivenALivingHolderThenNamesIt) {
    const TempDir dir;
    const PidLock lock(dir.file("pid"));
    try {
        const PidLock second(dir.file("pid"));
        FAIL();
    } catch (const Failure& e) {
        EXPECT_EQ("raidwatch runs already as process " + std::to_string(getpid()) + " (lock " +
                      dir.file("pid") + "); stop that one first",
                  std::string(e.what()));
    }
    EXPECT_EQ(std::to_string(getpid()) + "\n", dir.read("pid")) << "the holder's number stays";
}

TEST(PidLock, TellsWhetherItIsHeldWithoutTakingIt) {
    const TempDir dir;
    EXPECT_FALSE(PidLock::isHeld(dir.file("pid")));
    EXPECT_FALSE(dir.exists("pid")) << "looking makes nothing";
    {
        const PidLock lock(dir.file("pid"));
        EXPECT_TRUE(PidLock::isHeld(dir.file("pid")));
    }
    EXPECT_FALSE(PidLock::isHeld(dir.file("pid"))) << "the file stays, the lock does not";
}

TEST(PidLock, GivenAFileOfADeadProcessThenIsTaken) {
    const TempDir dir;
    const pid_t child = fork();
    if (child == 0) {
        auto* const lock = new PidLock(dir.file("pid"));  // never destroyed
        _exit(lock->descriptor() >= 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_EQ(0, status);
    EXPECT_EQ(std::to_string(child) + "\n", dir.read("pid"));
    const PidLock lock(dir.file("pid"));
    EXPECT_EQ(std::to_string(getpid()) + "\n", dir.read("pid"));
}

TEST(PidLock, GivenRubbishInTheFileThenNobodyIsNamed) {
    const TempDir dir;
    const PidLock lock(dir.file("pid"));
    dir.write("pid", "no number");
    try {
        const PidLock second(dir.file("pid"));
        FAIL();
    } catch (const Failure& e) {
        EXPECT_EQ(0, std::string(e.what()).find("raidwatch runs already (lock ")) << e.what();
    }
}

// It is enough to read a file to lock it for ever.
TEST(PidLock, OnlyTheOwnerCanOpenTheFile) {
    const TempDir dir;
    ASSERT_EQ(0, chmod(dir.folder().c_str(), 0755));
    dir.write("pid", "");  // as an older version left it
    ASSERT_EQ(0, chmod(dir.file("pid").c_str(), 0644));
    for (const char* name : {"pid", "new"}) {
        const PidLock lock(dir.file(name));
        struct stat info {};
        ASSERT_EQ(0, stat(dir.file(name).c_str(), &info));
        EXPECT_EQ(0600u, info.st_mode & 0777u) << name;
    }
    if (geteuid() != 0) return;  // the owner himself can
    asOrdinaryUser([&] {
        EXPECT_EQ(-1, open(dir.file("pid").c_str(), O_RDONLY));
        EXPECT_FALSE(PidLock::isHeld(dir.file("pid")));
    });
}

TEST(PidLock, GivenAFolderThatIsNotThereOrALinkThenSaysSo) {
    const TempDir dir;
    EXPECT_THROW(PidLock(dir.file("no/pid")), Failure);
    ASSERT_EQ(0, symlink("/dev/null", dir.file("link").c_str()));
    EXPECT_THROW(PidLock(dir.file("link")), Failure);
}

}  // namespace
