#include "agent/state/CheckLine.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr std::int64_t kNow = 1763700000;

std::string lineOf(const MachineState& state, const std::vector<Incident>& open = {}) {
    return checkLine(verdict(state, open, kNow, 300), state, open, kNow, 300);
}

MachineState machine(const std::string& name, const std::string& word) {
    MachineState state;
    state.polledAt = kNow - 3;
    ArrayState array;
    array.key = "array:0:0";
    array.name = name;
    array.state = word;
    array.survives = 1;
    state.arrays.push_back(array);
    for (const char* each : {"normal", "failed", "spare"}) {
        state.drives.emplace_back();
        state.drives.back().name = std::string("drive 0:0:") + each[0];
        state.drives.back().state = each;
    }
    return state;
}

TEST(CheckLine, GivenADegradedArrayThenSaysSoWithNumbers) {
    EXPECT_EQ(
        "RAID CRITICAL - 1 array degraded: md0 survives 1 more drive failure; 1 drive failed: "
        "drive 0:0:f | arrays=1 degraded=1 rebuilding=0 offline=0 drives=3 failed=1 predicted=0 "
        "spares=1 incidents=0 acknowledged=0 survives=1 poll_age=3s;;300",
        lineOf(machine("md0", "degraded")));
}

TEST(CheckLine, GivenARebuildThenItsPercentageIsANumberToo) {
    MachineState state = machine("md0", "rebuilding");
    state.drives.clear();
    state.arrays[0].task.kind = "rebuild";
    state.arrays[0].task.percent = 41;
    EXPECT_EQ(
        "RAID WARNING - 1 array rebuilding: md0 survives 1 more drive failure, rebuild 41 % | "
        "arrays=1 degraded=0 rebuilding=1 offline=0 drives=0 failed=0 predicted=0 spares=0 "
        "incidents=0 acknowledged=0 survives=1 rebuild=41%;;;0;100 poll_age=3s;;300",
        lineOf(state));
}

TEST(CheckLine, GivenNoPollThenUnknownWithoutAnAge) {
    EXPECT_EQ(
        "RAID UNKNOWN - nothing is known: no poll has completed yet | arrays=0 degraded=0 "
        "rebuilding=0 offline=0 drives=0 failed=0 predicted=0 spares=0 incidents=0 "
        "acknowledged=0",
        lineOf(MachineState()));
}

TEST(CheckLine, GivenHostileNamesThenItStaysOneLineWithOneBar) {
    for (const char* name : {"a|b=1;2", "a\nCRITICAL", "a\r\n|", "\x1b[31m|", "\xff\xfe|"}) {
        const std::string line = lineOf(machine(name, "degraded"));
        EXPECT_EQ(1, std::count(line.begin(), line.end(), '|')) << line;
        EXPECT_TRUE(std::all_of(line.begin(), line.end(), [](char c) {
            return static_cast<unsigned char>(c) >= 0x20 && c != 0x7f;
        })) << line;
    }
}

}  // namespace
