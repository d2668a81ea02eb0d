// Logical drives that came, went, lost redundancy or data, or are blocked.
#include "monitor/BaseRaidMonitor.h"

#include <functional>

#include "events/QELEventCollection.h"
#include "monitor/EventRows.h"
#include "storlib/Adapter.h"
#include "storlib/Channel.h"
#include "storlib/LogicalDrive.h"
#include "storlib/PhysicalDevice.h"
#include "storlib/ProgressCollection.h"
#include "storlib/StorLibPlugin.h"

namespace {

using Arguments = std::vector<std::string>;
using EventMaker = std::function<QELEvent(const EventRow&, const Arguments&)>;

// By RAID level. The low half names the kind of redundancy: none, mirrored, parity, double parity;
// the top digit marks an array of arrays. Levels 3 and 4 stand among those without redundancy, and
// level 12 has a family although it has no text: hosts know the masks so.
constexpr std::uint32_t kRaidFamilies[] = {
    0x0000000F, 0x000000F0, 0x000000F0, 0x0000000F, 0x0000000F, 0x00000F00,
    0x00000F00, 0x00000F00, 0xF000000F, 0xF00000F0, 0xF00000F0, 0xF0000F00,
    0xF0000F00, 0x0000000F, 0x0000000F, 0x0000000F, 0x0000F000, 0xF000F000,
};

// Null for an empty place and for an object of another kind.
LogicalDrive* asLogicalDrive(RaidObject* object) {
    if (object == nullptr || !object->isInstanceOf("LogicalDrive")) return nullptr;
    return static_cast<LogicalDrive*>(object);
}

std::vector<RaidObject*> logicalDrivesOf(const Adapter& adapter) {
    std::vector<RaidObject*> drives;
    adapter.getChildren(drives, "LogicalDrive", true, true);
    return drives;
}

unsigned int adapterNumber(const Adapter* adapter) {
    return adapter == nullptr ? Addr::kNotSet : adapter->addr.controllerID;
}

// --- deciding ---

bool isCritical(int state) {
    return state == kLogicalDegraded || state == kLogicalRebuilding ||
           state == kLogicalCriticalHidden;
}

bool isHidden(int state) { return state == kLogicalHidden || state == kLogicalCriticalHidden; }

// Free, optimal and resyncing: changes among them are no news.
bool isQuiet(int state) {
    return state == kLogicalFree || state == kLogicalOptimal || state == kLogicalResyncing;
}

bool isNews(int newState, int oldState) {
    return newState != oldState && !(isQuiet(newState) && isQuiet(oldState));
}

// A number that falls free counts as a deleted drive, just as one that is taken counts as added.
bool fellFree(int newState, int oldState) {
    return newState != oldState && newState == kLogicalFree;
}

// Severity of the state itself. A rebuilding drive is told as information although it counts as
// critical everywhere else: hosts filter first looks by severity, and help is under way.
const EventRow& stateRow(int state) {
    if (state == kLogicalOffline) return rows::kLogicalStateOffline;
    if (state == kLogicalDegraded || state == kLogicalCriticalHidden) {
        return rows::kLogicalStateCritical;
    }
    return rows::kLogicalState;
}

// What is wrong in a state by itself; null when nothing is.
const EventRow* faultRow(int state) {
    if (state == kLogicalOffline) return &rows::kLogicalOffline;
    return isCritical(state) ? &rows::kLogicalCritical : nullptr;
}

// The same after a change: one critical state after another is no news.
const EventRow* changedFaultRow(int newState, int oldState) {
    if (isCritical(newState) && isCritical(oldState)) return nullptr;
    return faultRow(newState);
}

bool returnedToNormal(int newState, int oldState) {
    return newState == kLogicalOptimal && oldState != kLogicalResyncing;
}

const EventRow& blockRow(bool isBlocked) {
    return isBlocked ? rows::kLogicalBlocked : rows::kLogicalUnblocked;
}

// --- raising ---

// The events of one call; all name the new adapter, also those of drives that are gone.
class Report {
public:
    Report(BaseRaidMonitor& owner, EventMaker eventMaker, QELEventCollection& collection,
           Adapter& subject)
        : monitor(owner), make(std::move(eventMaker)), events(collection), adapter(subject) {}

    void raise(const EventRow& row, LogicalDrive& drive) {
        raise(row, drive, {monitor.getEventID(&drive)});
    }

    void raise(const EventRow* row, LogicalDrive& drive) {  // null: nothing
        if (row != nullptr) raise(*row, drive);
    }

