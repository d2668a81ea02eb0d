// The poll cycle: read event logs, refresh, pair adapters, compare, raise, write the snapshot.
#include "monitor/VantRaidMonitor.h"

#include <algorithm>

#include "events/QELEventCollection.h"
#include "events/VantEventCollection.h"
#include "monitor/EventRows.h"
#include "snapshot/QELConfigBuilder.h"
#include "snapshot/QELSystem.h"
#include "storlib/Channel.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/VantAdapter.h"
#include "storlib/VantLib.h"
#include "util/Clock.h"

namespace {

// Results of compareAdapter() that decide what is compared next.
constexpr int kControllerStatusFailed = 1;
constexpr int kNewAdapter = 10;
constexpr int kReplacedAdapter = 11;

bool isSameController(const Adapter& a, const Adapter& b) {
    return a.pciBus == b.pciBus && a.pciDevice == b.pciDevice && a.pciFunction == b.pciFunction;
}

// The first entry of the same controller becomes matched and is returned; null when there is none.
template <class Entry>
Entry* matchEntry(std::vector<Entry>& entries, const Adapter& adapter) {
    for (Entry& entry : entries) {
        if (entry.adapter == nullptr || !isSameController(*entry.adapter, adapter)) continue;
        entry.status = 1;
        return &entry;
    }
    return nullptr;
}

int channelNumber(const HardDrive& drive) {
    const Channel* channel = drive.getChannel();
    return static_cast<int>(channel == nullptr ? Addr::kNotSet : channel->addr.channelID);
}

}  // namespace

void VantRaidMonitor::poll(int type, QELEventCollection& events) {
    logTrace("Entering poll(type=%d)\n", type);
    if (storLib == nullptr) return;  // nothing to watch, and no snapshot to spoil
    if (type == kCheckConfig) {
        checkConfig(events);
    } else {
        compareConfig(events);
    }
}

// --- what changed since the previous run ---

void VantRaidMonitor::checkConfig(QELEventCollection& events) {
    logTrace("\tin CHECK_CONFIG\n");
    logTrace("\told Adaptersize=%d\n\n", static_cast<int>(oldAdapters.size()));
    if (configBuilder->getSystem() == nullptr) {
        logError("ERROR: VantRaidMonitor::poll() stored system config NULL in CHECK_CONFIG\n");
    } else {
        collectStoredAdapters();
        ldProgressNew.clear();
        for (const Data_Adapter& entry : newAdapters) {
            if (entry.adapter == nullptr) {
                logError(
                    "ERROR: VantRaidMonitor::poll() newAdapterList adapter NULL while comparing "
                    "adapters in CHECK_CONFIG\n");
                continue;
            }
            checkAgainstStored(events, entry.adapter);
        }
        setProgress();
        reportRemovedSinceLastRun(events);
        storedAdapters.clear();
    }
    logTrace("Dumping the new system config...\n");
    writeFreshSnapshot();
    newBecomesOld();
    logTrace("Cleaning up after CHECK_CONFIG.\n");
}

void VantRaidMonitor::collectStoredAdapters() {
    // An earlier poll that an exception ended may have left entries of a tree that is gone.
    storedAdapters.clear();
    for (RaidObject* child : configBuilder->getSystem()->getChildren()) {
        if (child == nullptr || !child->isInstanceOf("Adapter")) {
            // Always once: the stored tasks stand beside the controllers.
            logError(
                "ERROR: VantRaidMonitor::poll() object is NULL or not an Adapter in "
                "CHECK_CONFIG\n");
            continue;
        }
        StoredData_Adapter entry;
        entry.adapter = static_cast<Adapter*>(child);
        storedAdapters.push_back(entry);
    }
}

void VantRaidMonitor::checkAgainstStored(QELEventCollection& events, VantAdapter* adapter) {
    // A stored controller has no place in the event log to hand over: these are thrown away.
    int unusedSequence = 0;
    std::vector<VantEvent> unusedEvents;
    Adapter* stored = findStoredAdapter(adapter, unusedSequence, unusedEvents);
    if (compareAdapter(events, adapter, stored) == kNewAdapter) {
        examineNewAdapter(events, adapter);
        return;
    }
    comparePhysicalDrives(events, adapter, stored);
    compareLogicalDrives(events, adapter, stored);
    checkProgress(true, events, adapter, true);
    compareSafte(events, adapter, stored);
}

void VantRaidMonitor::reportRemovedSinceLastRun(QELEventCollection& events) {
    for (const StoredData_Adapter& entry : storedAdapters) {
        if (entry.status != 0) continue;
        QELEvent event = makeEvent(rows::kControllerRemoved, {getEventID(entry.adapter)});
        event.objectType = QELEvent::kAdapter;
        event.location.controllerID = entry.adapter->addr.controllerID;
        event.setAdapterSerial(entry.adapter);
        events.addEvent(event);
    }
}

// --- what changed since the previous poll ---

