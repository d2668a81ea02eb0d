#include "agent/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "agent/Failure.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

TEST(TempFolder, IsPrivateAndGoesWithAllItHolds) {
    std::string path;
    {
        const TempFolder folder;
        path = folder.path();
        struct stat state {};
        ASSERT_EQ(0, stat(path.c_str(), &state));
        EXPECT_EQ(0700u, state.st_mode & 0777u);
        fs::create_directories(path + "/a/b");
        std::ofstream(path + "/a/b/c") << "x";
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(TempFolder, GivenALinkInsideWhenItGoesThenTheTargetStays) {
    const TempDir outside;
    outside.write("kept", "x");
    {
        const TempFolder folder;
        fs::create_directory_symlink(outside.folder(), folder.path() + "/link");
    }
    EXPECT_TRUE(outside.exists("kept"));
}

TEST(TempFolder, GivenNoUsableFolderThenSaysWhichVariableToSet) {
    const char* const before = std::getenv("TMPDIR");
    const std::string kept = before == nullptr ? "" : before;
    setenv("TMPDIR", "/nowhere/at/all", 1);
    try {
        const TempFolder folder;
        ADD_FAILURE() << folder.path();
    } catch (const Failure& e) {
        EXPECT_EQ(Failure::kFailed, e.exitCode);
        EXPECT_NE(std::string::npos, std::string(e.what()).find("TMPDIR"));
    }
    before == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", kept.c_str(), 1);
}

}  // namespace
