#include "agent/Unpacker.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "agent/Failure.h"
#include "tests/agent/ArchiveMaker.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

class UnpackerTest : public testing::Test {
protected:
    std::string archiveName() const { return dir.file("in.tar.xz"); }
    std::string target() const { return dir.file("out"); }

    std::string unpackError(const Unpacker& unpacker = Unpacker()) const {
        try {
            unpacker.unpack(archiveName(), target());
        } catch (const Failure& e) {
            EXPECT_EQ(Failure::kFailed, e.exitCode);
            return e.what();
        }
        return "";
    }

    TempDir dir;
};

TEST_F(UnpackerTest, GivenATreeThenMakesFilesFoldersAndLinksReadableForTheOwner) {
    ArchiveMaker(archiveName())
        .folder("sys")
        .folder("sys/devices/")
        .file("sys/devices/size", "262144\n")
        .file("./proc/mdstat", "Personalities :\n")
        .link("sys/block", "devices")
        .link("sys/devices/driver", "../bus/nowhere")
        .close();

    EXPECT_EQ(7u + 16u, Unpacker().unpack(archiveName(), target()));
    EXPECT_EQ("262144\n", dir.read("out/sys/block/size"));
    EXPECT_EQ("Personalities :\n", dir.read("out/proc/mdstat"));
    EXPECT_EQ("../bus/nowhere", fs::read_symlink(target() + "/sys/devices/driver").string());
    struct stat state {};
    ASSERT_EQ(0, stat((target() + "/sys/devices/size").c_str(), &state));
    EXPECT_EQ(0600u, state.st_mode & 0777u);
    ASSERT_EQ(0, stat((target() + "/sys/devices").c_str(), &state));
    EXPECT_EQ(0700u, state.st_mode & 0777u);
}

TEST_F(UnpackerTest, GivenAnEntryThatWouldReachOutsideThenRefusesIt) {
    struct Case {
        const char* when;
        std::function<void(ArchiveMaker&)> fill;
    };
    const std::string outside = dir.file("outside");
    const Case cases[] = {
        {"an absolute name", [&](ArchiveMaker& a) { a.file(outside, "x"); }},
        {"dots at the front", [](ArchiveMaker& a) { a.file("../outside", "x"); }},
        {"dots further down", [](ArchiveMaker& a) { a.file("a/../../outside", "x"); }},
        {"dots that stay inside", [](ArchiveMaker& a) { a.file("a/../b", "x"); }},
        {"through a link", [](ArchiveMaker& a) { a.folder("d").link("l", "d").file("l/x", "x"); }},
        {"a hard link", [](ArchiveMaker& a) { a.file("a", "x").hardLink("b", "a"); }},
        {"a hard link to elsewhere", [&](ArchiveMaker& a) { a.hardLink("b", outside); }},
        {"a pipe", [](ArchiveMaker& a) { a.fifo("p"); }},
        {"a very long name", [](ArchiveMaker& a) { a.file(std::string(1100, 'a'), "x"); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.when);
        fs::remove_all(target());
        {
            ArchiveMaker maker(archiveName());
            c.fill(maker);
            maker.close();
        }
        EXPECT_NE("", unpackError());
        EXPECT_FALSE(dir.exists("outside"));
        EXPECT_FALSE(dir.exists("out/d/x"));
    }
}

TEST_F(UnpackerTest, GivenLinksThatLeaveTheTreeThenTheyAreLeftOut) {
    ArchiveMaker(archiveName())
        .folder("a")
        .folder("a/b")
        .link("absolute", "/etc")
        .link("up", "../..")
        .link("here", ".")
        .link("a/b/roundabout", "../../here/..")  // looks as if it stayed
        .link("a/inside", "../a/b")
        .close();

    EXPECT_EQ("", unpackError());
    for (const char* gone : {"absolute", "up", "a/b/roundabout"}) {
        EXPECT_FALSE(fs::is_symlink(fs::symlink_status(target() + "/" + gone))) << gone;
    }
    EXPECT_TRUE(fs::is_directory(target() + "/a/inside"));
}

// Some of the formats that archives can have are read by programs that would be started.
TEST_F(UnpackerTest, GivenAnotherCompressionThanItsNameSaysThenRefusesIt) {
    using AddFilter = int (*)(archive*);
    for (const AddFilter add :
         {&archive_write_add_filter_gzip, &archive_write_add_filter_bzip2,
          &archive_write_add_filter_uuencode, &archive_write_add_filter_none}) {
        fs::remove_all(target());
        ArchiveMaker(archiveName(), add).file("sys", "x").close();
        const bool plain = add == &archive_write_add_filter_none;
        EXPECT_EQ(plain, unpackError().empty()) << "an archive that is not packed may be read";
    }
}

TEST_F(UnpackerTest, GivenMoreThanTheLimitsAllowThenRefuses) {
    ArchiveMaker(archiveName())
        .file("a", std::string(600, 'x'))
        .file("b", std::string(600, 'x'))
        .close();
    struct Case {
        Unpacker::Limits limits;
        bool fits;
    };
    const Case cases[] = {
        {{1200, 600, 2}, true},
        {{1199, 600, 2}, false},
        {{1200, 599, 2}, false},
        {{1200, 600, 1}, false},
    };
    for (const Case& c : cases) {
        fs::remove_all(target());
        EXPECT_EQ(c.fits, unpackError(Unpacker(c.limits)).empty()) << c.limits.bytes;
    }
}

TEST_F(UnpackerTest, GivenABombThenStopsBeforeItIsUnpacked) {
    ArchiveMaker(archiveName()).file("zeros", std::string(20u << 20, '\0')).close();
    EXPECT_NE(std::string::npos, unpackError().find("larger than a recording can be"));
    EXPECT_FALSE(dir.exists("out/zeros"));
}

TEST_F(UnpackerTest, GivenNoArchiveThenSaysSo) {
    dir.write("in.tar.xz", "this is no archive");
    EXPECT_NE("", unpackError());
    fs::remove(archiveName());
    fs::remove_all(target());
    EXPECT_NE(std::string::npos, unpackError().find("in.tar.xz"));
}

TEST_F(UnpackerTest, GivenACutArchiveThenRefuses) {
    ArchiveMaker(archiveName()).file("a", "hello").close();
    fs::resize_file(archiveName(), fs::file_size(archiveName()) / 2);
    EXPECT_NE("", unpackError());
}

TEST_F(UnpackerTest, GivenTheFolderExistsThenRefuses) {
    ArchiveMaker(archiveName()).file("a", "x").close();
    fs::create_directory(target());
    EXPECT_NE("", unpackError());
}

TEST_F(UnpackerTest, GivenAnInterruptionThenStopsAtTheNextEntry) {
    ArchiveMaker(archiveName()).file("a", "x").file("b", "x").close();
    int asked = 0;
    EXPECT_THROW(Unpacker().unpack(archiveName(), target(), [&] { return ++asked == 2; }), Failure);
    EXPECT_TRUE(dir.exists("out/a"));
    EXPECT_FALSE(dir.exists("out/b"));
}

}  // namespace
