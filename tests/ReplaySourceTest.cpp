#include "storlib/sources/ReplaySource.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/EventListener.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/SysTree.h"
#include "tests/support/SystemText.h"
#include "tests/support/UnpackedRecording.h"

namespace {

using Lines = SystemText::Lines;

std::unique_ptr<ReplaySource> openReplay(const std::string& path) {
    std::string error;
    std::unique_ptr<ConfigSource> source = ReplaySource::open(path, error);
    EXPECT_NE(nullptr, source) << error;
    return std::unique_ptr<ReplaySource>(static_cast<ReplaySource*>(source.release()));
}

// A tree with one array per step; what differs is added to each.
class Steps {
public:
    explicit Steps(const std::vector<std::string>& differences) {
        using namespace LinuxMachine;
        std::string base = drives() + wholeArray("md5", "raid1", 2);
        int number = 0;
        for (const std::string& difference : differences) {
            all.add(below("/0" + std::to_string(++number), base + difference));
        }
    }
    const std::string& folder() const { return all.folder(); }

private:
    // Puts "/01" in front of the path of each line.
    static std::string below(const std::string& step, const std::string& text) {
        std::string moved;
        std::istringstream lines(text);
        std::string line;
        while (std::getline(lines, line)) {
            if (line.size() > 2) moved += line.substr(0, 2) + step + line.substr(2) + "\n";
        }
        return moved;
    }

