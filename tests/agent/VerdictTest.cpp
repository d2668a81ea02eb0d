#include "agent/state/Verdict.h"

#include <gtest/gtest.h>

#include "events/EnumEventType.h"

namespace {

constexpr std::int64_t kNow = 1763700000;
constexpr std::int64_t kStale = 300;

ArrayState array(const std::string& name, const std::string& state, int survives) {
    ArrayState one;
    one.key = "array:" + name;
    one.name = name;
    one.state = state;
    one.survives = survives;
    return one;
}

DriveState drive(const std::string& name, const std::string& state) {
    DriveState one;
    one.key = "drive:" + name;
    one.name = name;
    one.serial = "S-" + name;
    one.state = state;
    return one;
}

MachineState machine() {
    MachineState state;
    state.polledAt = kNow - 5;
    state.arrays = {array("md0", "normal", 1), array("md1", "checking", 2)};
    state.drives = {drive("d1", "normal"), drive("d2", "normal"), drive("d3", "spare")};
    return state;
}

Incident incident(const std::string& object, const std::string& condition, const std::string& value,
                  int severity) {
    Incident one;
    one.object = one.objectName = object;
    one.condition = condition;
    one.value = value;
    one.severity = severity;
    return one;
}

Verdict judged(const MachineState& state, const std::vector<Incident>& open = {}) {
    return verdict(state, open, kNow, kStale);
}

TEST(Verdict, GivenAllIsInOrderThenOk) {
    const Verdict result = judged(machine());
    EXPECT_EQ(Verdict::kOk, result.level);
    EXPECT_EQ("all 2 arrays and 3 drives are in order", result.sentence);
}

TEST(Verdict, GivenNoFreshPollThenUnknownWhateverWasSeen) {
    struct {
        std::int64_t polledAt;
        const char* begins;
    } constexpr kRows[] = {
        {0, "nothing is known: no poll has completed yet"},
        {kNow - kStale - 1, "nothing is known: the last completed poll is 5 min 1 s old"},
        {kNow + kStale + 1, "nothing is known: the last poll is dated 5 min 1 s from now"},
    };
    for (const auto& row : kRows) {
        MachineState state = machine();
        state.polledAt = row.polledAt;
        const Verdict result = judged(state);
        EXPECT_EQ(Verdict::kUnknown, result.level);
        EXPECT_EQ(row.begins, result.sentence.substr(0, std::string(row.begins).size()));
    }
    MachineState state = machine();
    state.polledAt = kNow - kStale;
    EXPECT_EQ(Verdict::kOk, judged(state).level);
}

TEST(Verdict, GivenNothingToWatchThenUnknown) {
    MachineState state;
    state.polledAt = kNow;
    EXPECT_EQ(Verdict::kUnknown, judged(state).level);
    state.controllers.emplace_back();
    EXPECT_EQ(Verdict::kOk, judged(state).level);
    EXPECT_EQ("1 controller in order, without arrays or drives", judged(state).sentence);
}

TEST(Verdict, GivenAnArrayInTroubleThenSaysHowMuchItStillSurvives) {
    struct {
        const char* state;
        int survives;
        Verdict::Level level;
        const char* sentence;
    } constexpr kRows[] = {
        {"degraded", 1, Verdict::kCritical, "1 array degraded: md0 survives 1 more drive failure"},
        {"degraded", -1, Verdict::kCritical, "1 array degraded: md0"},
        {"rebuilding", 0, Verdict::kWarning,
         "1 array rebuilding: md0 survives no further drive failure, rebuild 41 %, about 3 h 12 "
         "min left"},
        {"offline", 0, Verdict::kCritical, "1 array offline: md0 cannot be reached"},
        {"failed", 0, Verdict::kCritical, "1 array offline: md0 cannot be reached"},
    };
    for (const auto& row : kRows) {
        MachineState state = machine();
        state.arrays[0] = array("md0", row.state, row.survives);
        if (std::string(row.state) == "rebuilding") {
            state.arrays[0].task.kind = "rebuild";
            state.arrays[0].task.percent = 41.2;
            state.arrays[0].task.secondsLeft = 11520;
        }
        EXPECT_EQ(row.level, judged(state).level) << row.state;
        EXPECT_EQ(row.sentence, judged(state).sentence);
    }
}

TEST(Verdict, GivenSeveralProblemsThenTheWorstComesFirstAndTheRestAreCounted) {
    MachineState state = machine();
    state.arrays = {array("md0", "rebuilding", 0), array("md1", "degraded", 1),
                    array("md2", "degraded", 0)};
    state.drives[1].state = "failed";
    const Verdict result = judged(state, {incident("adapter 0", "battery", "low", kEventWarning)});
    EXPECT_EQ(Verdict::kCritical, result.level);
    EXPECT_EQ(
        "2 arrays degraded: md2 survives no further drive failure, and 1 more; 1 array rebuilding: "
        "md0 "
        "survives no further drive failure; 1 drive failed: d2, serial S-d2; 1 other problem: "
        "adapter 0: battery low",
        result.sentence);
}

TEST(Verdict, GivenArraysOfOneLevelThenTheOneThatIsWorstOffIsNamed) {
    MachineState state = machine();
    state.arrays = {array("md0", "degraded", 1), array("md1", "degraded", 0),
                    array("md2", "degraded", 1)};
    EXPECT_EQ("3 arrays degraded: md1 survives no further drive failure, and 2 more",
              judged(state).sentence);
    state.arrays.push_back(array("md3", "offline", 0));
    EXPECT_EQ("1 array offline: md3 cannot be reached; 3 arrays degraded", judged(state).sentence);
}

TEST(Verdict, GivenAnIncidentThatTheStateDoesNotShowThenItsSeverityCounts) {
    const Verdict error =
        judged(machine(), {incident("adapter 0", "controller", "failed", kEventError)});
    EXPECT_EQ(Verdict::kCritical, error.level);
    EXPECT_EQ("1 problem: adapter 0: failed", error.sentence);
    EXPECT_EQ(Verdict::kWarning,
              judged(machine(), {incident("adapter 0", "battery", "low", kEventWarning)}).level);
}

TEST(Verdict, GivenAnIncidentThatIsOverAndOnlyWatchedThenOk) {
    EXPECT_EQ(Verdict::kOk,
              judged(machine(), {incident("array:md0", "redundancy", "normal", kEventInformation)})
                  .level);
}

TEST(Verdict, GivenAnAcknowledgementThenTheLevelStaysAndTheSentenceSaysIt) {
    MachineState state = machine();
    state.arrays[0] = array("md0", "degraded", 0);
    Incident one = incident("array:md0", "redundancy", "degraded", kEventWarning);
    EXPECT_FALSE(judged(state, {one}).acknowledged);
    one.ackAt = kNow;
    const Verdict result = judged(state, {one});
    EXPECT_EQ(Verdict::kCritical, result.level);
    EXPECT_TRUE(result.acknowledged);
    EXPECT_EQ("1 array degraded: md0 survives no further drive failure (acknowledged)",
              result.sentence);
    EXPECT_FALSE(judged(state, {one, incident("a", "battery", "low", kEventWarning)}).acknowledged);
}

TEST(Verdict, GivenHostileNamesThenTheSentenceIsOneSafeLine) {
    MachineState state = machine();
    state.arrays[0] = array("md\n0\x1b[2J", "degraded", 0);
    EXPECT_EQ("1 array degraded: md\\n0\\x1b[2J survives no further drive failure",
              judged(state).sentence);
}

}  // namespace
