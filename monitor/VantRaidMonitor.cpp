// Construction, the host's calls and the loop. The poll cycle stands in VantRaidMonitorPoll.cpp.
#include "monitor/VantRaidMonitor.h"

#include <tuple>
#include <utility>
#include <vector>

#include "events/QELEventCollection.h"
#include "events/VantEventCollection.h"
#include "monitor/EventRows.h"
#include "snapshot/QELAdapter.h"
#include "snapshot/QELConfigBuilder.h"
#include "snapshot/QELHardDrive.h"
#include "snapshot/QELLogicalDrive.h"
#include "snapshot/QELProgressCollection.h"
#include "snapshot/QELSystem.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "storlib/VantLib.h"
#include "util/Clock.h"

namespace {

using Identity = std::tuple<int, int, int>;

Identity identityOf(const Adapter& adapter) {
    return {adapter.pciBus, adapter.pciDevice, adapter.pciFunction};
}

// Where each controller stands in its event log.
using Sequences = std::vector<std::pair<Identity, int>>;

Sequences sequencesOf(const std::vector<Data_Adapter>& entries) {
    Sequences sequences;
    for (const Data_Adapter& entry : entries) {
        if (entry.adapter == nullptr) continue;
        sequences.emplace_back(identityOf(*entry.adapter), entry.lastSequence);
    }
    return sequences;
}

// A controller that stays keeps its place in its event log, or what was discarded at construction
// would come back as news. Of another kind of object the entry is empty.
Data_Adapter entryOf(RaidObject* object, const Sequences& sequences) {
    Data_Adapter entry;
    if (object == nullptr || !object->isInstanceOf("VantAdapter")) return entry;
    entry.adapter = static_cast<VantAdapter*>(object);
    for (const auto& [identity, last] : sequences) {
        if (identity == identityOf(*entry.adapter)) entry.lastSequence = last;
    }
    return entry;
}

// Stores `path` in the copy that the snapshot holds of `object`; false when there is none.
template <class Copy>
bool storeInCopy(const QELSystem& snapshot, const RaidObject& object, char const* copyKind,
                 const std::string& path) {
    RaidObject* found = snapshot.getObject(object.addr);
    if (found == nullptr || !found->isInstanceOf(copyKind)) return false;
    static_cast<Copy*>(found)->LDPath = path;
    return true;
}

// The kinds of objects whose paths the snapshot holds, in the order in which they get them.
struct PathKind {
    char const* kind;
    char const* copyKind;
    bool (*store)(const QELSystem&, const RaidObject&, char const*, const std::string&);
    char const* missing;  // log line when there is no copy; null: passed over in silence
};

constexpr PathKind kPathKinds[] = {
    {"Adapter", "QELAdapter", storeInCopy<QELAdapter>, nullptr},
    {"HardDrive", "QELHardDrive", storeInCopy<QELHardDrive>,
     "VantRaidMonitor:: poll:: CHECK_CONFIG ::QELHardDrive is NULL\n"},
    {"LogicalDrive", "QELLogicalDrive", storeInCopy<QELLogicalDrive>,
     "VantRaidMonitor:: poll:: CHECK_CONFIG ::QELLogicalDrive is NULL\n"},
};

std::vector<RaidObject*> objectsOf(const RefSystem& system, char const* kind) {
    std::vector<RaidObject*> found;
    if (system.get() != nullptr) system->getChildren(found, kind, true, true);
    return found;
}

}  // namespace

VantRaidMonitor::VantRaidMonitor(VantLib* lib)
    : BaseRaidMonitor(lib, "QELVANTDebug.log", "QELVANTEvents.log", "QELVANTConfig.xml"),
      vantLib(lib) {
    if (debugOn(kDebugConstruct)) logDebugMsg("Constructing VantRaidMonitor\n");
    construct();
}

