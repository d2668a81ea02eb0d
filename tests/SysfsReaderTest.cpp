#include "storlib/sources/SysfsReader.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/SysTree.h"

namespace {

using Lines = std::vector<std::string>;

TEST(SysfsReader, GivenATextThenWhiteSpaceAndNulAtBothEndsGo) {
    SysTree tree("f /a  two words ");
    tree.write("/nul", std::string("\0 x\0\n", 5));
    SysfsReader reader(tree.folder());
    EXPECT_EQ("two words", reader.text("/a"));
    EXPECT_EQ("x", reader.text("/nul"));
    EXPECT_EQ("", reader.text("/missing"));
    EXPECT_EQ("", reader.text("/"));
    EXPECT_EQ("", reader.text(""));
    EXPECT_EQ("", reader.text(std::string("/a\0b", 4)));
}

TEST(SysfsReader, GivenAFileThenItIsReadUpToTheLimit) {
    SysTree tree;
    tree.write("/big", std::string(200000, 'x'));
    SysfsReader reader(tree.folder());
    std::string contents;
    ASSERT_TRUE(reader.read("/big", contents));
    EXPECT_EQ(SysfsReader::kAttributeLimit, contents.size());
    ASSERT_TRUE(reader.read("/big", contents, 5));
    EXPECT_EQ("xxxxx", contents);
    EXPECT_FALSE(reader.read("/missing", contents));
    EXPECT_EQ("xxxxx", contents);  // a failure changes nothing
    tree.add("d /folder");
    EXPECT_FALSE(reader.read("/folder", contents));
}

struct NumberCase {
    const char* text;
    bool good;
    std::int64_t value;
};

constexpr NumberCase kNumberCases[] = {
    {"0", true, 0},
    {" 42 ", true, 42},
    {"-7", true, -7},
    {"9223372036854775807", true, INT64_MAX},
    {"9223372036854775808", false, 0},
    {"99999999999999999999999999", false, 0},
    {"", false, 0},
    {"-", false, 0},
    {"+5", false, 0},
    {"12x", false, 0},
    {"1 2", false, 0},
    {"0x10", false, 0},
    {"none", false, 0},
};

TEST(SysfsReader, GivenANumberThenItIsReadWholeOrNotAtAll) {
    for (const NumberCase& c : kNumberCases) {
        SCOPED_TRACE(c.text);
        SysTree tree;
        tree.write("/n", std::string(c.text) + "\n");
        SysfsReader reader(tree.folder());
        std::int64_t value = 1234;
        EXPECT_EQ(c.good, reader.number("/n", value));
        EXPECT_EQ(c.good ? c.value : 1234, value);
    }
}

TEST(SysfsReader, GivenANumberOutsideTheLimitsThenItIsNotKnown) {
    SysTree tree("f /n 11");
    SysfsReader reader(tree.folder());
    EXPECT_EQ(11, reader.number("/n", -1, 0, 11));
    EXPECT_EQ(-1, reader.number("/n", -1, 0, 10));
    EXPECT_EQ(-1, reader.number("/n", -1, 12, 20));
    EXPECT_EQ(-1, reader.number("/missing", -1, 0, 20));
}

TEST(SysfsReader, GivenALinkThenItsPlaceIsNamedWhetherOrNotItExists) {
    SysTree tree(
        "l /sys/block/sda ../devices/x/block/sda\n"
        "l /abs /sys/./devices//y\nl /up ../../../../z\nf /plain x");
    SysfsReader reader(tree.folder());
    EXPECT_EQ("/sys/devices/x/block/sda", reader.resolve("/sys/block/sda"));
    EXPECT_EQ("/sys/devices/y", reader.resolve("/abs"));
    EXPECT_EQ("/z", reader.resolve("/up"));
    EXPECT_EQ("", reader.resolve("/plain"));
    EXPECT_EQ("", reader.resolve("/missing"));
    EXPECT_EQ("", reader.resolve("/sys/"));
    EXPECT_EQ("", reader.resolve("plain"));
}

TEST(SysfsReader, GivenAFolderOfLinksThenEachComesWithItsPlace) {
    SysTree tree(
        "l /sys/block/sdb ../devices/b\nl /sys/block/sda /a\nf /sys/block/sdc x\n"
        "l /sys/block/md0 md0");
    SysfsReader reader(tree.folder());
    std::vector<std::pair<std::string, std::string>> links;
    EXPECT_TRUE(reader.listLinks("/sys/block", "sd", links));
    EXPECT_EQ((std::vector<std::pair<std::string, std::string>>{{"sda", "/a"},
                                                                {"sdb", "/sys/devices/b"}}),
              links);
    EXPECT_FALSE(reader.listLinks("/missing", "", links));
    EXPECT_EQ(2U, links.size());
}

TEST(SysfsReader, GivenAFolderThenItsNamesComeSortedAndWithThePrefix) {
    SysTree tree("f /d/dev-b x\nf /d/dev-a x\nf /d/other x\nf /d/.hidden x\nd /empty");
    SysfsReader reader(tree.folder());
    Lines names = {"old"};
    EXPECT_TRUE(reader.list("/d", "dev-", names));
    EXPECT_EQ((Lines{"dev-a", "dev-b"}), names);
    EXPECT_TRUE(reader.list("/d", "", names));
    EXPECT_EQ((Lines{"dev-a", "dev-b", "other"}), names);
    EXPECT_TRUE(reader.list("/empty", "", names));
    EXPECT_EQ(Lines{}, names);
    names = {"old"};
    EXPECT_FALSE(reader.list("/missing", "", names));
    EXPECT_FALSE(reader.list("/d/other", "", names));
    EXPECT_EQ(Lines{"old"}, names);
}

TEST(SysfsReader, GivenAnotherRootThenItReadsThere) {
    SysTree first("f /a one");
    SysTree second("f /a two");
    SysfsReader reader(first.folder());
    EXPECT_EQ("one", reader.text("/a"));
    reader.setRoot(second.folder());
    EXPECT_EQ("two", reader.text("/a"));
    EXPECT_TRUE(reader.exists("/a"));
    reader.setRoot(second.folder() + "missing");
    EXPECT_EQ("", reader.text("/a"));
    EXPECT_FALSE(reader.exists("/a"));
    EXPECT_FALSE(reader.isThisMachine());
    EXPECT_TRUE(SysfsReader("/").isThisMachine());
    EXPECT_TRUE(SysfsReader("//").isThisMachine());
}

TEST(SysfsReader, GivenLinksOnTheWayThenTheyStayInsideTheRoot) {
    SysTree tree(
        "f /inside/a in\nl /jump /inside\nl /far ../../../../../inside\nl /self self\n"
        "l /inside/loop ../jump\nl /chain jump\nl /inside/last a\nl /top /");
    SysTree outside("f /a OUT");
    tree.add("l /out " + outside.folder() + "\nl /outfile " + outside.folder() + "a");
    for (const bool here : {false, true}) {
        SCOPED_TRACE(here ? "links followed here" : "links followed by the kernel");
        SysfsReader reader(tree.folder());
        if (here) reader.followLinksHere();
        EXPECT_EQ("in", reader.text("/jump/a"));
        EXPECT_EQ("in", reader.text("/far/a"));
        EXPECT_EQ("in", reader.text("/chain/loop/a"));
        EXPECT_EQ("in", reader.text("/../../inside/./a"));
        EXPECT_EQ("in", reader.text("/inside/last"));
        EXPECT_EQ("in", reader.text("/top/inside/../inside/a"));
        EXPECT_EQ("", reader.text("/self/a"));
        EXPECT_EQ("", reader.text("/out/a"));
        EXPECT_EQ("", reader.text("/outfile"));
        EXPECT_EQ("", reader.text("/inside/a/b"));
        EXPECT_TRUE(reader.exists("/self"));
        EXPECT_FALSE(reader.exists("/self/a"));
        EXPECT_TRUE(reader.exists("/top/inside/a"));
        EXPECT_TRUE(reader.exists("/jump"));
        EXPECT_EQ("/inside", reader.resolve("/jump"));
        Lines names;
        EXPECT_TRUE(reader.list("/chain", "", names));
        EXPECT_EQ((Lines{"a", "last", "loop"}), names);
        EXPECT_TRUE(reader.list("/", "j", names));
        EXPECT_EQ(Lines{"jump"}, names);
    }
}

// Renames anywhere on the machine make the kernel give up on "..", which is no reason to miss a
// file: a member of an array would count as pulled.
TEST(SysfsReader, GivenRenamesMeanwhileThenALinkUpwardsIsStillFollowed) {
    SysTree tree("f /a in\nl /d/e/f/g/up ../../../../d/../d/e/../../a\nf /moved x");
    std::atomic<bool> done{false};
    std::atomic<int> renames{0};
    std::thread renamer([&] {
        const std::string from = tree.file("/moved");
        while (!done) {
            (void)std::rename(from.c_str(), (from + "2").c_str());
            (void)std::rename((from + "2").c_str(), from.c_str());
            ++renames;
        }
    });
    SysfsReader reader(tree.folder());
    int missed = 0;
    while (renames < 20000) missed += reader.text("/d/e/f/g/up") == "in" ? 0 : 1;
    done = true;
    renamer.join();
    EXPECT_EQ(0, missed);
}

class Notes : public SysfsReader::Recorder {
public:
    void file(const std::string& path, const std::string& contents) override {
        lines.push_back("f " + path + " " + contents);
    }
    void link(const std::string& path, const std::string& target) override {
        lines.push_back("l " + path + " " + target);
    }
    void entry(const std::string& path) override { lines.push_back("e " + path); }
    Lines lines;
};

TEST(SysfsReader, GivenARecorderThenItIsToldOfAllThatWasFound) {
    SysTree tree("l /sys/block/sda ../x\nf /a one");
    SysfsReader reader(tree.folder());
    Notes notes;
    reader.setRecorder(&notes);
    Lines names;
    (void)reader.list("/sys/block", "sd", names);
    (void)reader.resolve("/sys/block/sda");
    (void)reader.text("/a");
    (void)reader.text("/missing");
    (void)reader.exists("/a");
    EXPECT_EQ(
        (Lines{"e /sys/block", "e /sys/block/sda", "l /sys/block/sda ../x", "f /a one\n", "e /a"}),
        notes.lines);
}

// This machine's tree, as it is read there: from "/", with handles that stay open.
class ThisMachineTest : public testing::Test {
protected:
    ThisMachineTest() : reader("/") { reader.keepHandles(); }