    // With what there is to know about the new drive, and how it is.
    void raiseAdded(LogicalDrive& drive) {
        raise(rows::kLogicalAdded, drive,
              {monitor.getEventID(&drive), monitor.getSize(&drive), monitor.getRaidLevel(&drive),
               monitor.getQuickInit(&drive)});
        monitor.checkLogicalDrive(events, &adapter, &drive);
    }

private:
    void raise(const EventRow& row, LogicalDrive& drive, const Arguments& args) {
        QELEvent event = make(row, args);
        event.objectType = QELEvent::kLogicalDrive;
        event.location.controllerID = adapter.addr.controllerID;
        event.location.logicalDriveID = drive.addr.logicalDriveID;
        event.setAdapterSerial(&adapter);
        events.addEvent(event);
    }

    BaseRaidMonitor& monitor;
    EventMaker make;
    QELEventCollection& events;
    Adapter& adapter;
};

void reportStateChange(Report& report, LogicalDrive& drive, int newState, int oldState) {
    if (!isNews(newState, oldState)) return;
    report.raise(rows::kLogicalState, drive);
    report.raise(changedFaultRow(newState, oldState), drive);
    if (oldState == kLogicalFree) {
        report.raiseAdded(drive);
    } else if (returnedToNormal(newState, oldState)) {
        report.raise(rows::kLogicalNormal, drive);
    }
}

void reportBlockedAccess(Report& report, LogicalDrive& drive, bool isBlocked, bool wasBlocked) {
    if (isBlocked == wasBlocked) return;
    report.raise(rows::kLogicalState, drive);
    report.raise(blockRow(isBlocked), drive);
}

// Drives of the old adapter that the new one has no more.
void reportDeleted(BaseRaidMonitor& monitor, Report& report, Adapter& newAdapter,
                   Adapter& oldAdapter) {
    for (RaidObject* object : logicalDrivesOf(oldAdapter)) {
        LogicalDrive* oldDrive = asLogicalDrive(object);
        if (oldDrive == nullptr) {
            monitor.logError(
                "ERROR: BaseRaidMonitor::compareLogicalDrives oldLD is NULL while checking for "
                "removed LD's!!!\n");
            continue;
        }
        if (!monitor.isValidLogicalDrive(&oldAdapter, oldDrive)) continue;
        if (isHidden(oldDrive->getState())) continue;
        const LogicalDrive* newDrive = asLogicalDrive(monitor.findLD(oldDrive, &newAdapter));
        if (newDrive == nullptr || fellFree(newDrive->getState(), oldDrive->getState())) {
            report.raise(rows::kLogicalDeleted, *oldDrive);
        }
    }
}

// A drive that is there and was there before.
void reportChanges(BaseRaidMonitor& monitor, Report& report, LogicalDrive& newDrive,
                   LogicalDrive& oldDrive) {
    reportStateChange(report, newDrive, newDrive.getState(), oldDrive.getState());
    monitor.compareRelativeChanges(&newDrive, &oldDrive);
    reportBlockedAccess(report, newDrive, newDrive.getBlockedAccess(), oldDrive.getBlockedAccess());
}

bool isAnythingRunning(StorLibPlugin* library, const Addr& address) {
    if (library == nullptr) return false;
    ProgressCollection tasks;
    (void)library->getTasks(address, tasks);  // what cannot be asked for does not run
    return tasks.getProgressCount() >= 1;
}

}  // namespace

RaidObject* BaseRaidMonitor::findLD(LogicalDrive* logicalDrive, Adapter* adapter) {
    if (adapter == nullptr) logError("ERROR: BaseRaidMonitor::findLD adapter is NULL!!!\n");
    if (logicalDrive == nullptr) {
        logError("ERROR: BaseRaidMonitor::findLD logicalDrive is NULL!!!\n");
    }
    if (adapter == nullptr || logicalDrive == nullptr) return nullptr;
    return adapter->getObject(adapter->addr.controllerID, Addr::kNotSet,
                              logicalDrive->addr.logicalDriveID, Addr::kNotSet, Addr::kNotSet);
}

bool BaseRaidMonitor::isValidLogicalDrive(Adapter* adapter, LogicalDrive* logicalDrive) {
    if (adapter == nullptr || logicalDrive == nullptr) {
        logError("ERROR: BaseRaidMonitor::isValidLogicalDrive object is NULL!!!\n");
        return false;
    }
    // Numbers count from 0, so the limit itself is one too many; it is admitted on purpose, because
    // some controllers give the highest number and not the count.
    const auto limit = static_cast<unsigned int>(adapter->getLimit(kLimitLogicalDrives));
    if (logicalDrive->addr.logicalDriveID <= limit) return true;
    logTrace("       Discarding logical drive as spurious (&ecIN, LD: %d) State = %d.\n",
             static_cast<int>(logicalDrive->addr.logicalDriveID), logicalDrive->getState());
    return false;
}

