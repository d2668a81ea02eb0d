#include "agent/StorageWords.h"

#include <cstddef>

#include "storlib/StorEnums.h"

namespace {

struct StateWord {
    int number;
    const char* word;    // null: such arrays are not shown as a state
    const char* listed;  // capitals are for what somebody must see
};

struct LevelWord {
    int number;
    const char* word;
};

// clang-format off
constexpr StateWord kDriveStates[] = {
    {kDriveReady,      "unused",     "ready"},
    {kDriveMember,     "normal",     "member"},
    {kDriveFailed,     "failed",     "FAILED"},
    {kDriveHotSpare,   "spare",      "hot spare"},
    {kDriveRebuilding, "rebuilding", "rebuilding"},
    {kDriveNotPresent, "missing",    "absent"},
};
constexpr StateWord kArrayStates[] = {
    {kLogicalFree,           nullptr,      "free"},
    {kLogicalOffline,        "failed",     "OFFLINE"},
    {kLogicalOptimal,        "normal",     "optimal"},
    {kLogicalDegraded,       "degraded",   "DEGRADED"},
    {kLogicalResyncing,      "checking",   "resyncing"},
    {kLogicalHidden,         nullptr,      "hidden"},
    {kLogicalRebuilding,     "rebuilding", "REBUILDING"},
    {kLogicalCriticalHidden, nullptr,      "hidden"},
};
constexpr LevelWord kRaidLevels[] = {
    {kRaid0, "RAID 0"}, {kRaid1, "RAID 1"}, {kRaid1E, "RAID 1E"}, {kRaid3, "RAID 3"},
    {kRaid4, "RAID 4"}, {kRaid5, "RAID 5"}, {kRaid5E, "RAID 5E"}, {kRaid5EE, "RAID 5EE"},
    {kRaid00, "RAID 00"}, {kRaid10, "RAID 10"}, {kRaid1E0, "RAID 1E0"}, {kRaid50, "RAID 50"},
    {kSpannedVolume, "spanned"}, {kRaidVolume, "volume"},
    {kSimpleVolume, "simple"}, {kRaid6, "RAID 6"}, {kRaid60, "RAID 60"},
};
// clang-format on

template <class Row, std::size_t count>
const Row* rowOf(const Row (&table)[count], int number) {
    for (const Row& row : table) {
        if (row.number == number) return &row;
    }
    return nullptr;
}

template <std::size_t count>
std::string wordIn(const StateWord (&table)[count], int number) {
    const StateWord* row = rowOf(table, number);
    return row == nullptr || row->word == nullptr ? "unknown" : row->word;
}

template <std::size_t count>
std::string listedIn(const StateWord (&table)[count], int number) {
    const StateWord* row = rowOf(table, number);
    return row == nullptr ? "state " + std::to_string(number) : row->listed;
}

}  // namespace

std::string driveWord(int state) { return wordIn(kDriveStates, state); }
std::string arrayWord(int state) { return wordIn(kArrayStates, state); }
std::string listedDriveWord(int state) { return listedIn(kDriveStates, state); }
std::string listedArrayWord(int state) { return listedIn(kArrayStates, state); }

std::string raidLevelWord(int level) {
    const LevelWord* row = rowOf(kRaidLevels, level);
    return row == nullptr ? "level " + std::to_string(level) : row->word;
}
