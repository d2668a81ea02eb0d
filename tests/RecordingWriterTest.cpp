#include "storlib/sources/RecordingWriter.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "storlib/sources/LinuxSource.h"
#include "storlib/sources/ReplaySource.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/SysTree.h"
#include "tests/support/SystemText.h"
#include "tests/support/UnpackedRecording.h"

namespace {

using Lines = SystemText::Lines;

TEST(RecordingWriter, GivenACapturedStepThenItReplaysToTheSameTree) {
    const UnpackedRecording recording("sas-raid10", {"06-rebuilding"});
    LinuxSource source(recording.step("06-rebuilding"));
    const std::string expected = SystemText(source).whole();
    TempDir target;
    std::string error;
    const std::string step =
        RecordingWriter::captureStep(recording.step("06-rebuilding"), target.file("bug"), error);
    ASSERT_EQ(target.file("bug") + "/01-step", step) << error;
    LinuxSource copy(step);
    const SystemText seen(copy);
    EXPECT_EQ(expected, seen.whole());
    EXPECT_EQ(Lines{"md0: raid 9, state 6, 190 MB, task 6 at 37 %"}, seen.arrays());
}

TEST(RecordingWriter, GivenAnotherStepThenItIsNumberedNextAndBothReplayInOrder) {
    SysTree tree(LinuxMachine::drives() + LinuxMachine::wholeArray("md5", "raid1", 2));
    TempDir target;
    std::string error;
    EXPECT_NE("", RecordingWriter::captureStep(tree.folder(), target.file("bug"), error));
    tree.add(LinuxMachine::set("md5", "degraded", "1"));
    EXPECT_EQ(target.file("bug/02-step"),
              RecordingWriter::captureStep(tree.folder(), target.file("bug"), error));
    const auto replay = ReplaySource::open(target.file("bug"), error);
    ASSERT_NE(nullptr, replay);
    EXPECT_EQ(Lines{"md5: raid 1, state 2, 128 MB"}, SystemText(*replay).arrays());
    EXPECT_EQ(Lines{"md5: raid 1, state 3, 128 MB"}, SystemText(*replay).arrays());
}

TEST(RecordingWriter, GivenOtherFilesOnTheMachineThenOnlyWhatIsReadIsWritten) {
    SysTree tree(LinuxMachine::drives());
    tree.add("f /etc/passwd root\nf /proc/cmdline secret\nf " + LinuxMachine::devicePath(0) +
             "/timeout 30");
    TempDir target;
    std::string error;
    const std::string step = RecordingWriter::captureStep(tree.folder(), target.folder(), error);
    ASSERT_NE("", step);
    namespace fs = std::filesystem;
    EXPECT_FALSE(fs::exists(step + "/etc"));
    EXPECT_FALSE(fs::exists(step + "/proc/cmdline"));
    EXPECT_FALSE(fs::exists(step + LinuxMachine::devicePath(0) + "/timeout"));
    EXPECT_TRUE(fs::exists(step + LinuxMachine::devicePath(0) + "/model"));
    EXPECT_TRUE(fs::is_symlink(step + "/sys/block/sda"));
}

TEST(RecordingWriter, GivenNothingToReadOrNoPlaceToWriteThenItSaysSo) {
    SysTree empty;
    SysTree tree(LinuxMachine::drives() + "f /plain x");
    std::string error;
    EXPECT_EQ("", RecordingWriter::captureStep(empty.folder(), empty.folder() + "out", error));
    EXPECT_EQ("neither /sys nor /proc/mdstat can be read below " + empty.folder(), error);
    EXPECT_EQ("", RecordingWriter::captureStep(tree.folder(), tree.folder() + "plain", error));
    EXPECT_EQ(0U, error.find("cannot write a recording below " + tree.folder() + "plain"));
}

}  // namespace
