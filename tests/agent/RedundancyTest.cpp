// Redundancy against a model that tries every set of failed drives: which data is still there is
// asked block by block, so the arithmetic cannot be wrong in the same way.
#include "agent/incidents/Redundancy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "storlib/StorEnums.h"

namespace {

using Drives = unsigned;  // one bit per failed drive

int count(Drives failed) { return __builtin_popcount(failed); }

struct Layout {
    const char* name;
    int level;
    int devices;
    int copies;  // as given to the function
    // The data is lost when a group has lost more than it may.
    std::vector<std::pair<Drives, int>> groups;
};

// md's near layout: block b lies on drives b*copies ... b*copies+copies-1, counted round.
std::vector<std::pair<Drives, int>> nearGroups(int devices, int copies) {
    std::vector<std::pair<Drives, int>> groups;
    for (int block = 0; block < devices; ++block) {
        Drives group = 0;
        for (int copy = 0; copy < copies; ++copy)
            group |= 1u << ((block * copies + copy) % devices);
        groups.emplace_back(group, copies - 1);
    }
    return groups;
}

std::vector<std::pair<Drives, int>> evenGroups(int devices, int groups, int mayLose) {
    std::vector<std::pair<Drives, int>> all;
    const int size = devices / groups;
    for (int i = 0; i < groups; ++i) all.emplace_back(((1u << size) - 1) << (i * size), mayLose);
    return all;
}

bool isAlive(const Layout& layout, Drives failed) {
    return std::all_of(layout.groups.begin(), layout.groups.end(), [failed](const auto& group) {
        return count(failed & group.first) <= group.second;
    });
}

// Further failures that a living array survives whichever drives they hit.
int guaranteed(const Layout& layout, Drives failed) {
    int fewest = layout.devices;
    for (Drives more = 0; more < (1u << layout.devices); ++more) {
        if ((more & failed) != 0 || isAlive(layout, failed | more)) continue;
        fewest = std::min(fewest, count(more) - 1);
    }
    return std::max(0, fewest);
}

std::vector<Layout> layouts() {
    std::vector<Layout> all;
    for (int n = 1; n <= 8; ++n) {
        all.push_back({"RAID 0", kRaid0, n, 0, evenGroups(n, 1, 0)});
        all.push_back({"simple", kSimpleVolume, n, 0, evenGroups(n, 1, 0)});
        all.push_back({"RAID 1", kRaid1, n, 0, evenGroups(n, 1, n - 1)});
        if (n >= 3) all.push_back({"RAID 5", kRaid5, n, 0, evenGroups(n, 1, 1)});
        if (n >= 3) all.push_back({"RAID 4", kRaid4, n, 0, evenGroups(n, 1, 1)});
        if (n >= 4) all.push_back({"RAID 6", kRaid6, n, 0, evenGroups(n, 1, 2)});
        if (n >= 2) all.push_back({"RAID 10", kRaid10, n, 0, nearGroups(n, 2)});
        if (n >= 2) all.push_back({"RAID 1E", kRaid1E, n, 2, nearGroups(n, 2)});
        if (n >= 3) all.push_back({"RAID 10, 3 copies", kRaid10, n, 3, nearGroups(n, 3)});
    }
    for (const int n : {6, 8}) all.push_back({"RAID 50", kRaid50, n, 0, evenGroups(n, 2, 1)});
    all.push_back({"RAID 60", kRaid60, 8, 0, evenGroups(8, 2, 2)});
    return all;
}

TEST(Redundancy, GivenAnySetOfFailedDrivesThenNeverPromisesTooMuchAndIsExactForTheWorstSet) {
    for (const Layout& layout : layouts()) {
        SCOPED_TRACE(layout.name + std::string(" of ") + std::to_string(layout.devices));
        std::vector<int> worst(static_cast<std::size_t>(layout.devices) + 1, 99);
        for (Drives failed = 0; failed < (1u << layout.devices); ++failed) {
            if (!isAlive(layout, failed)) continue;
            const int promised = survivesFailures(layout.level, layout.devices,
                                                  layout.devices - count(failed), layout.copies);
            const int truth = guaranteed(layout, failed);
            EXPECT_LE(promised, truth) << "failed set " << failed;
            int& least = worst[static_cast<std::size_t>(count(failed))];
            least = std::min(least, truth);
        }
        for (int failed = 0; failed <= layout.devices; ++failed) {
            const int least = worst[static_cast<std::size_t>(failed)];
            EXPECT_EQ(least == 99 ? 0 : least,
                      survivesFailures(layout.level, layout.devices, layout.devices - failed,
                                       layout.copies))
                << failed << " failed";
        }
    }
}

TEST(Redundancy, GivenWhatCannotBeKnownThenSaysSo) {
    struct {
        int level, devices, working, expected;
    } constexpr kRows[] = {
        {99, 4, 4, -1},       // no such level
        {-1, 4, 4, -1},       //
        {kRaid5, 0, 0, -1},   // nobody knows how many drives it should have
        {kRaid5, -1, 3, -1},  //
        {kRaid5, 4, -1, -1},  //
        {kRaid5, 4, 5, 1},    // more than it should have: no more than whole
        {kRaid6, 4, 1, 0},    // beyond help
        {kRaid0, 0, 0, 0},    // survives none, however many they are
        {kSpannedVolume, 0, 0, 0},
    };
    for (const auto& row : kRows) {
        EXPECT_EQ(row.expected, survivesFailures(row.level, row.devices, row.working))
            << row.level << " " << row.devices << " " << row.working;
    }
}

TEST(Redundancy, GivenAllDrivesInOrderThenTellsTheFullRedundancy) {
    EXPECT_EQ(2, fullRedundancy(kRaid6, 6));
    EXPECT_EQ(2, fullRedundancy(kRaid1, 3));
    EXPECT_EQ(1, fullRedundancy(kRaid10, 4));
    EXPECT_EQ(2, fullRedundancy(kRaid10, 6, 3));
    EXPECT_EQ(-1, fullRedundancy(12, 6));
}

TEST(Redundancy, GivenANumberThenSaysItInWords) {
    EXPECT_EQ("", survivesText(-1));
    EXPECT_EQ("survives no further drive failure", survivesText(0));
    EXPECT_EQ("survives 1 more drive failure", survivesText(1));
    EXPECT_EQ("survives 2 more drive failures", survivesText(2));
}

}  // namespace
