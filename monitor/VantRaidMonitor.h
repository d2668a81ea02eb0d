// VantRaidMonitor: the monitor for controllers of the Vant family, on a VantLib handle.
//
//   VantRaidMonitor monitor(lib.get());
//   std::thread loop([&] { monitor.start(); });        // returns after stop()
//   for (const QELEvent& e : monitor.getEvents(0)) puts(e.toString().c_str());
//   monitor.stop();
//   loop.join();
//
// One poll is one straight road: read the controllers' event logs, refresh the configuration when
// due, pair new adapters with old ones, compare, raise, write the snapshot. See poll() in
// VantRaidMonitorPoll.cpp.
//
// Construction reads the configuration and the stored snapshot; a malformed snapshot file throws
// SimpleXmlException. A host that finds no controller (getControllerCount() is 0) although there
// should be some calls initialize(true) again before start(), or the stored snapshot is replaced
// by an empty one.
#ifndef MONITOR_VANTRAIDMONITOR_H
#define MONITOR_VANTRAIDMONITOR_H

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "events/VantEvent.h"
#include "monitor/BaseRaidMonitor.h"
#include "storlib/Progress.h"
#include "storlib/RefSystem.h"

class QELProgress;
class VantAdapter;
class VantLib;

// What the monitor keeps of one controller between polls.
struct Data_Adapter {
    int lastSequence = 0;            // of the last controller event read
    VantAdapter* adapter = nullptr;  // borrowed from the tree; null for a foreign controller
    int status = 0;                  // 1: matched by a controller of the new configuration
    std::vector<VantEvent> events;   // read in the current poll
};

// The same for a controller of the stored snapshot.
struct StoredData_Adapter {
    int lastSequence = 0;
    Adapter* adapter = nullptr;  // borrowed from the snapshot tree
    int status = 0;
    std::vector<VantEvent> events;
};

// One running task. The adapter may be gone when a record serves as reference: use its numbers.
struct logicalDrive_progress {
    VantAdapter* adapter = nullptr;
    int logicalDrive = 0;
    int flag = 0;  // 1
    Progress progress;
};

class VantRaidMonitor : public BaseRaidMonitor {
public:
    static constexpr int kCheckConfig = 0;    // poll type: compare with the stored snapshot
    static constexpr int kCompareConfig = 1;  // poll type: compare with the previous poll

    explicit VantRaidMonitor(VantLib* lib);                // borrowed, may be null
    VantRaidMonitor(VantLib* lib, std::string logPathIN);  // the logs in that folder
    ~VantRaidMonitor();

    // --- virtual operations ---
    RaidObject* findPD(HardDrive* hardDrive, Adapter* adapter) override;
    void compareRelativeChanges(HardDrive* hardDriveNew, HardDrive* hardDriveOld) override;
    void compareRelativeChanges(LogicalDrive* logicalDriveNew,
                                LogicalDrive* logicalDriveOld) override;
    void setProgress() override;
    void poll(int type, QELEventCollection& events) override;
    void run() override;
    void stop() override;
    void start() override;

    // Takes the family's own type, so it stands beside the virtual adapter operation, which keeps
    // the base behaviour. Intended: adapters have nothing of the family to compare.
    void compareRelativeChanges(VantAdapter* newAdapterIN, VantAdapter* oldAdapterIN);
    using BaseRaidMonitor::compareRelativeChanges;

    // --- lifecycle: VantRaidMonitor.cpp ---
    // Reads the configuration into the new adapter list; with `readStored` reads the stored
    // snapshot, otherwise replaces it. False when the library cannot read.
    bool initialize(bool readStored);
    int getControllerCount() const { return static_cast<int>(newAdapters.size()); }

