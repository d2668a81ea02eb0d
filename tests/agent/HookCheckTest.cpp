#include "agent/sinks/HookCheck.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/agent/HookFixture.h"

namespace {

namespace fs = std::filesystem;

class HookCheckTest : public testing::Test {
protected:
    HookCheckTest() {
        fs::create_directories(path("a/b"));
        chmod(path("a").c_str(), 0755);
        chmod(path("a/b").c_str(), 0755);
        hook = folder.script("a/b/hook", "exit 0");
    }
    std::string path(const std::string& name) const { return folder.dir.file(name); }
    std::string trouble(const std::string& name) const { return hookTrouble(name, geteuid()); }

    HookFolder folder;
    std::string hook;
};

TEST_F(HookCheckTest, AProgramThatNobodyElseCanChangeIsGood) { EXPECT_EQ("", trouble(hook)); }

TEST_F(HookCheckTest, WhatOthersMayWriteIsRefusedWithTheCure) {
    struct {
        std::string what;
        mode_t mode;
        const char* says;
    } cases[] = {
        {hook, 0775, "its group"},
        {hook, 0757, "everybody"},
        {path("a/b"), 0775, "its group"},
        {path("a"), 0757, "everybody"},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(0, chmod(c.what.c_str(), c.mode));
        EXPECT_EQ(c.what + " is writable by " + c.says + "; run: chmod go-w " + c.what,
                  trouble(hook));
        ASSERT_EQ(0, chmod(c.what.c_str(), 0755));
    }
    EXPECT_EQ("", trouble(hook));
}

TEST_F(HookCheckTest, AFolderLikeTmpIsGoodEnoughForWhatIsOurs) {
    ASSERT_EQ(0, chmod(path("a").c_str(), 01777));
    EXPECT_EQ("", trouble(hook));
}

TEST_F(HookCheckTest, WhatBelongsToSomebodyElseIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can give files away";
    for (const std::string& what : {hook, path("a/b")}) {
        ASSERT_EQ(0, chown(what.c_str(), 65534, 65534));
        EXPECT_EQ(what + " belongs to another user; run: chown root " + what, trouble(hook));
        EXPECT_EQ("", hookTrouble(hook, 65534)) << "its own user may run it";
        ASSERT_EQ(0, chown(what.c_str(), 0, 0));
    }
    fs::create_symlink(hook, path("link"));
    ASSERT_EQ(0, lchown(path("link").c_str(), 65534, 65534));
    EXPECT_EQ(path("link") + " belongs to another user; run: chown root " + path("link"),
              trouble(path("link")));
}

TEST_F(HookCheckTest, LinksAreFollowedAndWhatTheyMeetIsChecked) {
    fs::create_symlink("b/../b/hook", path("a/relative"));
    fs::create_directory_symlink(path("a"), path("absolute"));
    EXPECT_EQ("", trouble(path("absolute/relative")));
    ASSERT_EQ(0, chmod(path("a/b").c_str(), 0777));
    EXPECT_EQ(path("a/b") + " is writable by everybody; run: chmod go-w " + path("a/b"),
              trouble(path("absolute/relative")));
    fs::create_symlink("round", path("round"));
    EXPECT_EQ(path("round") + ": too many symbolic links", trouble(path("round")));
}

TEST_F(HookCheckTest, WhatIsNoProgramIsRefused) {
    EXPECT_EQ("hook is no whole path; write it from / on", trouble("hook"));
    EXPECT_EQ(path("none") + ": No such file or directory", trouble(path("none")));
    EXPECT_EQ(path("a/b") + " is no program", trouble(path("a/b")));
    ASSERT_EQ(0, chmod(hook.c_str(), 0644));
    EXPECT_EQ(hook + " is not executable; run: chmod +x " + hook, trouble(hook));
    EXPECT_EQ("/evil\\n: No such file or directory", trouble("/evil\n"));
}

TEST_F(HookCheckTest, AFolderOfHooksIsCheckedToo) {
    EXPECT_EQ("", hookFolderTrouble(path("a/b"), geteuid()));
    EXPECT_EQ(hook + " is no folder", hookFolderTrouble(hook, geteuid()));
}

TEST_F(HookCheckTest, HooksAreTheProgramsOfAFolderByName) {
    for (const char* name :
         {"20-mail", "10-page", ".hidden", "old~", "x.dpkg-old", "off.disabled"}) {
        folder.script(std::string("hooks/") + name, "exit 0");
    }
    folder.dir.write("hooks/README", "no program");
    fs::create_directory(path("hooks/folder"));
    EXPECT_EQ(std::vector<std::string>({path("hooks/10-page"), path("hooks/20-mail")}),
              hooksIn(path("hooks")));
    EXPECT_TRUE(hooksIn(path("nowhere")).empty());
}

}  // namespace