void VantRaidMonitor::compareConfig(QELEventCollection& events) {
    logTrace("\tin COMPARE_CONFIG\n");
    logTrace("\tsize of old adapter list--%d\n", static_cast<int>(oldAdapters.size()));
    followClock();
    readEventLogs(events);
    if (!configNeedsRefresh()) return;
    setProgress();  // the refresh writes the snapshot, and the next run compares tasks with it
    if (!refreshConfig(false)) return;
    for (std::size_t i = 0; i < newAdapters.size(); ++i) {
        compareNewAdapter(events, newAdapters[i], static_cast<int>(i));
    }
    reportDisappeared(events);
    newBecomesOld();
}

// A clock that is set back would keep refreshes and reminders away until it has caught up, perhaps
// for a day: the start of the run goes back with it.
void VantRaidMonitor::followClock() {
    const std::int64_t now = Clock::current().now();
    if (now < lastSeen) {
        auto began = static_cast<std::time_t>(runStart);
        runStart -= lastSeen - now;
        // Not the 0 that stop() leaves.
        (void)startTime.compare_exchange_strong(began, static_cast<std::time_t>(runStart));
    }
    lastSeen = now;
}

void VantRaidMonitor::readEventLogs(QELEventCollection& events) {
    dropVanishedProgress();
    for (std::size_t i = 0; i < oldAdapters.size(); ++i) {
        Data_Adapter& entry = oldAdapters[i];
        logTrace("\tcalling getEvents for for oldAdapter =%d\n",
                 entry.adapter == nullptr ? Addr::kNotSet : entry.adapter->addr.controllerID);
        if (entry.adapter == nullptr) {
            logError(
                "\tVantRaidMonitor::poll()::COMPARE_CONFIG::AdapterListOld[%d].pVantAdapterAdapter "
                "is NULL\n",
                static_cast<int>(i));
            continue;
        }
        entry.events.clear();  // a failing log must not report the last poll's events again
        if (!readControllerEvents(entry, entry.events)) {
            logError("ERROR: getEvents failed\n");
            continue;
        }
        if (!entry.events.empty()) {
            entry.lastSequence = static_cast<int>(entry.events.back().sequence);
        }
        rotateProgress(entry.adapter->addr.controllerID);
        checkProgress(false, events, entry.adapter, false);
    }
}

void VantRaidMonitor::compareNewAdapter(QELEventCollection& events, Data_Adapter& entry,
                                        int index) {
    if (entry.adapter == nullptr) {
        logError(
            "ERROR: VantRaidMonitor::poll()::COMPARE_CONFIG::AdapterListNew[%d].pVantAdapter\n",
            index);
        return;
    }
    int sequence = 0;
    std::vector<VantEvent> oldEvents;
    VantAdapter* old = findOldAdapter(entry.adapter, sequence, oldEvents);
    if (old != nullptr) {
        // Not the pairing status: a mark carried along would hide the next removal.
        entry.lastSequence = sequence;
        entry.events = std::move(oldEvents);
    }
    const int result = compareAdapter(events, entry.adapter, old);
    if (result == kNewAdapter || result == kReplacedAdapter) {
        logTrace("\tnewAdapter status is REPLACED_ADAPTER or  NEW_ADAPTER\n");
        examineNewAdapter(events, entry.adapter);
    } else if (result == kControllerStatusFailed) {
        // Not an answer that compareAdapter() gives: a controller that has just failed has its
        // parts compared like any other. The branch stays, so that the answer keeps its meaning.
        logTrace("\tnewAdapter status is CONTROLLER_STATUS_FAILED\n");
    } else if (old == nullptr) {
        logError("ERROR: VantRaidMonitor::poll()::COMPARE_CONFIG::oldAdapter is NULL\n");
    } else {
        comparePhysicalDrives(events, entry.adapter, old);
        compareLogicalDrives(events, entry.adapter, old);
        compareProgress(events, entry.adapter, entry.events);
        compareSafte(events, entry.adapter, old);
        checkTranslateEvents(events, entry.adapter, entry.events);
    }
}

void VantRaidMonitor::examineNewAdapter(QELEventCollection& events, VantAdapter* adapter) {
    checkAdapter(events, adapter);
    checkPhysicalDrives(events, adapter);
    checkLogicalDrives(events, adapter);
    checkProgress(true, events, adapter, false);
    checkSafte(events, adapter);
}

void VantRaidMonitor::reportDisappeared(QELEventCollection& events) {
    for (const Data_Adapter& entry : oldAdapters) {
        if (entry.status != 0 || entry.adapter == nullptr) continue;
        QELEvent event = makeEvent(rows::kControllerFailed, {getEventID(entry.adapter)});
        event.setAdapterSerial(entry.adapter);
        event.objectType = QELEvent::kAdapter;
        event.location.controllerID = entry.adapter->addr.controllerID;
        events.addEvent(event);
    }
}

void VantRaidMonitor::newBecomesOld() {
    systemOld = systemNew;
    oldAdapters = newAdapters;
    oldTree = systemNew;
}

// --- pairing ---

Adapter* VantRaidMonitor::findStoredAdapter(Adapter* newAdapterIN, int& lastSequence,
                                            std::vector<VantEvent>& events) {
    if (newAdapterIN == nullptr) {
        logError("ERROR: VantRaidMonitor::findStoredAdapter newAdapterIN is NULL!!!\n");
        return nullptr;
    }
    StoredData_Adapter* entry = matchEntry(storedAdapters, *newAdapterIN);
    if (entry == nullptr) return nullptr;
    lastSequence = entry->lastSequence;
    events = entry->events;
    return entry->adapter;
}

