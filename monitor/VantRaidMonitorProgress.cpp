// Background tasks of logical drives: what runs now against what ran at the previous poll (or, at
// the start, at the end of the previous run), and what the controllers themselves recorded.
#include "monitor/VantRaidMonitor.h"

#include <algorithm>
#include <iterator>

#include "events/QELEventCollection.h"
#include "monitor/EventRows.h"
#include "snapshot/QELConfigBuilder.h"
#include "snapshot/QELProgress.h"
#include "snapshot/QELProgressCollection.h"
#include "snapshot/QELSystem.h"
#include "storlib/LogicalDrive.h"
#include "storlib/ProgressCollection.h"
#include "storlib/VantAdapter.h"
#include "storlib/VantLib.h"

namespace {

// What can be said about a kind of task. Kinds that are not listed are recorded in silence.
struct TaskRow {
    int type;
    EventRow const* detected;
    EventRow const* running;
    EventRow const* stopped;
};

// A record of a controller's log that tells of a task.
struct RecordRow {
    int code;
    EventRow const* row;
};

// clang-format off

constexpr TaskRow kTasks[] = {
    {kTaskInitialize,  &rows::kInitDetected,    &rows::kInitRunning,    &rows::kInitStopped},
    {kTaskSynchronize, &rows::kSyncDetected,    &rows::kSyncRunning,    &rows::kSyncStopped},
    {kTaskVerify,      &rows::kSyncDetected,    &rows::kSyncRunning,    &rows::kSyncStopped},
    {kTaskRebuild,     &rows::kRebuildDetected, &rows::kRebuildRunning, &rows::kRebuildStopped},
};

constexpr RecordRow kRecords[] = {
    {1,   &rows::kSyncAborted},
    {14,  &rows::kRebuildAborted},
    {15,  &rows::kInitAborted},
    {16,  &rows::kRebuildDetected},
    {137, &rows::kRebuildDetected},
    {17,  &rows::kRebuildComplete},
    {18,  &rows::kRebuildFailed},
    {19,  &rows::kSyncDetected},
    {20,  &rows::kSyncComplete},
    {21,  &rows::kSyncFailed},
    {25,  &rows::kInitDetected},
    {26,  &rows::kInitComplete},
    {27,  &rows::kInitFailed},
};

// clang-format on

constexpr int kTaskRecord = 1;  // sense key of the records that tell of a task

EventRow const* taskRow(int type, EventRow const* TaskRow::*which) {
    for (const TaskRow& task : kTasks) {
        if (task.type == type) return task.*which;
    }
    return nullptr;
}

EventRow const* recordRow(int code) {
    for (const RecordRow& record : kRecords) {
        if (record.code == code) return record.row;
    }
    return nullptr;
}

// One logical drive as the query found it; type 0 when nothing runs.
struct DriveTask {
    LogicalDrive* drive;
    Addr address;  // of the task, in the form of the reference
    Progress task;
};

// A task that ran before. Numbers only: the adapter it ran on may be gone.
struct ReferenceTask {
    Addr address;
    unsigned int logicalDriveID;
    int type;
    int percent;
};

struct Finding {
    LogicalDrive* drive;
    EventRow const* row;
    std::vector<std::string> more;  // text arguments after the drive's phrase
};

// A stored address comes back with 0 for what was not set when it was written, and without item
// and phy. The same has to happen to a live one before the two are compared.
Addr asStored(const Addr& live) {
    const auto orZero = [](unsigned int id) { return id == Addr::kNotSet ? 0 : id; };
    return Addr(live.controllerID, orZero(live.arrayID), orZero(live.logicalDriveID),
                orZero(live.channelID), orZero(live.deviceID),
                live.chunkID == Addr::kChunkNotSet ? 0 : live.chunkID, Addr::kNotSet,
                Addr::kNotSet);
}

std::vector<ReferenceTask> previousTasks(const std::vector<logicalDrive_progress>& previous,
                                         unsigned int controllerID) {
    std::vector<ReferenceTask> tasks;
    for (const logicalDrive_progress& entry : previous) {
        const Progress& task = entry.progress;
        if (task.getDeviceAddr().controllerID != controllerID) continue;
        tasks.push_back({task.getDeviceAddr(), static_cast<unsigned int>(entry.logicalDrive),
                         task.getType(), task.getPercent()});
    }
    return tasks;
}

// Those of the first "ProgressCollection" of the stored snapshot; none without a snapshot.
std::vector<ReferenceTask> storedTasks(const RaidObject* snapshot, unsigned int controllerID) {
    std::vector<ReferenceTask> tasks;
    if (snapshot == nullptr) return tasks;
    const auto isCollection = [](const RaidObject* child) {
        return child != nullptr && child->isInstanceOf("ProgressCollection");
    };
    const std::vector<RaidObject*>& children = snapshot->getChildren();
    const auto collection = std::find_if(children.begin(), children.end(), isCollection);
    if (collection == children.end()) return tasks;
    for (const RaidObject* child : (*collection)->getChildren()) {
        if (child == nullptr || !child->isInstanceOf("Progress")) continue;
        const auto* stored = static_cast<const QELProgress*>(child);
        if (stored->addr.controllerID != controllerID) continue;
        tasks.push_back({stored->addr, stored->addr.logicalDriveID,
                         static_cast<int>(stored->taskType),
                         static_cast<int>(stored->percentageComplete)});
    }
    return tasks;
}

// Which events follow, in their order: what moved, what stopped, what began.
class TaskComparison {
public:
    // With `stored` a task counts as the same only when its type is the same too. Between polls a
    // task that changed its type is still the one task of its drive, and neither stopped nor began.
    TaskComparison(const std::vector<DriveTask>& drivesIN,
                   const std::vector<ReferenceTask>& referencesIN, bool stored)
        : drives(drivesIN), references(referencesIN), sameType(stored) {}

