#include "agent/Recording.h"

#include <gtest/gtest.h>

#include "agent/Failure.h"
#include "tests/agent/ArchiveMaker.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

std::string refusal(const std::string& path) {
    try {
        const Recording recording(path);
        return "accepted " + recording.path();
    } catch (const Failure& e) {
        EXPECT_EQ(Failure::kBadUse, e.exitCode) << e.what();
        return e.what();
    }
}

TEST(Recording, GivenFoldersThenUsesThemWhereTheyAre) {
    const TempDir dir;
    dir.write("01-a/proc/mdstat", "");
    EXPECT_EQ(dir.folder(), Recording(dir.folder()).path());
}

TEST(Recording, GivenArchivesThenUnpacksEachIntoAFolderOfItsNameAndRemovesThemAtTheEnd) {
    const TempDir dir;
    dir.write("01-a/proc/mdstat", "one");
    dir.write("02-b.events.txt", "what happened");
    ArchiveMaker(dir.file("02-b.tar.xz")).file("proc/mdstat", "two").close();
    std::string unpacked;
    {
        const Recording recording(dir.folder());
        unpacked = recording.path();
        EXPECT_NE(dir.folder(), unpacked);
        EXPECT_TRUE(fs::exists(unpacked + "/01-a/proc/mdstat"));
        EXPECT_TRUE(fs::exists(unpacked + "/02-b/proc/mdstat"));
        EXPECT_FALSE(fs::exists(unpacked + "/02-b.events.txt"));
    }
    EXPECT_FALSE(fs::exists(unpacked));
    EXPECT_TRUE(dir.exists("01-a/proc/mdstat"));
}

TEST(Recording, GivenAPathWithoutARecordingThenTellsWhatToGive) {
    const TempDir dir;
    EXPECT_EQ(
        dir.file("none") +
            " does not exist; give the folder that holds a recording's steps, 01-... and so on",
        refusal(dir.file("none")));
    const std::string file = dir.write("file", "x");
    EXPECT_NE(std::string::npos, refusal(file).find("is not a folder"));
    EXPECT_NE(std::string::npos, refusal(dir.folder()).find("holds no recording"));
}

TEST(Recording, GivenADamagedArchiveThenNothingStaysBehind) {
    const TempDir dir;
    const TempDir temporary;
    dir.write("01-a.tar.xz", "no archive");
    setenv("TMPDIR", temporary.folder().c_str(), 1);
    EXPECT_THROW(Recording{dir.folder()}, Failure);
    unsetenv("TMPDIR");
    EXPECT_TRUE(fs::is_empty(temporary.folder()));
}

}  // namespace