VantRaidMonitor::VantRaidMonitor(VantLib* lib, std::string logPathIN)
    : BaseRaidMonitor(lib, "QELVANTDebug.log", "QELVANTEvents.log", "QELVANTConfig.xml",
                      std::move(logPathIN)),
      vantLib(lib) {
    if (debugOn(kDebugConstruct)) {
        logDebugMsg("Constructing VantRaidMonitor(pVantLibIN, pVantLibIN)\n");
    }
    construct();
}

void VantRaidMonitor::construct() {
    try {
        (void)refreshConfig(true);  // a failure is logged; the host sees it by the controller count
        systemOld.Set(nullptr);
        discardLoggedEvents();
        oldAdapters = newAdapters;
    } catch (...) {
        delete progressCollection;  // the base leaves it to the family
        throw;
    }
    oldTree = systemNew;
    // Starts the timers at a time other than 0, which would count as never reported.
    Clock::current().sleepSeconds(1);
    (void)isTimeToReportUnsupportedDrives();
    (void)isTimeToReportCriticalLogicalDrives();
    (void)isTimeToReportSASDriveMap();
    (void)isTimeToReportBadStripe();
}

// What the controllers recorded before this monitor ran is not news.
void VantRaidMonitor::discardLoggedEvents() {
    for (std::size_t i = 0; i < newAdapters.size(); ++i) {
        Data_Adapter& entry = newAdapters[i];
        logTrace("\tcalling getEvents for newAdapter =%d in the constructor\n",
                 entry.adapter == nullptr ? Addr::kNotSet : entry.adapter->addr.controllerID);
        if (entry.adapter == nullptr) {
            logError("\tAdapter[%d] pointer NULL\n", static_cast<int>(i));
            continue;
        }
        entry.events.clear();
        if (!readControllerEvents(entry, entry.events)) {
            logError("ERROR: getEvents(Adapter=%d)failed\n", entry.adapter->addr.controllerID);
            continue;
        }
        if (entry.events.empty()) continue;
        entry.lastSequence = static_cast<int>(entry.events.back().sequence);
        // The number printed is the last sequence number; log readers take it as such.
        logTrace("\t%d events discarded initially\n", entry.lastSequence);
    }
}

// Asks for what comes after the entry's last sequence number; false when the library fails.
bool VantRaidMonitor::readControllerEvents(const Data_Adapter& entry,
                                           std::vector<VantEvent>& found) {
    // In 32 bits without a sign: a controller that has counted to the end wraps instead of
    // trapping.
    const auto next = static_cast<std::int32_t>(static_cast<std::uint32_t>(entry.lastSequence) + 1);
    char* buffer = nullptr;
    const Ret result =
        vantLib->getEvents(Addr::ofController(entry.adapter->addr.controllerID), next, buffer);
    const std::unique_ptr<char[]> owned(buffer);
    if (result.status != Ret::kOk) return false;
    found = VantEventCollection(buffer).getAllEvents();
    return true;
}

VantRaidMonitor::~VantRaidMonitor() {
    if (debugOn(kDebugConstruct)) logDebugMsg("Destructing RaidMonitor\n");
    delete progressCollection;
}

bool VantRaidMonitor::initialize(bool readStored) {
    logTrace("Entering initialize()\n");
    if (storLib == nullptr || storLib->getSystemConfig().status != Ret::kOk) {
        logError("ERROR: error refreshing the system\n");
        return false;
    }
    const Sequences sequences = sequencesOf(newAdapters);
    newAdapters.clear();
    systemNew.Set(storLib->getSystem());
    if (systemNew.get() == nullptr) logError("ERROR: SystemNew is NULL\n");

    // Before the snapshot, which may throw: the list is then in order all the same.
    std::vector<RaidObject*> adapters;
    if (systemNew.get() != nullptr) systemNew->getChildren(adapters, "Adapter", false, true);
    for (RaidObject* object : adapters) newAdapters.push_back(entryOf(object, sequences));

    if (readStored) {
        logTrace("VantRaidMonitor::Reading the stored system config...\n");
        configBuilder->readXML();
        if (configBuilder->damage() != nullptr) {
            logError(
                "ERROR: VantRaidMonitor::initialize() the stored system config %s; what it lacks "
                "counts as new\n",
                configBuilder->damage());
        }
    } else {
        logTrace("VantRaidMonitor::Dumping the new system config...\n");
        writeFreshSnapshot();
    }
    return true;
}

