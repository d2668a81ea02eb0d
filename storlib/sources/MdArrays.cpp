#include "storlib/sources/MdArrays.h"

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "storlib/sources/SysfsReader.h"

namespace {

constexpr int kMostDisks = 4096;  // md itself stops at 1920

struct LevelRow {
    char const* name;
    EnumRaidLevel level;
    int spareable;  // members that may lack; -1: all but one, -2: depends on the layout
};

// clang-format off
constexpr LevelRow kLevels[] = {
    {"raid0",     kRaid0,         0},
    {"raid1",     kRaid1,        -1},
    {"raid4",     kRaid4,         1},
    {"raid5",     kRaid5,         1},
    {"raid6",     kRaid6,         2},
    {"raid10",    kRaid10,       -2},
    {"linear",    kSpannedVolume, 0},
    {"multipath", kRaid1,        -1},  // one drive over several ways
    {"faulty",    kSimpleVolume,  0},  // for tests of file systems
};
// clang-format on

const LevelRow* levelRow(const std::string& name) {
    for (const LevelRow& row : kLevels) {
        if (name == row.name) return &row;
    }
    return nullptr;
}

// A word of "in_sync,write_mostly"; parts of words do not count.
bool hasWord(const std::string& list, const char* word) {
    const std::string padded = "," + list + ",";
    return padded.find("," + std::string(word) + ",") != std::string::npos;
}

// Lines of "first length"; a list that fills its page is cut, which still compares.
std::int64_t sumOfLengths(const std::string& list) {
    std::int64_t sum = 0;
    std::size_t begin = 0;
    while (begin < list.size()) {
        std::size_t end = list.find('\n', begin);
        if (end == std::string::npos) end = list.size();
        const std::size_t blank = list.find(' ', begin);
        std::int64_t length = 0;
        if (blank != std::string::npos && blank < end &&
            SysfsReader::parse(list.substr(blank, end - blank), length) && length > 0 &&
            length <= INT32_MAX) {
            sum += length;
        }
        begin = end + 1;
    }
    return sum;
}

class DevicePlaces {
public:
    explicit DevicePlaces(const std::vector<BlockName>& devices) {
        for (const BlockName& device : devices) places.insert(device.path);
    }
    // The device itself, or the drive that a partition lies on.
    bool has(const std::string& path) const {
        return places.count(path) != 0 || places.count(path.substr(0, path.rfind('/'))) != 0;
    }

private:
    std::unordered_set<std::string> places;
};

bool isGone(SysfsReader& reader, const DevicePlaces& places, const MdArray& array,
            const MdMember& member) {
    if (member.blockPath.empty()) return false;  // half read: nothing speaks against it
    if (!places.has(member.blockPath)) return true;
    const std::string holders = member.blockPath + "/holders";
    if (reader.exists(holders + "/" + array.name)) return false;
    return reader.exists(holders);  // another drive took the place
}

// A folder of a member, and what its state says when that is known already.
struct MemberFolder {
    std::string entry;  // "dev-sda"
    std::string state;
    bool stateRead = false;
};

bool listMembers(SysfsReader& reader, const std::string& folder,
                 std::vector<MemberFolder>& members) {
    std::vector<std::string> entries;
    if (!reader.list(folder, "dev-", entries)) return false;
    members.clear();
    for (std::string& entry : entries) members.push_back({std::move(entry), {}, false});
    return true;
}

bool isListed(const MdStat::Array& listed, const std::string& name) {
    return std::any_of(listed.members.begin(), listed.members.end(),
                       [&](const MdStat::Member& member) { return member.name == name; });
}

// Listing a folder costs as much as all that is read of an array. The members of the look before
// are still all there are when mdstat names these and no others, and when the file that was open
// in each of their folders is still there.
bool sameMembers(SysfsReader& reader, const MdStat& mdstat, const MdArray* before,
                 const std::string& folder, std::vector<MemberFolder>& members) {
    const MdStat::Array* listed = before == nullptr ? nullptr : mdstat.find(before->name);
    if (listed == nullptr || listed->members.empty() ||
        listed->members.size() != before->members.size()) {
        return false;
    }
    for (const MdMember& member : before->members) {
        MemberFolder same{"dev-" + member.name, {}, true};
        if (!reader.textAgain(folder + "/" + same.entry + "/state", same.state) ||
            !isListed(*listed, member.name)) {
            return false;
        }
        members.push_back(std::move(same));
    }
    return true;
}

MdMember readMember(SysfsReader& reader, const DevicePlaces& places, const MdArray& array,
                    const std::string& folder, const MemberFolder& own) {
    MdMember member;
    member.name = own.entry.substr(4);
    const std::string path = folder + "/" + own.entry;
    const std::string state = own.stateRead ? own.state : reader.text(path + "/state");
    member.faulty = hasWord(state, "faulty");
    member.inSync = hasWord(state, "in_sync");
    member.spare = hasWord(state, "spare");
    member.journal = hasWord(state, "journal");
    member.wantsReplacement = hasWord(state, "want_replacement");
    member.isReplacement = hasWord(state, "replacement");
    member.writeError = hasWord(state, "write_error");
    if (member.inSync) member.faulty = false;
    member.slot = static_cast<int>(reader.number(path + "/slot", -1, 0, kMostDisks));
    member.blockPath = reader.resolveBeside(path + "/state", "block");
    member.errors = reader.number(path + "/errors", 0, 0, INT64_MAX);
    member.badSectors = sumOfLengths(reader.text(path + "/bad_blocks"));
    member.gone = isGone(reader, places, array, member);
    return member;
}

unsigned int minorOf(SysfsReader& reader, const std::string& name, const std::string& path) {
    std::int64_t number = -1;
    const std::string digits = name.substr(2);
    if (digits.find_first_not_of("0123456789") != std::string::npos ||
        !SysfsReader::parse(digits, number)) {
        const std::string device = reader.text(path + "/dev");  // "9:126"
        (void)SysfsReader::parse(device.substr(device.find(':') + 1), number);
    }
    return number < 0 || number > 0xfffff ? 0 : static_cast<unsigned int>(number);
}

void readTreePart(SysfsReader& reader, MdArray& array, const std::string& folder) {
    array.sectors = reader.number(array.path + "/size", 0, 0, INT64_MAX);
    const std::string uuid = reader.text(folder + "/uuid");
    array.uniqueID =
        static_cast<unsigned int>(std::strtoul(uuid.substr(0, 8).c_str(), nullptr, 16));
    array.lastAction = reader.text(folder + "/last_sync_action");
    if (array.lastAction == "check") {
        array.mismatches = reader.number(folder + "/mismatch_cnt", 0, 0, INT64_MAX);
    }
}

bool hasSuccessor(const MdArray& array, const MdMember& member) {
    if (member.slot < 0) return array.degraded == 0;
    return std::any_of(array.members.begin(), array.members.end(), [&](const MdMember& other) {
        return &other != &member && other.works() && other.slot == member.slot;
    });
}

void applyMdStat(const MdStat& mdstat, MdArray& array) {
    const MdStat::Array* listed = mdstat.find(array.name);
    if (listed == nullptr) return;
    array.listedInactive = !listed->active;
    array.waiting = listed->waiting;
    array.statOperation = listed->operation;
    array.statPercent = listed->percent;
    if (array.disks < 0) array.disks = listed->disks;
    if (array.level.empty()) array.level = listed->level;
    array.statWorking = listed->working;
    for (MdMember& member : array.members) {
        for (const MdStat::Member& row : listed->members) {
            if (row.name == member.name) member.number = row.number;
        }
    }
}

bool readArray(SysfsReader& reader, const MdStat& mdstat, const DevicePlaces& places,
               MdArrays::Depth depth, const MdArray* before, MdArray& array) {
    const std::string folder = array.path + "/md";
    std::vector<MemberFolder> members;
    reader.enter(array.path);
    if (!sameMembers(reader, mdstat, before, folder, members) &&
        !listMembers(reader, folder, members)) {
        return false;
    }
    array.minor = minorOf(reader, array.name, array.path);
    array.arrayState = reader.text(folder + "/array_state");
    array.level = reader.text(folder + "/level");
    array.disks = static_cast<int>(reader.number(folder + "/raid_disks", -1, 0, kMostDisks));
    array.degraded = static_cast<int>(reader.number(folder + "/degraded", -1, 0, kMostDisks));
    array.action = reader.text(folder + "/sync_action");
    for (const MemberFolder& own : members) {
        array.members.push_back(readMember(reader, places, array, folder, own));
    }
    for (MdMember& member : array.members) {
        member.retired = member.faulty && member.wantsReplacement && !member.writeError &&
                         hasSuccessor(array, member);
    }
    applyMdStat(mdstat, array);
    if (array.level.empty()) array.metadata = reader.text(folder + "/metadata_version");
    if (array.level == "raid10") {
        array.layout = static_cast<int>(reader.number(folder + "/layout", 0, 0, INT32_MAX));
    }
    if (depth == MdArrays::Depth::kTree) readTreePart(reader, array, folder);
    // A number that was used and is free again still has a block device, without anything in it.
    return !array.members.empty() || !(array.arrayState.empty() || array.arrayState == "clear");
}

// Slots from which data can be had.
std::vector<bool> workingSlots(const MdArray& array) {
    std::vector<bool> slots(static_cast<std::size_t>(std::max(array.disks, 0)), false);
    for (const MdMember& member : array.members) {
        if (!member.works() || member.slot < 0) continue;
        const auto slot = static_cast<std::size_t>(member.slot);
        if (slot < slots.size()) slots[slot] = true;
    }
    return slots;
}

// Slots that md believes in but whose device is gone.
int unnoticed(const MdArray& array) {
    const std::vector<bool> works = workingSlots(array);
    std::set<int> slots;
    for (const MdMember& member : array.members) {
        if (!member.gone || !member.inSync || member.slot < 0) continue;
        const auto slot = static_cast<std::size_t>(member.slot);
        if (slot >= works.size() || !works[slot]) slots.insert(member.slot);
    }
    return static_cast<int>(slots.size());
}

// Copies lie on neighbouring slots, group after group around the ring of members.
bool everyCopyGroupWorks(const MdArray& array) {
    const std::vector<bool> works = workingSlots(array);
    const std::size_t disks = works.size();
    const int near = array.layout & 0xff;
    const int far = (array.layout >> 8) & 0xff;
    const auto copies = static_cast<std::size_t>(std::max(1, near) * std::max(1, far));
    if (disks == 0 || array.layout == 0 || copies > disks) return true;
    if (std::find(works.begin(), works.end(), true) == works.end()) return true;  // not known
    std::size_t first = 0;
    do {
        bool any = false;
        for (std::size_t i = 0; i < copies; ++i) any = any || works[(first + i) % disks];
        if (!any) return false;
        first = (first + static_cast<std::size_t>(std::max(1, near))) % disks;
    } while (first != 0);
    return true;
}

bool isInactive(const MdArray& array) {
    return array.arrayState == "inactive" || array.arrayState == "clear" ||
           (array.arrayState.empty() && array.listedInactive);
}

bool anyRebuilds(const MdArray& array) {
    return std::any_of(array.members.begin(), array.members.end(),
                       [](const MdMember& member) { return member.rebuilds(); });
}

// As soon as a member fails, and until it looks for a spare, md says "recover" with nothing to
// recover onto. That can last as long as the reset of a controller.
std::string operationOf(const MdArray& array, const std::string& action) {
    if (action == "recover" && !anyRebuilds(array)) return std::string();
    if (action == "recover" || action == "resync" || action == "check" || action == "repair" ||
        action == "reshape") {
        return action;
    }
    if (array.waiting.empty() || array.waiting == "REMOTE") return std::string();
    return array.statOperation == "recovery" ? "recover" : array.statOperation;
}

int percentOf(const std::string& completed) {
    const std::size_t slash = completed.find('/');
    std::int64_t done = 0;
    std::int64_t all = 0;
    if (slash == std::string::npos || !SysfsReader::parse(completed.substr(0, slash), done) ||
        !SysfsReader::parse(completed.substr(slash + 1), all) || all <= 0 || done < 0) {
        return -1;
    }
    if (done >= all) return 100;
    return static_cast<int>(static_cast<double>(done) * 100.0 / static_cast<double>(all));
}

}  // namespace

