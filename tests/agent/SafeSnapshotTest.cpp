#include "agent/spool/SafeSnapshot.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "agent/Failure.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

constexpr char kOld[] = "<System>\n    <Controller controllerID=\"0\"/>\n</System>\n";
constexpr char kNew[] = "<System>\n    <Controller controllerID=\"1\"/>\n</System>\n";
constexpr char kName[] = "QELVANTConfig.xml";
constexpr char kCopy[] = "QELVANTConfig.xml.safe";

std::string asideIn(const TempDir& dir) {
    for (const auto& entry : fs::directory_iterator(dir.folder())) {
        const std::string name = entry.path().filename().string();
        if (name.find(".damaged-") != std::string::npos) return name;
    }
    return "";
}

struct TextCase {
    const char* when;
    std::string text;
    bool complete;
};

const TextCase kTexts[] = {
    {"as the engine writes it", kOld, true},
    {"no controller", "<System/>\n", true},
    {"no line end", "<System></System>", true},
    {"nothing", "", false},
    {"blanks only", " \n", false},
    {"cut in the end tag", "<System>\n</Syst", false},
    {"cut in a child", "<System>\n    <Contr", false},
    {"cut behind a child", "<System>\n    <Controller/>\n", false},
    {"only the start tag", "<System>\n", false},
    {"only the end", "</System>\n", false},
    {"something else", "hello </System>", false},
    {"a byte at which the engine ends reading", "<System>\xff</System>\n", false},
    {"zeros, as after a power cut", std::string(300, '\0'), false},
    {"zeros behind it", std::string(kOld) + std::string(9, '\0'), false},
};

TEST(SafeSnapshot, ReadsTheEnginesFileOnlyWhenItIsComplete) {
    const TempDir dir;
    const SafeSnapshot safe(dir.file(kName));
    EXPECT_EQ("", safe.readCurrent());
    for (const TextCase& c : kTexts) {
        SCOPED_TRACE(c.when);
        dir.write(kName, c.text);
        EXPECT_EQ(c.complete ? c.text : "", safe.readCurrent());
    }
}

TEST(SafeSnapshot, GivenADamagedCopyThenItIsSetAsideAndTheEnginesFileStays) {
    for (const TextCase& c : kTexts) {
        if (c.complete) continue;
        SCOPED_TRACE(c.when);
        const TempDir dir;
        dir.write(kName, kNew);
        dir.write(kCopy, c.text);

        const std::string note = SafeSnapshot(dir.file(kName)).restore();

        EXPECT_NE(std::string::npos, note.find("was damaged; it is now " + dir.file(kCopy)));
        EXPECT_EQ(kNew, dir.read(kName));
        EXPECT_FALSE(dir.exists(kCopy));
        EXPECT_EQ(c.text, dir.read(asideIn(dir)));
    }
}

TEST(SafeSnapshot, GivenNoCopyThenNothingHappens) {
    const TempDir dir;
    dir.write(kName, kNew);
    EXPECT_EQ("", SafeSnapshot(dir.file(kName)).restore());
    EXPECT_EQ(kNew, dir.read(kName));
}

TEST(SafeSnapshot, KeepsWhatItIsGivenAndPutsItBack) {
    const TempDir dir;
    dir.write(kName, kOld);
    SafeSnapshot safe(dir.file(kName));
    safe.keep(safe.readCurrent());
    EXPECT_EQ(kOld, dir.read(kCopy));
    EXPECT_EQ(dir.file(kCopy), safe.copyFile());

    dir.write(kName, kNew);  // written, and then the daemon was killed
    SafeSnapshot after(dir.file(kName));
    const std::string note = after.restore();

    EXPECT_NE(std::string::npos, note.find("put back"));
    EXPECT_EQ(kOld, dir.read(kName));
    EXPECT_EQ("", after.restore());  // the same now
}

TEST(SafeSnapshot, KeepsNothingThatIsNotComplete) {
    const TempDir dir;
    SafeSnapshot safe(dir.file(kName));
    safe.keep(kOld);
    safe.keep("");
    safe.keep("<System>");
    EXPECT_EQ(kOld, dir.read(kCopy));
}

