#include "agent/daemon/StateFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "agent/Failure.h"
#include "tests/support/TempDir.h"

namespace {

TEST(StateFile, ReplacesTheTextAndEveryUserMayReadIt) {
    const TempDir dir;
    const mode_t mask = umask(077);
    StateFile(dir.file("state.json")).write("first");
    StateFile(dir.file("state.json")).write("second");
    umask(mask);
    EXPECT_EQ("second", dir.read("state.json"));
    EXPECT_EQ("second", StateFile(dir.file("state.json")).read());
    struct stat info {};
    ASSERT_EQ(0, stat(dir.file("state.json").c_str(), &info));
    EXPECT_EQ(0644u, info.st_mode & 0777u);
    EXPECT_NE(0, access(dir.file("state.json.new").c_str(), F_OK));
}

TEST(StateFile, GivenAFolderThatIsNotThereThenSaysWhichFile) {
    const TempDir dir;
    try {
        StateFile(dir.file("no/state.json")).write("text");
        FAIL();
    } catch (const Failure& e) {
        EXPECT_NE(std::string::npos, std::string(e.what()).find("no/state.json")) << e.what();
    }
}

TEST(StateFile, GivenALinkAtTheTemporaryNameThenWritesNothingThroughIt) {
    const TempDir dir;
    dir.write("victim", "untouched");
    ASSERT_EQ(0, symlink(dir.file("victim").c_str(), dir.file("state.json.new").c_str()));
    EXPECT_THROW(StateFile(dir.file("state.json")).write("text"), Failure);
    EXPECT_EQ("untouched", dir.read("victim"));
    StateFile(dir.file("state.json")).write("text");  // the link is gone
    EXPECT_EQ("text", dir.read("state.json"));
}

TEST(StateFile, GivenAYoungFileThenWriteAtMostLeavesIt) {
    const TempDir dir;
    const StateFile file(dir.file("state.json"));
    file.writeAtMost("first", std::chrono::minutes(10));
    file.writeAtMost("second", std::chrono::minutes(10));
    EXPECT_EQ("first", file.read());
    file.writeAtMost("third", std::chrono::seconds(0));
    EXPECT_EQ("third", file.read());
}

TEST(StateFile, GivenNoFileThenReadsNothing) {
    EXPECT_EQ("", StateFile("/nonexistent/state.json").read());
}

}  // namespace