void VantRaidMonitor::writeFreshSnapshot() {
    configBuilder->build(systemNew.get(), progressCollection);
    storePaths();
    configBuilder->writeXML();
}

void VantRaidMonitor::storePaths() {
    const QELSystem* snapshot = configBuilder->getSystem();
    if (snapshot == nullptr) return;
    for (const PathKind& kind : kPathKinds) {
        for (const RaidObject* object : objectsOf(systemNew, kind.kind)) {
            if (object == nullptr) continue;
            std::string path;
            if (!printPath(object->addr, path)) {
                logError("ERROR: getPath(logicalDrive) unsuccessfull\n");
                continue;
            }
            const bool stored = kind.store(*snapshot, *object, kind.copyKind, path);
            if (!stored && kind.missing != nullptr) logError("%s", kind.missing);
        }
    }
}

void VantRaidMonitor::start() {
    logTrace("Entering VantRaidMonitor::start()\n");
    if (running || !claimLoop()) {
        logError("ERROR: VantRaidMonitor already running!!!!\n");
        return;
    }
    // Whatever throws below leaves a monitor that can be started again.
    struct Guard {
        VantRaidMonitor* monitor;
        ~Guard() {
            if (monitor != nullptr) monitor->leaveLoop();
        }
    } guard{this};

    running = true;
    beginRun();
    if (getControllerCount() == 0) {
        QELEvent event = makeEvent(rows::kNoControllers, {});
        eventCollection->addEvent(event);
    }
    getCurrentEvents(*eventCollection);
    if (storLib == nullptr) {
        run();
        return;  // nothing was looping: the guard only clears `running`
    }
    guard.monitor = nullptr;  // run() leaves by itself; after it the host may destroy the monitor
    run();
}

// The times of a run are kept in 64 bits also where time_t has 32 and startTime ends in 2038.
void VantRaidMonitor::beginRun() {
    const std::time_t began = startTime;
    if (began == 0) {
        runStart = Clock::current().now();
        startTime = static_cast<std::time_t>(runStart);
    } else if (static_cast<std::time_t>(runStart) != began) {
        runStart = began;
    }
    lastSeen = Clock::current().now();
}

// False while another start() is in, or on its way out: a caller that does not wait for
// isStopped() may find the place free an instant before the former loop says that it has ended.
bool VantRaidMonitor::claimLoop() {
    if (active.exchange(true)) return false;
    if (stopped) return true;
    active = false;
    return false;
}

// Order matters: once `stopped` reads true the host may start again or destroy the monitor, so
// that store is the last touch.
void VantRaidMonitor::leaveLoop() {
    running = false;
    active = false;
    stopped = true;
}

void VantRaidMonitor::run() {
    logTrace("Entering VantRaidMonitor :: run()\n");
    if (storLib == nullptr) return;
    stopped = false;
    struct Guard {
        VantRaidMonitor& monitor;
        ~Guard() { monitor.leaveLoop(); }
    } const guard{*this};

    bool looped = false;
    while (running) {
        looped = true;
        poll(kCompareConfig, *eventCollection);
        logTrace("sleeping\n");
        for (int second = 0; second < pollInterval && running; ++second) {
            Clock::current().sleepSeconds(1);
        }
        logTrace("QEL_awoke and re-reading config file\n");
        readConfig();
        eventCollection->setMaxSize(eventQueueSize);
        setDebugFlag(static_cast<EnumDebugQEL>(debugLevel));
    }
    // The poll that was under way when stop() came may have refreshed and forgotten these.
    if (looped) {
        forceRefresh = true;
        startTime = 0;
    }
    logTrace("Exiting VantRaidMonitor::run().\n\n");
}

void VantRaidMonitor::stop() {
    logTrace("VantRaidMonitor :: stop()\n");
    running = false;
    forceRefresh = true;
    startTime = 0;
}