TEST(SafeSnapshot, GivenTheSameTextThenTheCopyIsNotWritten) {
    const TempDir dir;
    SafeSnapshot safe(dir.file(kName));
    safe.keep(kOld);
    fs::remove(dir.file(kCopy));
    safe.keep(kOld);
    EXPECT_FALSE(dir.exists(kCopy));
}

// On a full disk a start must not fail for want of room for what is there already.
TEST(SafeSnapshot, GivenACopyOfTheLastRunWithTheSameTextThenItIsNotWritten) {
    const TempDir dir;
    SafeSnapshot(dir.file("S.xml")).keep("<System>1</System>");
    struct stat before {};
    ASSERT_EQ(0, stat(dir.file("S.xml.safe").c_str(), &before));
    SafeSnapshot next(dir.file("S.xml"));
    next.keep("<System>1</System>");
    struct stat after {};
    ASSERT_EQ(0, stat(dir.file("S.xml.safe").c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino) << "a new file would have taken its place";
    next.keep("<System>2</System>");
    EXPECT_EQ("<System>2</System>", dir.read("S.xml.safe"));
}

TEST(SafeSnapshot, GivenALinkAtTheEnginesNameThenTheCopyStandsBesideItsTarget) {
    const TempDir dir;
    fs::create_directories(dir.file("lib"));
    fs::create_directories(dir.file("var"));
    dir.write("var/state.xml", kOld);
    fs::create_symlink("../var/state.xml", dir.file(std::string("lib/") + kName));

    SafeSnapshot safe(dir.file(std::string("lib/") + kName));
    safe.keep(safe.readCurrent());
    dir.write("var/state.xml", kNew);
    safe.restore();

    EXPECT_EQ(kOld, dir.read("var/state.xml.safe"));
    EXPECT_EQ(kOld, dir.read("var/state.xml"));
    EXPECT_TRUE(fs::is_symlink(dir.file(std::string("lib/") + kName)));
}

TEST(SafeSnapshot, GivenALinkToNothingYetThenTheCopyStandsWhereTheFileWillBe) {
    const TempDir dir;
    fs::create_symlink(dir.file("later.xml"), dir.file(kName));
    EXPECT_EQ(dir.file("later.xml.safe"), SafeSnapshot(dir.file(kName)).copyFile());
}

TEST(SafeSnapshot, GivenLinksInACircleThenSaysSo) {
    const TempDir dir;
    fs::create_symlink(dir.file("b"), dir.file("a"));
    fs::create_symlink(dir.file("a"), dir.file("b"));
    EXPECT_THROW(SafeSnapshot(dir.file("a")), Failure);
}

TEST(SafeSnapshot, GivenALinkAtTheCopysNameThenItIsNeverFollowed) {
    const TempDir dir;
    dir.write("precious", kNew);
    fs::create_symlink(dir.file("precious"), dir.file(kCopy));
    dir.write(kName, kOld);

    SafeSnapshot safe(dir.file(kName));
    EXPECT_NE("", safe.restore());  // set aside, the link and not its target
    EXPECT_EQ(kOld, dir.read(kName));
    fs::create_symlink(dir.file("precious"), dir.file(kCopy));
    safe.keep(kOld);

    EXPECT_EQ(kNew, dir.read("precious"));
    EXPECT_FALSE(fs::is_symlink(dir.file(kCopy)));
    EXPECT_EQ(kOld, dir.read(kCopy));
}

TEST(SafeSnapshot, GivenAPipeAtTheCopysNameThenItIsSetAside) {
    const TempDir dir;
    ASSERT_EQ(0, mkfifo(dir.file(kCopy).c_str(), 0600));
    EXPECT_NE("", SafeSnapshot(dir.file(kName)).restore());
    EXPECT_FALSE(dir.exists(kCopy));
}

TEST(SafeSnapshot, GivenNoFolderThenKeepSaysWhatToDo) {
    const TempDir dir;
    SafeSnapshot safe(dir.file("none/") + kName);
    try {
        safe.keep(kOld);
        ADD_FAILURE();
    } catch (const Failure& e) {
        EXPECT_NE(std::string::npos, std::string(e.what()).find("see that there is room"));
    }
}

}  // namespace
