// Two equal configurations of one controller, beside a walk over both at once.
#include <algorithm>

#include "benchmarks/Contests.h"
#include "benchmarks/GeneratedMachine.h"
#include "storlib/HardDrive.h"
#include "storlib/VantAdapter.h"
#include "tests/support/BareMonitor.h"

namespace {

// The least that a comparison can do: step through both trees and look at what may differ.
unsigned long differences(const RaidObject& a, const RaidObject& b) {
    unsigned long found = 0;
    const auto& left = a.getChildren();
    const auto& right = b.getChildren();
    const std::size_t count = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (left[i] == nullptr || right[i] == nullptr) continue;
        if (!left[i]->addr.IsEqual(right[i]->addr)) ++found;
        if (left[i]->isInstanceOf("HardDrive") && right[i]->isInstanceOf("HardDrive")) {
            const auto& one = static_cast<const HardDrive&>(*left[i]);
            const auto& other = static_cast<const HardDrive&>(*right[i]);
            if (one.state != other.state || one.pfaError != other.pfaError) ++found;
        }
        found += differences(*left[i], *right[i]);
    }
    return found;
}

struct Pair {
    explicit Pair(int drives) {
        GeneratedMachine::fillAdapter(before, drives);
        GeneratedMachine::fillAdapter(after, drives);
        room.clock.advance(1);
        monitor.lastUnsupportedDrivesReport = 1;
    }

    BareRoom room;
    BareMonitor monitor;
    VantAdapter before;
    VantAdapter after;
};

std::unique_ptr<Contest> makeCompare(int drives) {
    auto contest = std::make_unique<Contest>();
    auto pair = std::make_shared<Pair>(drives);
    contest->add("ours", loop([=] {
                     pair->monitor.comparePhysicalDrives(pair->room.events, &pair->after,
                                                         &pair->before);
                 }));
    contest->add("walk", loop([=] {
                     const unsigned long found = differences(pair->after, pair->before);
                     keep(&found);
                 }));
    return contest;
}

}  // namespace

void addCompareContests(const BenchSettings& settings, Contests& contests) {
    for (const int drives : settings.sizes) {
        contests.push_back(
            {"compare/" + std::to_string(drives), [=] { return makeCompare(drives); }});
    }
}
