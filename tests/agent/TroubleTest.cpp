#include "agent/state/Trouble.h"

#include <gtest/gtest.h>

namespace {

TEST(Trouble, RanksTheWorstFirst) {
    std::size_t before = troubleRank("failed");
    for (const char* state : {"offline", "missing", "too hot", "degraded", "predicted",
                              "rebuilding", "unknown", "checking", "queued", "normal"}) {
        EXPECT_LT(before, troubleRank(state)) << state;
        before = troubleRank(state);
    }
}

TEST(Trouble, GivenAStateWithoutTroubleThenItIsInOrder) {
    for (const char* state : {"normal", "spare", "unused", "charging", ""}) {
        EXPECT_TRUE(isInOrder(state)) << state;
        EXPECT_EQ(troubleRank("normal"), troubleRank(state)) << state;
    }
    for (const char* state : {"failed", "missing", "rebuilding", "checking", "unknown"}) {
        EXPECT_FALSE(isInOrder(state)) << state;
    }
}

struct DriveCase {
    const char* state;
    bool predicted;
    const char* shown;
};

constexpr DriveCase kDriveCases[] = {
    {"normal", false, "normal"},        {"normal", true, "predicted"}, {"spare", true, "predicted"},
    {"rebuilding", true, "predicted"},  {"failed", true, "failed"},    {"missing", true, "missing"},
    {"rebuilding", false, "rebuilding"}};

TEST(Trouble, GivenADriveThatForetellsItsFailureThenThatIsShownUnlessItIsGone) {
    for (const DriveCase& c : kDriveCases) {
        DriveState drive;
        drive.state = c.state;
        drive.predicted = c.predicted;
        EXPECT_EQ(c.shown, shownState(drive)) << c.state << c.predicted;
    }
}

TEST(Trouble, GivenDrivesThenTheWorstComeFirstAndTheRestKeepTheirOrder) {
    std::vector<DriveState> drives(5);
    const char* const states[] = {"normal", "spare", "failed", "normal", "failed"};
    for (std::size_t i = 0; i < drives.size(); ++i) {
        drives[i].name = std::to_string(i);
        drives[i].state = states[i];
    }
    drives[3].predicted = true;
    std::string order;
    for (const DriveState* drive : worstFirst(drives)) order += drive->name;
    EXPECT_EQ("24301", order);
}

TEST(Trouble, GivenArraysThatAreEquallyBadThenTheOneThatSurvivesLessComesFirst) {
    std::vector<ArrayState> arrays(5);
    const char* const states[] = {"normal", "degraded", "degraded", "offline", "normal"};
    const int survives[] = {1, 1, 0, 1, 0};
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        arrays[i].name = std::to_string(i);
        arrays[i].state = states[i];
        arrays[i].survives = survives[i];
    }
    std::string order;
    for (const ArrayState* array : worstFirst(arrays)) order += array->name;
    EXPECT_EQ("32104", order) << "those in order keep theirs";
}

}  // namespace