    std::vector<Finding> moved() const {
        std::vector<Finding> found;
        for (const DriveTask& now : drives) {
            const ReferenceTask* before = referenceOf(now);
            if (before == nullptr || before->percent == now.task.getPercent()) continue;
            add(found, now.drive, taskRow(now.task.getType(), &TaskRow::running),
                {NLSParser::itoa(now.task.getPercent(), 10)});
        }
        return found;
    }

    // Only on drives that answered: of a drive that is gone, or whose query failed, nothing is
    // known.
    std::vector<Finding> stopped() const {
        std::vector<Finding> found;
        for (const ReferenceTask& before : references) {
            const bool runs = std::any_of(drives.begin(), drives.end(), [&](const DriveTask& now) {
                return areSame(now, before);
            });
            if (runs) continue;
            const auto place = std::find_if(drives.begin(), drives.end(), [&](const DriveTask& d) {
                return d.drive->addr.logicalDriveID == before.logicalDriveID;
            });
            if (place == drives.end()) continue;
            add(found, place->drive, taskRow(before.type, &TaskRow::stopped), {});
        }
        return found;
    }

    std::vector<Finding> detected() const {
        std::vector<Finding> found;
        for (const DriveTask& now : drives) {
            if (now.task.getType() == kTaskNone || now.task.getStatus() == kTaskFinished) continue;
            if (referenceOf(now) != nullptr) continue;
            add(found, now.drive, taskRow(now.task.getType(), &TaskRow::detected), {});
        }
        return found;
    }

private:
    static void add(std::vector<Finding>& found, LogicalDrive* drive, EventRow const* row,
                    std::vector<std::string> more) {
        if (row != nullptr) found.push_back({drive, row, std::move(more)});
    }

    bool areSame(const DriveTask& now, const ReferenceTask& before) const {
        return now.task.getType() != kTaskNone && now.address.IsEqual(before.address) &&
               (!sameType || now.task.getType() == before.type);
    }

