#include "agent/page/PageModel.h"

#include <gtest/gtest.h>

#include "tests/agent/PageFixture.h"

namespace {

using Mark = PageModel::Mark;

// One array and one drive, which may belong to it.
PageInput machine(const std::string& arrayState, int survives, const std::string& driveState,
                  bool predicted, bool member) {
    PageInput input;
    input.now = input.state.polledAt = shelf::kNow;
    ArrayState array;
    array.key = "array:0:0";
    array.state = arrayState;
    array.survives = survives;
    input.state.arrays = {array};
    DriveState drive;
    drive.key = "drive:A";
    drive.state = driveState;
    drive.predicted = predicted;
    drive.array = member ? array.key : "";
    input.state.drives = {drive};
    return input;
}

TEST(PageModel, WhichDriveMayBePulled) {
    struct {
        const char* array;
        int survives;
        const char* drive;
        bool predicted;
        bool member;
        Mark mark;
    } constexpr kRows[] = {
        {"normal", 1, "normal", false, true, Mark::kNone},
        {"normal", 1, "normal", true, true, Mark::kReplace},
        {"normal", 0, "normal", true, true, Mark::kKeep},  // no redundancy: copy it first
        {"normal", -1, "normal", true, true, Mark::kKeep},
        {"normal", 1, "normal", true, false, Mark::kKeep},  // nobody knows whose it is
        {"normal", 1, "failed", false, false, Mark::kPull},
        {"normal", 1, "unused", false, false, Mark::kNone},
        {"normal", 1, "spare", true, true, Mark::kReplace},
        {"degraded", 0, "normal", false, true, Mark::kKeep},
        {"degraded", 1, "normal", true, true, Mark::kKeep},
        {"degraded", 1, "normal", false, false, Mark::kKeep},
        {"degraded", 1, "failed", false, true, Mark::kPull},
        {"degraded", 1, "failed", false, false, Mark::kPull},
        {"degraded", 1, "spare", false, false, Mark::kNone},
        {"degraded", 1, "missing", false, true, Mark::kNone},
        {"rebuilding", 0, "rebuilding", false, true, Mark::kKeep},
        {"rebuilding", 0, "failed", false, false, Mark::kPull},
        {"offline", 0, "failed", false, true, Mark::kKeep},  // it may be needed to bring it back
        {"failed", 0, "normal", false, true, Mark::kKeep},
    };
    const EventReference reference("");
    for (const auto& row : kRows) {
        const PageInput input =
            machine(row.array, row.survives, row.drive, row.predicted, row.member);
        const PageModel model(input, reference);
        EXPECT_EQ(row.mark, model.markOf(input.state.drives[0]))
            << row.array << " " << row.survives << " " << row.drive << " " << row.predicted << " "
            << row.member;
    }
}

TEST(PageModel, GivenAnOldPictureThenNothingMayBePulled) {
    PageInput input = machine("degraded", 1, "failed", false, true);
    input.state.polledAt = input.now - input.staleAfter - 1;
    const EventReference reference("");
    EXPECT_EQ(Mark::kNone, PageModel(input, reference).markOf(input.state.drives[0]));
}

TEST(PageModel, IncidentsThatAreWellAgainAreNotOpen) {
    PageInput input = shelf::rebuilding();
    input.incidents[0].value = "normal";  // still open, to see whether it comes back
    const EventReference reference("");
    const PageModel model(input, reference);
    std::vector<std::int64_t> open;
    for (const Incident* each : model.openIncidents()) open.push_back(each->id);
    EXPECT_EQ(std::vector<std::int64_t>({4, 3}), open);
    EXPECT_EQ(2U, model.endedIncidents().size());
}

TEST(PageModel, ObjectsAreFoundByKey) {
    const PageInput input = shelf::wellMachine();
    const EventReference reference("");
    const PageModel model(input, reference);
    EXPECT_EQ("array 2:0", model.array("array:2:0")->name);
    EXPECT_EQ("drive 1:0:1", model.drive("drive:KL-2")->name);
    EXPECT_EQ(24, model.enclosure("enclosure:EN0024")->slots);
    EXPECT_EQ("RX-400", model.controller("controller:SN0007")->name);
    EXPECT_EQ(nullptr, model.drive("array:2:0"));
    EXPECT_FALSE(model.knows("drive:nobody"));
    EXPECT_EQ(22U, model.drivesIn("enclosure:EN0024").size());
    EXPECT_EQ("Let it finish. Do not pull drives meanwhile.", model.explanation(304)->action);
    EXPECT_EQ(nullptr, model.explanation(0));
}

}  // namespace