    // --- poll cycle: VantRaidMonitorPoll.cpp ---
    Adapter* findStoredAdapter(Adapter* newAdapterIN, int& lastSequence,
                               std::vector<VantEvent>& events);
    VantAdapter* findOldAdapter(VantAdapter* newAdapterIN, int& lastSequence,
                                std::vector<VantEvent>& events);
    bool isTimeToRefreshConfig();
    bool configNeedsRefresh();
    bool refreshConfig(bool readStored);

    // --- task progress: VantRaidMonitorProgress.cpp ---
    // Collects the running tasks of the adapter's logical drives into ldProgressNew and reports
    // percent changes against the previous poll, or with `useStored` against the snapshot; with
    // `report` also which tasks began or ended.
    void checkProgress(bool report, QELEventCollection& events, VantAdapter* newAdapterIN,
                       bool useStored);
    void compareProgress(QELEventCollection& events, VantAdapter* vantAdapterNewIN,
                         std::vector<VantEvent>& controllerEvents);

    // --- controller event translation: VantRaidMonitorTranslation.cpp ---
    void checkTranslateEvents(QELEventCollection& events, VantAdapter* adapter,
                              std::vector<VantEvent> controllerEvents);

protected:
    RefSystem systemNew;
    RefSystem systemOld;
    std::int64_t lastRefresh = 0;  // seconds since startTime; see isTimeToRefreshConfig()
    int refreshInterval = 60;      // seconds
    std::vector<Data_Adapter> newAdapters;
    std::vector<Data_Adapter> oldAdapters;
    std::vector<StoredData_Adapter> storedAdapters;
    std::vector<logicalDrive_progress> ldProgressOld;
    std::vector<logicalDrive_progress> ldProgressNew;

private:
    void construct();
    void discardLoggedEvents();
    bool readControllerEvents(const Data_Adapter& entry, std::vector<VantEvent>& found);
    void beginRun();
    bool claimLoop();
    void leaveLoop();
    void storePaths();

    void checkConfig(QELEventCollection& events);
    void collectStoredAdapters();
    void checkAgainstStored(QELEventCollection& events, VantAdapter* adapter);
    void reportRemovedSinceLastRun(QELEventCollection& events);
    void writeFreshSnapshot();

    void compareConfig(QELEventCollection& events);
    void followClock();
    void readEventLogs(QELEventCollection& events);
    void compareNewAdapter(QELEventCollection& events, Data_Adapter& entry, int index);
    void reportDisappeared(QELEventCollection& events);
    void newBecomesOld();
    void examineNewAdapter(QELEventCollection& events, VantAdapter* adapter);

    // Moves the controller's tasks from the current to the previous poll.
    void rotateProgress(unsigned int controllerID);
    // Forgets the tasks of controllers that are no longer watched.
    void dropVanishedProgress();
    static void dropProgress(std::vector<logicalDrive_progress>& list, unsigned int controllerID);
    bool queryTask(const VantAdapter& adapter, LogicalDrive* drive, Progress& task);
    // `more` follows the drive's phrase among the text arguments.
    void raiseTaskEvent(QELEventCollection& events, VantAdapter* adapter, LogicalDrive* drive,
                        const EventRow& row, const std::vector<std::string>& more);

    // One record of a controller's log, as an event of each drive that its path names.
    void translateEvent(QELEventCollection& events, VantAdapter* adapter,
                        const VantEvent& controllerEvent, const EventRow& row);
    // The library path of `address` as text, at most 47 characters; false when there is none.
    bool printPath(const Addr& address, std::string& text);

    // The library handle with the family's own operations; the same object as storLib.
    VantLib* vantLib = nullptr;
    // Keeps the tree alive that oldAdapters points into: between construction and the first
    // comparison nothing else refers to it.
    RefSystem oldTree;
    // A start() has not yet left its loop; a second one is refused until it has.
    std::atomic<bool> active{false};
    // Time of the last poll, or of the start of the run before the first.
    std::int64_t lastSeen = 0;
};

#endif  // MONITOR_VANTRAIDMONITOR_H
