#include "storlib/sources/LinuxChanges.h"

#include <algorithm>

#include "storlib/LDPathUtils.h"
#include "storlib/sources/SysfsReader.h"

namespace {

enum class Ending { kComplete, kFailed, kAborted };

// Codes of task records, see docs/formats/controller-events.md.
struct TaskRow {
    char const* what;
    int started;
    int complete;
    int failed;
    int aborted;
};

constexpr TaskRow kRebuild = {"rebuild", 16, 17, 18, 14};
constexpr TaskRow kSynchronize = {"synchronization", 19, 20, 21, 1};
constexpr int kBlocksRepaired = 0x80;
constexpr int kBlocksFound = 0x81;
constexpr int kTaskRecord = 1;  // sense key
constexpr int kErrorQualifier = 6;

const TaskRow& rowOf(const std::string& operation) {
    return operation == "recover" ? kRebuild : kSynchronize;
}

ControllerEvent taskRecord(const MdArray& array, int code, const std::string& what) {
    ControllerEvent event;
    event.senseKey = kTaskRecord;
    event.additionalSenseCode = code;
    event.ldPath = LDPathUtils::textBelowController(Addr::ofLogicalDrive(0, array.minor));
    event.description = array.name + ": " + what;
    return event;
}

// A waiting task has not started: md may do it much later, or never.
std::string runningOperation(const MdArray* array) {
    if (array == nullptr || array->action == "idle" || array->action == "frozen") {
        return std::string();
    }
    return array->action.empty() ? std::string() : MdArrays::operation(*array);
}

const MdMember* findMember(const MdArray& array, const MdMember& wanted) {
    for (const MdMember& member : array.members) {
        if (member.name == wanted.name && member.blockPath == wanted.blockPath) return &member;
    }
    return nullptr;
}

Ending rebuildEnding(const MdArray& before, const MdArray& now) {
    if (MdArrays::missing(now) < MdArrays::missing(before)) return Ending::kComplete;
    bool copied = false;
    for (const MdMember& target : before.members) {
        if (!target.rebuilds()) continue;
        const MdMember* member = findMember(now, target);
        if (member == nullptr || member->faulty || member->gone) return Ending::kFailed;
        copied = copied || member->inSync;
    }
    return copied ? Ending::kComplete : Ending::kAborted;
}

Ending endingOf(const std::string& operation, const MdArray& before, const MdArray* now,
                SysfsReader& reader) {
    if (now == nullptr || now->arrayState == "inactive" || now->arrayState == "clear") {
        return Ending::kAborted;
    }
    if (MdArrays::state(*now) == kLogicalOffline) return Ending::kFailed;
    if (operation == "recover") return rebuildEnding(before, *now);
    const std::string folder = now->path + "/md/";
    std::int64_t place = 0;
    if (operation == "resync") {
        if (!reader.number(folder + "resync_start", place)) return Ending::kComplete;
        return MdArrays::missing(*now) > MdArrays::missing(before) ? Ending::kFailed
                                                                   : Ending::kAborted;
    }
    const char* mark = operation == "reshape" ? "reshape_position" : "sync_min";
    const bool stopped = reader.number(folder + mark, place) && place > 0;
    return stopped ? Ending::kAborted : Ending::kComplete;
}

ControllerEvent endRecord(const std::string& operation, const MdArray& before, const MdArray* now,
                          SysfsReader& reader) {
    const TaskRow& row = rowOf(operation);
    const std::string what = row.what;
    const Ending ending = endingOf(operation, before, now, reader);
    if (ending == Ending::kComplete) return taskRecord(before, row.complete, what + " complete");
    if (ending == Ending::kAborted) return taskRecord(before, row.aborted, what + " aborted");
    ControllerEvent event = taskRecord(before, row.failed, what + " failed");
    event.qual = kErrorQualifier;
    return event;
}

// A spare that was not in sync then and is now.
bool rebuiltMeanwhile(const MdArray& before, const MdArray& now) {
    if (MdArrays::missing(now) >= MdArrays::missing(before)) return false;
    return std::any_of(now.members.begin(), now.members.end(), [&](const MdMember& member) {
        const MdMember* old = findMember(before, member);
        return member.works() && (old == nullptr || !old->inSync);
    });
}

void compareTasks(const MdArray* before, const MdArray* now, SysfsReader& reader,
                  LinuxChanges::Records& records) {
    const std::string old = runningOperation(before);
    const std::string current = runningOperation(now);
    if (old == current) {
        if (old.empty() && before != nullptr && now != nullptr && before->disks == now->disks &&
            before->degraded > 0 && rebuiltMeanwhile(*before, *now)) {
            records.push_back({0, taskRecord(*now, kRebuild.started, "rebuild started")});
            records.push_back({0, taskRecord(*now, kRebuild.complete, "rebuild complete")});
        }
        return;
    }
    if (!old.empty()) records.push_back({0, endRecord(old, *before, now, reader)});
    if (!current.empty()) {
        const TaskRow& row = rowOf(current);
        records.push_back({0, taskRecord(*now, row.started, std::string(row.what) + " started")});
    }
}

void addMediaRecord(const Addr& drive, int code, const std::string& description,
                    LinuxChanges::Records& records) {
    ControllerEvent event;
    event.additionalSenseCode = code;
    event.ldPath = LDPathUtils::textOf(drive);
    event.description = description;
    records.push_back({drive.controllerID, event});
}

void compareMedia(const MdArray& before, const MdArray& now, const LinuxPlaces& places,
                  LinuxChanges::Records& records) {
    for (const MdMember& member : now.members) {
        const MdMember* old = findMember(before, member);
        const Addr* drive = places.driveAt(member.blockPath);
        if (old == nullptr || drive == nullptr || member.gone) continue;
        if (member.badSectors > old->badSectors) {
            addMediaRecord(*drive, kBlocksFound, member.name + ": bad blocks found", records);
        }
        if (member.errors > old->errors) {
            addMediaRecord(*drive, kBlocksRepaired, member.name + ": read errors corrected",
                           records);
        }
    }
}

// A number may go to another array between two looks.
bool isSameArray(const MdArray* before, const MdArray* now) {
    return before != nullptr && now != nullptr && before->path == now->path &&
           (before->level == now->level || before->level.empty() || now->level.empty() ||
            now->action == "reshape" || before->action == "reshape");
}

}  // namespace

namespace LinuxChanges {

Records between(const LinuxLook& before, const LinuxLook& now, const LinuxPlaces& places,
                SysfsReader& reader) {
    Records records;
    for (const MdArray& array : now.arrays) {
        const MdArray* old = before.findArray(array.name);
        const bool same = isSameArray(old, &array);
        compareTasks(same ? old : nullptr, &array, reader, records);
        if (same) compareMedia(*old, array, places, records);
    }
    for (const MdArray& array : before.arrays) {
        if (now.findArray(array.name) == nullptr) compareTasks(&array, nullptr, reader, records);
    }
    return records;
}

}  // namespace LinuxChanges