    std::string path(const std::string& name) const { return tree.file(name); }

    SysTree tree;
    SysfsReader reader;
};

TEST_F(ThisMachineTest, GivenAnEnteredFolderThenAllBelowItIsReadAndTheRestToo) {
    tree.add("f /device/state running");
    tree.add("f /device/block/sda/size 8");
    tree.add("f /device2/state offline");
    tree.add("d /device/md/dev-sda");
    tree.add("d /device/md/dev-sdb");
    tree.add("l /device/md/dev-sda/block ../../block/sda");
    reader.enter(path("/device"));
    EXPECT_EQ("running", reader.text(path("/device/state")));
    EXPECT_EQ("8", reader.text(path("/device/block/sda/size")));
    EXPECT_EQ("offline", reader.text(path("/device2/state"))) << "begins alike, lies beside";
    EXPECT_EQ("", reader.text(path("/device/missing")));
    EXPECT_TRUE(reader.exists(path("/device/md/dev-sda/block")));
    EXPECT_FALSE(reader.exists(path("/device/md/dev-sda/holders")));
    EXPECT_EQ(path("/device/block/sda"), reader.resolve(path("/device/md/dev-sda/block")));
    std::vector<std::string> names;
    EXPECT_TRUE(reader.list(path("/device/md"), "dev-", names));
    EXPECT_EQ((std::vector<std::string>{"dev-sda", "dev-sdb"}), names);
    EXPECT_FALSE(reader.list(path("/device/none"), "", names));
    std::string contents;
    EXPECT_TRUE(reader.read(path("/device/block/sda/size"), contents));
    reader.enter(path("/missing"));
    EXPECT_EQ("running", reader.text(path("/device/state")));
}

TEST_F(ThisMachineTest, GivenAFolderThatIsReplacedThenTheNewOneIsRead) {
    tree.add("f /device/block/sda/size 8");
    reader.enter(path("/device"));
    std::string contents;
    ASSERT_TRUE(reader.read(path("/device/block/sda/size"), contents));
    ASSERT_EQ(0, std::rename(path("/device").c_str(), path("/old").c_str()));
    ASSERT_EQ(0, std::remove(path("/old/block/sda/size").c_str()));
    tree.add("f /device/block/sda/size 16");
    EXPECT_EQ("16", reader.text(path("/device/block/sda/size")));
    EXPECT_EQ("16", reader.text(path("/device/block/sda/size")));
}

TEST_F(ThisMachineTest, GivenAFileThatIsStillOpenThenReadingItAgainSaysThatItIsTheSame) {
    tree.add("f /state in_sync");
    std::string value = "as before";
    EXPECT_FALSE(reader.textAgain(path("/state"), value)) << "nobody has asked yet";
    EXPECT_EQ("as before", value);
    EXPECT_EQ("in_sync", reader.text(path("/state")));
    tree.add("f /state faulty");
    EXPECT_TRUE(reader.textAgain(path("/state"), value));
    EXPECT_EQ("faulty", value);
    EXPECT_FALSE(reader.textAgain(path("/missing"), value));

    Notes notes;
    reader.setRecorder(&notes);
    EXPECT_FALSE(reader.textAgain(path("/state"), value)) << "a recording wants it whole";
    reader.setRecorder(nullptr);
    reader.setRoot("/");
    EXPECT_FALSE(reader.textAgain(path("/state"), value));

    SysfsReader recording(tree.folder());
    EXPECT_EQ("faulty", recording.text("/state"));
    EXPECT_FALSE(recording.textAgain("/state", value)) << "a file may be replaced there";
}

TEST_F(ThisMachineTest, GivenALinkBesideAnAttributeThenItStaysAsLongAsTheAttribute) {
    tree.add("f /dev-sda/state in_sync\nl /dev-sda/block ../sda");
    const std::string state = path("/dev-sda/state");
    EXPECT_EQ(path("/sda"), reader.resolveBeside(state, "block")) << "nothing is open yet";
    tree.add("l /dev-sda/block ../sdb");
    EXPECT_EQ(path("/sdb"), reader.resolveBeside(state, "block")) << "so nothing was kept";
    EXPECT_EQ("in_sync", reader.text(state));
    EXPECT_EQ("", reader.resolveBeside(state, "missing"));
    EXPECT_EQ(path("/sdb"), reader.resolveBeside(state, "block"));
    tree.add("l /dev-sda/block ../sdc");
    EXPECT_EQ(path("/sdb"), reader.resolveBeside(state, "block"));

    Notes notes;
    reader.setRecorder(&notes);
    EXPECT_EQ(path("/sdc"), reader.resolveBeside(state, "block"));
    EXPECT_EQ(Lines{"l " + path("/dev-sda/block") + " ../sdc"}, notes.lines);
    reader.setRecorder(nullptr);
    reader.setRoot("/");
    EXPECT_EQ(path("/sdc"), reader.resolveBeside(state, "block")) << "another machine";
}

TEST_F(ThisMachineTest, GivenMoreFoldersThanMayStayOpenThenEachIsReadAndFewHandlesAreTaken) {
    constexpr int kFolders = 400;
    for (int i = 0; i < kFolders; ++i) {
        const std::string folder = "/" + std::to_string(i);
        tree.add("f " + folder + "/model model " + std::to_string(i));
        tree.add("f " + folder + "/rev rev " + std::to_string(i));
        tree.add("f " + folder + "/state state " + std::to_string(i));
    }
    const auto handles = [] {
        std::vector<std::string> open;
        SysfsReader proc("/");
        (void)proc.list("/proc/self/fd", "", open);
        return open.size();
    };
    const std::size_t before = handles();
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < kFolders; ++i) {
            const std::string folder = path("/" + std::to_string(i));
            if (round == 2) reader.enter(folder);
            EXPECT_EQ("model " + std::to_string(i), reader.text(folder + "/model"));
            EXPECT_EQ("rev " + std::to_string(i), reader.text(folder + "/rev"));
            EXPECT_EQ("state " + std::to_string(i), reader.text(folder + "/state"));
        }
        EXPECT_LE(handles() - before, SysfsReader::kMostFolders + SysfsReader::kMostAttributes + 2);
    }
    EXPECT_GE(handles() - before, SysfsReader::kMostAttributes);
    reader.setRoot("/");
    EXPECT_EQ(before, handles());
}

}  // namespace