namespace MdArrays {

std::vector<MdArray> read(SysfsReader& reader, const MdStat& mdstat,
                          const std::vector<BlockName>& devices, Depth depth,
                          const std::vector<MdArray>& before) {
    const DevicePlaces places(devices);
    std::unordered_map<std::string_view, const MdArray*> known;
    if (depth == Depth::kLook) {
        for (const MdArray& array : before) known.emplace(array.path, &array);
    }
    std::vector<MdArray> arrays;
    for (const BlockName& device : devices) {
        if (device.name.compare(0, 2, "md") != 0) continue;
        MdArray array;
        array.name = device.name;
        array.path = device.path;
        const auto old = known.find(array.path);
        const MdArray* earlier = old == known.end() ? nullptr : old->second;
        if (readArray(reader, mdstat, places, depth, earlier, array)) {
            arrays.push_back(std::move(array));
        }
    }
    std::stable_sort(arrays.begin(), arrays.end(),
                     [](const MdArray& a, const MdArray& b) { return a.minor < b.minor; });
    return arrays;
}

MdTask task(SysfsReader& reader, const MdArray& array) {
    MdTask task;
    const std::string operation = operationOf(array, reader.text(array.path + "/md/sync_action"));
    if (operation.empty()) return task;
    task.type = operation == "recover"                          ? kTaskRebuild
                : operation == "check" || operation == "repair" ? kTaskVerify
                                                                : kTaskSynchronize;
    const int percent = percentOf(reader.text(array.path + "/md/sync_completed"));
    if (percent >= 0) {
        task.percent = percent;
    } else if (array.waiting.empty() && !array.statOperation.empty()) {
        task.percent = array.statPercent;  // it runs, but the finer figure is not there
    } else {
        task.status = kTaskPaused;  // "delayed", or "none": it waits for its turn
    }
    return task;
}

bool isContainer(const MdArray& array) {
    return array.level == "container" ||
           (array.level.empty() && array.metadata.compare(0, 9, "external:") == 0);
}

int missing(const MdArray& array) {
    if (array.degraded >= 0) return array.degraded + unnoticed(array);
    if (array.disks > 0 && array.statWorking >= 0) {
        return std::max(0, array.disks - array.statWorking) + unnoticed(array);
    }
    const std::vector<bool> works = workingSlots(array);
    const auto lost = static_cast<int>(std::count(works.begin(), works.end(), false));
    const auto unplaced = static_cast<int>(
        std::count_if(array.members.begin(), array.members.end(),
                      [](const MdMember& member) { return member.works() && member.slot < 0; }));
    return std::max(0, lost - unplaced);
}

bool hasEnough(const MdArray& array) {
    const LevelRow* row = levelRow(array.level);
    const int lacking = missing(array);
    if (row == nullptr || lacking == 0 || array.disks <= 0) return true;
    if (row->spareable >= 0) return lacking <= row->spareable;
    return lacking < array.disks && (row->spareable == -1 || everyCopyGroupWorks(array));
}

// Only the tool that makes an array gives its last slot to the member that is numbered one higher
// than the slots go, and leaves the number of that slot out.
bool isFirstBuild(const MdArray& array) {
    if (array.level != "raid5" && array.level != "raid4") return false;
    if (array.action != "recover" || array.wasWhole || missing(array) != 1) return false;
    for (const MdMember& member : array.members) {
        if (member.faulty || member.gone) return false;
        if (member.journal || (member.slot < 0 && !member.inSync)) continue;
        const bool last = member.slot == array.disks - 1;
        if (last != member.rebuilds()) return false;
        if (member.number != (last ? array.disks : member.slot)) return false;
    }
    return true;
}

EnumLogicalDeviceState state(const MdArray& array) {
    if (isInactive(array) || array.arrayState == "broken" || !hasEnough(array)) {
        return kLogicalOffline;
    }
    const std::string operation = operationOf(array, array.action);
    if (missing(array) > 0 && !isFirstBuild(array)) {
        return operation == "recover" && anyRebuilds(array) ? kLogicalRebuilding : kLogicalDegraded;
    }
    return operation.empty() ? kLogicalOptimal : kLogicalResyncing;
}

std::string operation(const MdArray& array) { return operationOf(array, array.action); }

void remember(const MdArray& before, MdArray& now) {
    const bool lost = std::any_of(before.members.begin(), before.members.end(),
                                  [](const MdMember& m) { return m.faulty || m.gone; });
    now.wasWhole = before.wasWhole || missing(before) == 0 || lost || before.action != "recover";
    for (MdMember& member : now.members) {
        if (!member.faulty || member.gone) continue;
        for (const MdMember& old : before.members) {
            if (old.name != member.name || old.blockPath != member.blockPath) continue;
            const bool replaced =
                old.wantsReplacement && old.slot >= 0 && !member.writeError &&
                std::any_of(now.members.begin(), now.members.end(), [&](const MdMember& other) {
                    return other.works() && other.slot == old.slot;
                });
            if (old.retired || replaced) member.retired = true;
        }
    }
}

EnumRaidLevel raidLevel(const MdArray& array) {
    const LevelRow* row = levelRow(array.level);
    if (row == nullptr) return kRaidVolume;
    if (row->level == kSpannedVolume && array.disks == 1) return kSimpleVolume;
    return row->level;
}

int badStripes(const MdArray& array) {
    if (array.action == "check" || array.lastAction != "check") return 0;
    return static_cast<int>(std::min<std::int64_t>(array.mismatches, INT32_MAX));
}

EnumPhysicalDeviceState memberState(const MdArray& array, const MdMember& member) {
    if (member.gone) return kDriveReady;  // whoever has the place now is another drive
    if (member.faulty) return member.retired ? kDriveReady : kDriveFailed;
    if (member.inSync || member.journal) return kDriveMember;
    if (isInactive(array) && !isContainer(array)) return kDriveMember;  // all read "spare" there
    return member.slot >= 0 ? kDriveRebuilding : kDriveHotSpare;
}

int copies(const MdArray& array) {
    if (array.level != "raid10" || array.layout == 0) return 0;
    return std::max(1, array.layout & 0xff) * std::max(1, (array.layout >> 8) & 0xff);
}

std::vector<ArrayMember> roles(const MdArray& array) {
    std::vector<ArrayMember> list;
    std::vector<bool> taken(static_cast<std::size_t>(std::clamp(array.disks, 0, kMostDisks)),
                            false);
    for (const MdMember& member : array.members) {
        if (member.gone || member.journal) continue;
        ArrayMember role;
        role.osName = member.name;
        role.slot = member.slot;
        switch (memberState(array, member)) {
            case kDriveMember:
                role.role = ArrayMember::kActive;
                break;
            case kDriveRebuilding:
                role.role = ArrayMember::kRebuilding;
                break;
            case kDriveHotSpare:
                role.role = ArrayMember::kSpare;
                break;
            case kDriveFailed:
                role.role = ArrayMember::kFailed;
                break;
            default:
                continue;  // it left the array in good health
        }
        const auto slot = static_cast<std::size_t>(role.slot);
        if (role.slot >= 0 && slot < taken.size()) taken[slot] = true;
        list.push_back(role);
    }
    for (std::size_t slot = 0; slot < taken.size(); ++slot) {
        if (taken[slot]) continue;
        ArrayMember empty;
        empty.slot = static_cast<int>(slot);
        empty.role = ArrayMember::kMissing;
        list.push_back(empty);
    }
    const auto place = [](const ArrayMember& m) { return m.slot < 0 ? kMostDisks : m.slot; };
    std::stable_sort(list.begin(), list.end(), [&](const ArrayMember& a, const ArrayMember& b) {
        return place(a) < place(b);
    });
    return list;
}

}  // namespace MdArrays