    const ReferenceTask* referenceOf(const DriveTask& now) const {
        const auto place =
            std::find_if(references.begin(), references.end(),
                         [&](const ReferenceTask& before) { return areSame(now, before); });
        return place == references.end() ? nullptr : &*place;
    }

    const std::vector<DriveTask>& drives;
    const std::vector<ReferenceTask>& references;
    bool sameType;
};

std::vector<LogicalDrive*> logicalDrivesOf(const VantAdapter& adapter) {
    std::vector<RaidObject*> objects;
    adapter.getChildren(objects, "LogicalDrive", true, true);
    std::vector<LogicalDrive*> drives;
    drives.reserve(objects.size());
    for (RaidObject* object : objects) drives.push_back(static_cast<LogicalDrive*>(object));
    return drives;
}

}  // namespace

void VantRaidMonitor::checkProgress(bool report, QELEventCollection& events,
                                    VantAdapter* newAdapterIN, bool useStored) {
    logTrace("Entering checkProgress(AdapterID=%d)\n",
             newAdapterIN == nullptr ? Addr::kNotSet : newAdapterIN->addr.controllerID);
    if (newAdapterIN == nullptr) {
        logError("ERROR: VantRaidMonitor::CheckProgress newAdapterIN is NULL\n");
        return;
    }
    const unsigned int controllerID = newAdapterIN->addr.controllerID;
    // A controller that came back into service was collected earlier in the same poll.
    dropProgress(ldProgressNew, controllerID);

    std::vector<DriveTask> drives;
    for (LogicalDrive* drive : logicalDrivesOf(*newAdapterIN)) {
        Progress task;
        if (!queryTask(*newAdapterIN, drive, task)) continue;
        const Addr& address = task.getDeviceAddr();
        drives.push_back({drive, useStored ? asStored(address) : address, task});
        if (task.getType() == kTaskNone) continue;
        ldProgressNew.push_back(
            {newAdapterIN, static_cast<int>(drive->addr.logicalDriveID), 1, task});
    }

    const std::vector<ReferenceTask> references =
        useStored ? storedTasks(configBuilder->getSystem(), controllerID)
                  : previousTasks(ldProgressOld, controllerID);
    const TaskComparison comparison(drives, references, useStored);
    const auto raise = [&](const std::vector<Finding>& found) {
        for (const Finding& finding : found) {
            raiseTaskEvent(events, newAdapterIN, finding.drive, *finding.row, finding.more);
        }
    };
    raise(comparison.moved());
    // Between polls the controller's own records tell what began and what ended; saying it here
    // as well would say it twice.
    if (!report) return;
    raise(comparison.stopped());
    raise(comparison.detected());
}

// False, after a line in the log, when nothing can be said about the drive.
bool VantRaidMonitor::queryTask(const VantAdapter& adapter, LogicalDrive* drive, Progress& task) {
    if (drive == nullptr) {
        logError("ERROR: VantRaidMonitor::CheckProgress ld is NULL\n");
        return false;
    }
    if (drive->getAdapter() == nullptr) {
        logError("ERROR: VantRaidMonitor::CheckProgress ld->Adapter is NULL\n");
        return false;
    }
    const Addr address =
        Addr::ofLogicalDrive(adapter.addr.controllerID, drive->addr.logicalDriveID);
    ProgressCollection tasks;
    if (vantLib == nullptr || vantLib->getTasks(address, tasks).status != Ret::kOk) {
        logError("ERROR: getTasks unsuccessfull\n");
        return false;
    }
    // A copy: the collection dies with this call.
    if (tasks.getProgress(0) != nullptr) task = *tasks.getProgress(0);
    return true;
}

