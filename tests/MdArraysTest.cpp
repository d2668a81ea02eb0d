#include "storlib/sources/MdArrays.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "storlib/sources/SysfsReader.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/SysTree.h"

namespace {

using Lines = std::vector<std::string>;

// One array of a machine that is looked at poll by poll, with handles that stay open.
class MdLooksTest : public testing::Test {
protected:
    MdLooksTest() : tree(LinuxMachine::drives() + LinuxMachine::wholeArray("md5", "raid1", 2)) {
        reader.keepHandles();
        devices.push_back({"md5", place("/sys/devices/virtual/block/md5")});
        for (int target = 0; target < 4; ++target) {
            const std::string name = std::string("sd") + static_cast<char>('a' + target);
            devices.push_back({name, place(LinuxMachine::devicePath(target) + "/block/" + name)});
        }
    }

    std::string place(const std::string& path) const { return tree.file(path); }
    static std::string folder(const std::string& member) {
        return LinuxMachine::folder("md5") + "/dev-" + member;
    }

    // A line for each member that the next look finds; `listed` is what mdstat says of them.
    Lines look(const std::string& listed, MdArrays::Depth depth = MdArrays::Depth::kLook) {
        const MdStat table = MdStat::parse(listed.empty() ? "Personalities :\n"
                                                          : "md5 : active raid1 " + listed + "\n");
        last = MdArrays::read(reader, table, devices, depth, last);
        Lines lines;
        for (const MdArray& array : last) {
            for (const MdMember& member : array.members) lines.push_back(lineOf(member));
        }
        return lines;
    }

    SysTree tree;
    SysfsReader reader{"/"};
    std::vector<BlockName> devices;
    std::vector<MdArray> last;

private:
    static std::string lineOf(const MdMember& member) {
        const std::string state = member.gone     ? "gone"
                                  : member.faulty ? "faulty"
                                  : member.inSync ? "in sync"
                                                  : "spare";
        return member.name + " " + state + " slot " + std::to_string(member.slot) + " errors " +
               std::to_string(member.errors) + " bad " + std::to_string(member.badSectors);
    }
};

const std::string kA = "sda in sync slot 0 errors 0 bad 0";
const std::string kB = "sdb in sync slot 1 errors 0 bad 0";
const std::string kSpareC = "sdc spare slot -1 errors 0 bad 0";

TEST_F(MdLooksTest, GivenMdstatNamesTheSameMembersThenTheyAreReadButNotListedAgain) {
    EXPECT_EQ((Lines{kA, kB}), look("sdb[1] sda[0]"));
    tree.add("f " + folder("sdz") + "/state spare");
    EXPECT_EQ((Lines{kA, kB}), look("sdb[1] sda[0]"));
    tree.add("f " + folder("sdb") + "/state faulty\nf " + folder("sdb") + "/slot none\nf " +
             folder("sda") + "/errors 3\nf " + folder("sda") + "/bad_blocks 8 4");
    EXPECT_EQ((Lines{"sda in sync slot 0 errors 3 bad 4", "sdb faulty slot -1 errors 0 bad 0"}),
              look("sdb[1] sda[0]"));
    EXPECT_EQ(3U, look("sdb[1] sda[0]", MdArrays::Depth::kTree).size());
}

TEST_F(MdLooksTest, GivenMdstatNamesOtherMembersThenTheyAreFoundAtOnce) {
    EXPECT_EQ((Lines{kA, kB}), look("sdb[1] sda[0]"));
    tree.add(LinuxMachine::member("md5", "sdc", 2, "spare", -1));
    EXPECT_EQ((Lines{kA, kB, kSpareC}), look("sdc[2](S) sdb[1] sda[0]"));
    EXPECT_EQ((Lines{kA, kB, kSpareC}), look("sdc[2](S) sdb[1] sda[0]"));
    tree.add("x " + folder("sdb"));
    EXPECT_EQ((Lines{kA, kSpareC}), look("sdc[2](S) sda[0]"));
    tree.add("x " + folder("sdc"));
    tree.add(LinuxMachine::member("md5", "sdb", 1, "in_sync", 1));
    EXPECT_EQ((Lines{kA, kB}), look("sdb[1] sda[0]")) << "as many as before";
    tree.add("x " + folder("sda"));
    tree.add("x " + folder("sdb"));
    EXPECT_EQ(Lines{}, look(""));
}

TEST_F(MdLooksTest, GivenAnArrayThatMdstatDoesNotNameThenItsMembersAreListedEachTime) {
    EXPECT_EQ((Lines{kA, kB}), look(""));
    tree.add(LinuxMachine::member("md5", "sdc", 2, "spare", -1));
    EXPECT_EQ((Lines{kA, kB, kSpareC}), look(""));
    tree.add("x " + folder("sdb"));
    EXPECT_EQ((Lines{kA, kSpareC}), look(""));
}

// What belongs to a process vanishes with it, as what belongs to a device does.
class Passing {
public:
    Passing() : process(fork()) {
        if (process == 0) {
            for (;;) pause();
        }
    }
    ~Passing() { end(); }

    std::string file() const { return "/proc/" + std::to_string(process) + "/comm"; }
    void end() {
        if (process <= 0) return;
        (void)kill(process, SIGKILL);
        (void)waitpid(process, nullptr, 0);
        process = -1;
    }

private:
    pid_t process;
};

// A member that left and came back in the same place has folders of its own.
TEST_F(MdLooksTest, GivenAMemberThatIsAnotherOneUnderTheSameNameThenAllIsListedAnew) {
    Passing first;
    tree.add("l " + folder("sdb") + "/state " + first.file());
    (void)look("sdb[1] sda[0]");
    tree.add(LinuxMachine::member("md5", "sdc", 2, "spare", -1));
    EXPECT_EQ(2U, look("sdb[1] sda[0]").size()) << "the same so far";
    first.end();
    tree.add("x " + folder("sdb") + "/state\nf " + folder("sdb") + "/state in_sync");
    EXPECT_EQ((Lines{kA, kB, kSpareC}), look("sdb[1] sda[0]"));
}

TEST(MdArrays, GivenARecordingThenMembersAreListedEachTime) {
    SysTree tree(LinuxMachine::drives() + LinuxMachine::wholeArray("md5", "raid1", 2));
    SysfsReader reader(tree.folder());
    const std::vector<BlockName> devices = {{"md5", "/sys/devices/virtual/block/md5"}};
    const MdStat table = MdStat::parse("md5 : active raid1 sdb[1] sda[0]\n");
    const auto look = [&](const std::vector<MdArray>& before) {
        return MdArrays::read(reader, table, devices, MdArrays::Depth::kLook, before);
    };
    const std::vector<MdArray> first = look({});
    ASSERT_EQ(1U, first.size());
    EXPECT_EQ(2U, first[0].members.size());
    tree.add(LinuxMachine::member("md5", "sdc", 2, "spare", -1));
    EXPECT_EQ(3U, look(first)[0].members.size());
}

}  // namespace