void BaseRaidMonitor::compareLogicalDrives(QELEventCollection& ecIN, Adapter* newAdapterIN,
                                           Adapter* oldAdapterIN) {
    if (newAdapterIN == nullptr || oldAdapterIN == nullptr) {
        logError("ERROR: BaseRaidMonitor::compareLogicalDrives adapter is NULL!!!\n");
        return;
    }
    logTrace("   Entering compareLogicalDrives(&ecIN, ADPT: %d)\n",
             static_cast<int>(newAdapterIN->addr.controllerID));
    Report report(
        *this, [this](const EventRow& row, const Arguments& args) { return makeEvent(row, args); },
        ecIN, *newAdapterIN);
    reportDeleted(*this, report, *newAdapterIN, *oldAdapterIN);

    int criticalCount = 0;
    LogicalDrive* lastListed = nullptr;
    for (RaidObject* object : logicalDrivesOf(*newAdapterIN)) {
        LogicalDrive* newDrive = asLogicalDrive(object);
        if (newDrive == nullptr) {
            logError(
                "ERROR: BaseRaidMonitor::compareLogicalDrives newLD is NULL while comparing!!!\n");
            continue;
        }
        lastListed = newDrive;
        if (!isValidLogicalDrive(newAdapterIN, newDrive)) continue;
        if (isHidden(newDrive->getState())) continue;
        LogicalDrive* oldDrive = asLogicalDrive(findLD(newDrive, oldAdapterIN));
        if (oldDrive == nullptr) {
            report.raiseAdded(*newDrive);
            continue;
        }
        if (isCritical(newDrive->getState())) ++criticalCount;
        reportChanges(*this, report, *newDrive, *oldDrive);
    }

    // Asked at every comparison, so the interval runs whether or not a drive is critical, and a
    // drive that turns critical is reminded of only after the next one. The reminder names the last
    // drive in the list, critical or not: it speaks for the controller.
    const bool isDue = isTimeToReportCriticalLogicalDrives();
    if (isDue && criticalCount > 0) report.raise(rows::kCriticalReminder, *lastListed);
}

void BaseRaidMonitor::checkLogicalDrives(QELEventCollection& ecIN, Adapter* adapterIN) {
    if (adapterIN == nullptr) {
        logError("ERROR: BaseRaidMonitor::checkLogicalDrives adapterIN is NULL!!!\n");
        return;
    }
    logTrace("   Entering checkLogicalDrives(&ecIN, ADPT: %d)\n",
             static_cast<int>(adapterIN->addr.controllerID));
    for (RaidObject* object : logicalDrivesOf(*adapterIN)) {
        LogicalDrive* drive = asLogicalDrive(object);
        if (drive == nullptr) {
            logError("ERROR: BaseRaidMonitor::checkLogicalDrives LD is NULL!!!\n");
        } else if (isValidLogicalDrive(adapterIN, drive)) {
            checkLogicalDrive(ecIN, adapterIN, drive);
        }
    }
}

void BaseRaidMonitor::checkLogicalDrive(QELEventCollection& ecIN, Adapter* adapterIN,
                                        LogicalDrive* logicalDrive) {
    if (adapterIN == nullptr || logicalDrive == nullptr) return;
    const int state = logicalDrive->getState();
    logTrace("       Entering checkLogicalDrive(&ecIN, LD: %d) State = %d.\n",
             static_cast<int>(logicalDrive->addr.logicalDriveID), state);
    Report report(
        *this, [this](const EventRow& row, const Arguments& args) { return makeEvent(row, args); },
        ecIN, *adapterIN);
    report.raise(stateRow(state), *logicalDrive);
    report.raise(faultRow(state), *logicalDrive);
    if (logicalDrive->getBlockedAccess()) report.raise(rows::kLogicalBlocked, *logicalDrive);
}

bool BaseRaidMonitor::isTaskRunning(PhysicalDevice* device) {
    // A drive in an array works for the array, whose tasks are not its own.
    if (device == nullptr || device->state != kDriveReady) return false;
    const Channel* channel = device->getChannel();
    return isAnythingRunning(
        storLib, Addr::ofDevice(adapterNumber(device->getAdapter()),
                                channel == nullptr ? Addr::kNotSet : channel->addr.channelID,
                                device->addr.deviceID));
}

bool BaseRaidMonitor::isTaskRunning(LogicalDrive* logicalDrive) {
    if (logicalDrive == nullptr) return false;
    return isAnythingRunning(storLib,
                             Addr::ofLogicalDrive(adapterNumber(logicalDrive->getAdapter()),
                                                  logicalDrive->addr.logicalDriveID));
}

std::uint32_t BaseRaidMonitor::getRaidFamily(LogicalDrive* logicalDrive) {
    if (logicalDrive == nullptr) return 0;
    const auto level = static_cast<std::size_t>(logicalDrive->getRaidLevel());
    return level < std::size(kRaidFamilies) ? kRaidFamilies[level] : 0;
}