void VantRaidMonitor::compareProgress(QELEventCollection& events, VantAdapter* vantAdapterNewIN,
                                      std::vector<VantEvent>& controllerEvents) {
    logTrace("Entering compareProgress(AdapterID=%d)\n",
             vantAdapterNewIN == nullptr ? Addr::kNotSet : vantAdapterNewIN->addr.controllerID);
    if (vantAdapterNewIN == nullptr) {
        logError("ERROR: VantRaidMonitor::compareProgress--vantAdapterNewIN is NULL\n");
        return;
    }
    std::vector<std::pair<std::string, LogicalDrive*>> paths;
    for (LogicalDrive* drive : logicalDrivesOf(*vantAdapterNewIN)) {
        std::string path;
        if (drive == nullptr) {
            logError("ERROR: VantRaidMonitor::compareProgress--ld is NULL\n");
        } else if (!printPath(drive->addr, path)) {
            logError("ERROR: getPath(logicalDrive) unsuccessfull\n");
        } else {
            paths.emplace_back(path, drive);
        }
    }
    const Addr controller = Addr::ofController(vantAdapterNewIN->addr.controllerID);
    for (const VantEvent& record : controllerEvents) {
        if (record.senseKey != kTaskRecord) continue;
        std::string path;
        if (!printPath(controller, path)) {
            logError("ERROR: getPath(Adapter) unsuccessfull\n");
            continue;
        }
        path += record.ldPath;  // task records name the drive from its controller on
        const auto match = std::find_if(paths.begin(), paths.end(),
                                        [&](const auto& entry) { return entry.first == path; });
        const EventRow* row = recordRow(record.additionalSenseCode);
        if (match == paths.end() || row == nullptr) continue;
        raiseTaskEvent(events, vantAdapterNewIN, match->second, *row,
                       {NLSParser::itoa(record.additionalSenseCode, 16)});
    }
}

void VantRaidMonitor::raiseTaskEvent(QELEventCollection& events, VantAdapter* adapter,
                                     LogicalDrive* drive, const EventRow& row,
                                     const std::vector<std::string>& more) {
    std::vector<std::string> args{getEventID(drive)};
    args.insert(args.end(), more.begin(), more.end());
    QELEvent event = makeEvent(row, args);
    event.objectType = QELEvent::kLogicalDrive;
    event.location.controllerID = adapter->addr.controllerID;
    event.location.logicalDriveID = drive->addr.logicalDriveID;
    event.setAdapterSerial(adapter);
    events.addEvent(event);
}

void VantRaidMonitor::setProgress() {
    progressCollection->deleteAllChildren();
    for (const logicalDrive_progress& entry : ldProgressNew) {
        auto* stored = new QELProgress;
        stored->build(&entry.progress);
        progressCollection->addChild(stored);
    }
}

// --- the two lists, by controller number: the adapters in them may be gone ---

void VantRaidMonitor::rotateProgress(unsigned int controllerID) {
    dropProgress(ldProgressOld, controllerID);
    std::copy_if(ldProgressNew.begin(), ldProgressNew.end(), std::back_inserter(ldProgressOld),
                 [controllerID](const logicalDrive_progress& entry) {
                     return entry.progress.getDeviceAddr().controllerID == controllerID;
                 });
    dropProgress(ldProgressNew, controllerID);
}

// Nothing else would: they would be stored for ever, and pass for the tasks of the next controller
// of that number.
void VantRaidMonitor::dropVanishedProgress() {
    const auto isGone = [this](const logicalDrive_progress& entry) {
        return std::none_of(
            oldAdapters.begin(), oldAdapters.end(), [&entry](const Data_Adapter& known) {
                return known.adapter != nullptr && known.adapter->addr.controllerID ==
                                                       entry.progress.getDeviceAddr().controllerID;
            });
    };
    for (auto* list : {&ldProgressOld, &ldProgressNew}) {
        list->erase(std::remove_if(list->begin(), list->end(), isGone), list->end());
    }
}

void VantRaidMonitor::dropProgress(std::vector<logicalDrive_progress>& list,
                                   unsigned int controllerID) {
    list.erase(std::remove_if(list.begin(), list.end(),
                              [controllerID](const logicalDrive_progress& entry) {
                                  return entry.progress.getDeviceAddr().controllerID ==
                                         controllerID;
                              }),
               list.end());
}