    SysTree all;
};

std::string attribute(const std::string& name, const std::string& value) {
    return LinuxMachine::set("md5", name, value);
}

TEST(ReplaySource, GivenARecordingThenItGoesOnByOneStepPerPoll) {
    const Steps steps({"", "", ""});
    const auto replay = openReplay(steps.folder());
    ASSERT_NE(nullptr, replay);
    EXPECT_EQ(3U, replay->stepCount());
    EXPECT_EQ("01", replay->stepName());
    (void)SystemText(*replay);
    EventListener monitor(*replay);
    (void)monitor.ask(0);  // the first questions belong to the first reading
    (void)monitor.ask(1);
    EXPECT_EQ("01", replay->stepName());
    (void)monitor.ask(0);
    EXPECT_EQ("02", replay->stepName());
    (void)monitor.ask(1);
    (void)SystemText(*replay);
    EXPECT_EQ("02", replay->stepName());
    EXPECT_FALSE(replay->atEnd());
    (void)monitor.ask(0);
    EXPECT_EQ("03", replay->stepName());
    EXPECT_EQ(2U, replay->stepIndex());
    EXPECT_TRUE(replay->atEnd());
    (void)monitor.ask(0);
    EXPECT_EQ("03", replay->stepName());  // the last step stays
}

// Nothing differs between the steps, and still each is read: every controller says so.
TEST(ReplaySource, GivenANewStepThenEveryControllerAnnouncesItOnce) {
    const Steps steps({"", ""});
    const auto replay = openReplay(steps.folder());
    (void)SystemText(*replay);
    EventListener monitor(*replay);
    (void)monitor.ask(0);
    (void)monitor.ask(1);
    EXPECT_EQ(0, monitor.announcements[0]);
    (void)monitor.ask(0);
    (void)monitor.ask(1);
    EXPECT_EQ(1, monitor.announcements[0]);
    EXPECT_EQ(1, monitor.announcements[1]);
    (void)monitor.ask(0);
    EXPECT_EQ(1, monitor.announcements[0]);
}

TEST(ReplaySource, GivenASecondReadingWithoutAQuestionThenTheNextStepIsRead) {
    const Steps steps({"", attribute("degraded", "1")});
    const auto replay = openReplay(steps.folder());
    EXPECT_EQ(Lines{"md5: raid 1, state 2, 128 MB"}, SystemText(*replay).arrays());
    EXPECT_EQ(Lines{"md5: raid 1, state 3, 128 MB"}, SystemText(*replay).arrays());
    EXPECT_EQ("02", replay->stepName());
}

TEST(ReplaySource, GivenAHostThatGoesOnByItselfThenPollsDoNot) {
    const Steps steps({"", ""});
    const auto replay = openReplay(steps.folder());
    replay->setAutomatic(false);
    EventListener monitor(*replay);
    for (int poll = 0; poll < 3; ++poll) {
        (void)SystemText(*replay);
        (void)SystemText(*replay);
        (void)monitor.ask(0);
        (void)monitor.ask(0);
    }
    EXPECT_EQ("01", replay->stepName());
    EXPECT_TRUE(replay->advance());
    EXPECT_EQ("02", replay->stepName());
    EXPECT_FALSE(replay->advance());
    EXPECT_EQ("02", replay->stepName());
}

TEST(ReplaySource, GivenOneStepThenItIsPlayedByItself) {
    SysTree tree(LinuxMachine::drives() + LinuxMachine::wholeArray("md5", "raid1", 2));
    const auto replay = openReplay(tree.folder());
    ASSERT_NE(nullptr, replay);
    EXPECT_EQ(1U, replay->stepCount());
    EXPECT_TRUE(replay->atEnd());
    EXPECT_EQ(1U, SystemText(*replay).arrays().size());
}

TEST(ReplaySource, GivenNothingToPlayThenOpeningSaysWhatToDo) {
    SysTree tree("d /empty\nf /packed/01-clean.tar.xz x\nf /plain x");
    const std::string& root = tree.folder();
    const struct {
        std::string path;
        std::string error;
    } cases[] = {
        {"", "name the folder of a recording: replay:PATH"},
        {root + "missing", "cannot read the recording " + root +
                               "missing: No such file or directory; name the folder that "
                               "holds its steps"},
        {root + "plain", "cannot read the recording " + root +
                             "plain: Not a directory; name the folder that holds its "
                             "steps"},
        {root + "empty", "no step in " + root + "empty; a recording has folders with sys and proc"},
        {root + "packed", "the steps of " + root +
                              "packed are packed; unpack each .tar.xz into a "
                              "folder of its name, or let raidwatch replay do it"},
    };
    for (const auto& c : cases) {
        std::string error;
        EXPECT_EQ(nullptr, ReplaySource::open(c.path, error));
        EXPECT_EQ(c.error, error);
    }
}

TEST(ReplaySource, GivenTheRaid1RecordingThenItsRebuildIsRecordedOnceFromStartToEnd) {
    const UnpackedRecording recording(
        "raid1-spare",
        {"01-clean", "02-member-failed", "03-rebuilding-a", "06-rebuilt", "07-failed-removed"});
    const auto replay = openReplay(recording.folder());
    (void)SystemText(*replay);
    EventListener monitor(*replay);
    EXPECT_EQ(Lines{}, monitor.ask(0));
    const std::vector<Lines> expected = {
        {"sense 1 code 10 qual 7 at /l0"}, {}, {"sense 1 code 11 qual 7 at /l0"}, {}};
    for (const Lines& lines : expected) {
        EXPECT_EQ(lines, monitor.ask(0)) << replay->stepName();
        (void)SystemText(*replay);
    }
    EXPECT_TRUE(replay->atEnd());
}

TEST(ReplaySource, GivenTheRaid10RecordingThenTheRebuildIsRecordedAndDrivesKeepTheirPlaces) {
    const UnpackedRecording recording(
        "sas-raid10", {"04-drive-pulled", "05-enclosure-well", "06-rebuilding", "07-rebuilt"});
    const auto replay = openReplay(recording.folder());
    (void)SystemText(*replay);
    EventListener monitor(*replay);
    (void)monitor.ask(0);
    EXPECT_EQ(Lines{}, monitor.ask(0));
    (void)SystemText(*replay);
    EXPECT_EQ(Lines{"sense 1 code 10 qual 7 at /l0"}, monitor.ask(0));
    {
        const SystemText seen(*replay);
        EXPECT_EQ("/c1/b0/d4", LDPathUtils::textOf(seen.drive("RST9K77")->addr));
        EXPECT_EQ("/c1/b0/d3", LDPathUtils::textOf(seen.drive("RST9K3")->addr));
    }
    EXPECT_EQ(Lines{"sense 1 code 11 qual 7 at /l0"}, monitor.ask(0));
}

struct ChangeCase {
    const char* when;
    std::string before;
    std::string after;
    Lines array;  // records of controller 0
    Lines drive;  // records of the drives' controller
};

TEST(ReplaySource, GivenAChangeBetweenTwoStepsThenTheRecordsTellIt) {
    using LinuxMachine::member;
    const std::string recover = attribute("sync_action", "recover");
    const std::string lacking = attribute("degraded", "1");
    const std::string target = member("md5", "sdc", 2, "spare", 1);
    const std::string check = attribute("sync_action", "check");
    const std::string resync = attribute("sync_action", "resync");
    const std::string reshape = attribute("sync_action", "reshape");
    const ChangeCase cases[] = {
        {"nothing happens", "", "", {}, {}},
        {"writes go on", attribute("array_state", "active"), "", {}, {}},
        {"a rebuild starts",
         lacking,
         lacking + recover + target,
         {"sense 1 code 10 qual 7 at /l5"},
         {}},
        {"a rebuild ends well",
         lacking + recover + target,
         member("md5", "sdc", 2, "in_sync", 1),
         {"sense 1 code 11 qual 7 at /l5"},
         {}},
        {"the drive under rebuild fails",
         lacking + recover + target,
         lacking + member("md5", "sdc", 2, "faulty", -1),
         {"sense 1 code 12 qual 6 at /l5"},
         {}},
        {"the drive under rebuild is pulled",
         lacking + recover + target,
         lacking + target + "x /sys/block/sdc\n",
         {"sense 1 code 12 qual 6 at /l5"},
         {}},
        {"the array fails under a rebuild",
         lacking + recover + target,
         lacking + target + attribute("array_state", "broken"),
         {"sense 1 code 12 qual 6 at /l5"},
         {}},
        {"a rebuild is stopped",
         lacking + recover + target,
         lacking + target,
         {"sense 1 code E qual 7 at /l5"},
         {}},
        {"a whole rebuild passes unseen",
         lacking + attribute("dev-sdb/state", "spare"),
         "",
         {"sense 1 code 10 qual 7 at /l5", "sense 1 code 11 qual 7 at /l5"},
         {}},
        {"a check starts", "", check, {"sense 1 code 13 qual 7 at /l5"}, {}},
        {"a check ends", check, attribute("sync_min", "0"), {"sense 1 code 14 qual 7 at /l5"}, {}},
        {"a check is stopped",
         check,
         attribute("sync_min", "4096"),
         {"sense 1 code 1 qual 7 at /l5"},
         {}},
        {"a resync ends",
         resync,
         attribute("resync_start", "none"),
         {"sense 1 code 14 qual 7 at /l5"},
         {}},
        {"a resync is stopped",
         resync,
         attribute("resync_start", "8192"),
         {"sense 1 code 1 qual 7 at /l5"},
         {}},
        {"a member fails under a resync",
         resync,
         attribute("resync_start", "8192") + lacking,
         {"sense 1 code 15 qual 6 at /l5"},
         {}},
        {"a reshape ends",
         reshape,
         attribute("reshape_position", "none"),
         {"sense 1 code 14 qual 7 at /l5"},
         {}},
        {"a reshape is stopped",
         reshape,
         attribute("reshape_position", "77"),
         {"sense 1 code 1 qual 7 at /l5"},
         {}},
        {"a check gives way to a rebuild",
         check,
         lacking + recover + target,
         {"sense 1 code 14 qual 7 at /l5", "sense 1 code 10 qual 7 at /l5"},
         {}},
        {"the array is stopped under a check",
         check,
         "x /sys/block/md5\nx " + LinuxMachine::folder("md5") + "\n",
         {"sense 1 code 1 qual 7 at /l5"},
         {}},
        {"bad blocks are found",
         "",
         attribute("dev-sdb/bad_blocks", "4096 8"),
         {},
         {"sense 0 code 81 qual 7 at /c1/b0/d1"}},
        {"more bad blocks are found",
         attribute("dev-sdb/bad_blocks", "4096 8"),
         attribute("dev-sdb/bad_blocks", "4096 16"),
         {},
         {"sense 0 code 81 qual 7 at /c1/b0/d1"}},
        {"bad blocks are gone", attribute("dev-sdb/bad_blocks", "4096 8"), "", {}, {}},
        {"read errors are corrected",
         attribute("dev-sda/errors", "3"),
         attribute("dev-sda/errors", "4"),
         {},
         {"sense 0 code 80 qual 7 at /c1/b0/d0"}},
        {"counts start again", attribute("dev-sda/errors", "3"), "", {}, {}},
        {"counts are garbage",
         attribute("dev-sda/errors", "3"),
         attribute("dev-sda/errors", "99999999999999999999") +
             attribute("dev-sda/bad_blocks", "x y"),
         {},
         {}},
    };
    for (const ChangeCase& c : cases) {
        SCOPED_TRACE(c.when);
        const Steps steps({c.before, c.after});
        const auto replay = openReplay(steps.folder());
        (void)SystemText(*replay);
        EventListener monitor(*replay);
        EXPECT_EQ(Lines{}, monitor.ask(0));
        EXPECT_EQ(Lines{}, monitor.ask(1));
        EXPECT_EQ(c.array, monitor.ask(0));
        EXPECT_EQ(c.drive, monitor.ask(1));
    }
}

}  // namespace
