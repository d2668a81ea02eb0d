#include "agent/incidents/Redundancy.h"

#include <algorithm>

#include "storlib/StorEnums.h"

namespace {

enum class Kind { kNone, kMirror, kCopies, kOneParity, kTwoParities };

struct Row {
    int level;
    Kind kind;
};

// Of the nested levels only the weakest group counts: nobody says where the next drive fails.
constexpr Row kRows[] = {
    {kRaid0, Kind::kNone},        {kRaid00, Kind::kNone},        {kSpannedVolume, Kind::kNone},
    {kRaidVolume, Kind::kNone},   {kSimpleVolume, Kind::kNone},  {kRaid1, Kind::kMirror},
    {kRaid1E, Kind::kCopies},     {kRaid10, Kind::kCopies},      {kRaid1E0, Kind::kCopies},
    {kRaid3, Kind::kOneParity},   {kRaid4, Kind::kOneParity},    {kRaid5, Kind::kOneParity},
    {kRaid5E, Kind::kOneParity},  {kRaid5EE, Kind::kOneParity},  {kRaid50, Kind::kOneParity},
    {kRaid6, Kind::kTwoParities}, {kRaid60, Kind::kTwoParities},
};

constexpr int kUsualCopies = 2;

// Of an array in order; not above the drives that it can lose and still have one.
int inOrder(Kind kind, int devices, int copies) {
    switch (kind) {
        case Kind::kNone:
            return 0;
        case Kind::kMirror:
            return devices - 1;
        case Kind::kCopies:
            return std::min(copies > 0 ? copies : kUsualCopies, devices) - 1;
        case Kind::kOneParity:
            return std::min(1, devices - 1);
        case Kind::kTwoParities:
            return std::min(2, devices - 1);
    }
    return 0;
}

}  // namespace

int survivesFailures(int level, int devices, int working, int copies) {
    const Row* row = std::find_if(std::begin(kRows), std::end(kRows),
                                  [level](const Row& each) { return each.level == level; });
    if (row == std::end(kRows)) return -1;
    if (row->kind == Kind::kNone) return 0;
    if (devices <= 0 || working < 0) return -1;
    const int failed = std::max(0, devices - working);
    return std::max(0, inOrder(row->kind, devices, copies) - failed);
}

int fullRedundancy(int level, int devices, int copies) {
    return survivesFailures(level, devices, devices, copies);
}

std::string survivesText(int survives) {
    if (survives < 0) return "";
    if (survives == 0) return "survives no further drive failure";
    if (survives == 1) return "survives 1 more drive failure";
    return "survives " + std::to_string(survives) + " more drive failures";
}