VantAdapter* VantRaidMonitor::findOldAdapter(VantAdapter* newAdapterIN, int& lastSequence,
                                             std::vector<VantEvent>& events) {
    logTrace("Entering findOldAdapter \n");
    if (newAdapterIN == nullptr) {
        logError("ERROR: VantRaidMonitor::newAdapterIN is NULL\n");
        return nullptr;
    }
    Data_Adapter* entry = matchEntry(oldAdapters, *newAdapterIN);
    if (entry == nullptr) return nullptr;
    lastSequence = entry->lastSequence;
    events = entry->events;
    return entry->adapter;
}

// --- refreshing ---

// When due, leaves the absolute time in lastRefresh. refreshConfig() follows at once and stores
// the elapsed time, which is what the next check sees; nobody else may call this.
bool VantRaidMonitor::isTimeToRefreshConfig() {
    logTrace("Entering isTimeToRefreshConfig\n");
    const std::int64_t elapsed = elapsedSeconds();
    const bool due = forceRefresh || lastRefresh == 0 ||
                     (elapsed >= refreshInterval && elapsed - lastRefresh >= refreshInterval);
    if (due) lastRefresh = Clock::current().now();
    return due;
}

bool VantRaidMonitor::configNeedsRefresh() {
    const bool due = isTimeToRefreshConfig();  // always asked, also when there are events
    return due || std::any_of(oldAdapters.begin(), oldAdapters.end(),
                              [](const Data_Adapter& entry) { return !entry.events.empty(); });
}

bool VantRaidMonitor::refreshConfig(bool readStored) {
    logTrace("Entering refreshConfig\n");
    if (storLib == nullptr) {
        logError("ERROR: ERROR--loading library\n");
        return false;
    }
    // Also for a reading that fails or throws: the absolute time that a due check has left in
    // lastRefresh would keep every later refresh away.
    struct Stamp {
        VantRaidMonitor& monitor;
        ~Stamp() {
            monitor.forceRefresh = false;
            monitor.lastRefresh = monitor.elapsedSeconds();
        }
    } const stamp{*this};
    return initialize(readStored);
}

// --- the family's share in the comparisons: it looks, and finds nothing to add ---

RaidObject* VantRaidMonitor::findPD(HardDrive* hardDrive, Adapter* adapter) {
    return BaseRaidMonitor::findPD(hardDrive, adapter);
}

void VantRaidMonitor::compareRelativeChanges(VantAdapter* newAdapterIN, VantAdapter* oldAdapterIN) {
    if (newAdapterIN == nullptr || oldAdapterIN == nullptr) {
        logError("ERROR: VantRaidMonitor::compareRelativeChanges AdapterIN NULL!!!");
        return;
    }
    logTrace("Entering compareRelativeChanges for newAdapterID=%d and newAdapterID=%d\n",
             newAdapterIN->addr.controllerID, oldAdapterIN->addr.controllerID);
}

void VantRaidMonitor::compareRelativeChanges(LogicalDrive* logicalDriveNew,
                                             LogicalDrive* logicalDriveOld) {
    if (logicalDriveNew == nullptr || logicalDriveOld == nullptr) {
        logError("ERROR: VantRaidMonitor::compareRelativeChanges::LogicalDriveIN NULL!!!");
        return;
    }
    logTrace(
        "\tEnteringVantRaidMonitor::compareRelativeChangesLD,newLogicalDrive(A=%d,LD=%d),"
        "oldLogicalDrive(A=%d,LD%d)\n",
        logicalDriveNew->addr.controllerID, logicalDriveNew->addr.logicalDriveID,
        logicalDriveOld->addr.controllerID, logicalDriveOld->addr.logicalDriveID);
    if (logicalDriveNew->getAdapter() == nullptr) {
        logError(
            "ERROR: VantRaidMonitor::compareRelativeChanges::newLogicalDriveIN->getAdapter() is "
            "NULL!!!");
        return;
    }
    if (logicalDriveOld->getAdapter() == nullptr) {
        logError(
            "ERROR: VantRaidMonitor::compareRelativeChanges::oldLogicalDriveIN->getAdapter() is "
            "NULL!!!");
    }
}

void VantRaidMonitor::compareRelativeChanges(HardDrive* hardDriveNew, HardDrive* hardDriveOld) {
    if (hardDriveNew == nullptr || hardDriveOld == nullptr) {
        logError("ERROR: VantRaidMonitor::compareRelativeChanges hardDrvIN NULL!!!");
        return;
    }
    logTrace(
        "\tEntering VantRaidMonitor::compareRelativeChangesHD(hardDriveNew(C=%d,D=%d),"
        "hardDriveOld(C=%d,D=%d)\n",
        channelNumber(*hardDriveNew), hardDriveNew->addr.deviceID, channelNumber(*hardDriveOld),
        hardDriveOld->addr.deviceID);
}
