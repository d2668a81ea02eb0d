// BaseRaidMonitor: the monitor engine: settings, logs, catalogue, event queue, snapshot file, and
// the comparisons that turn two configurations into events. A family monitor derives from it and
// brings the poll cycle (VantRaidMonitor).
//
// Ownership  The storage library is the caller's and must outlive the monitor. Objects of its
//            trees are borrowed for the call. Queue, catalogue, logs and snapshot file are ours.
// Threads    One monitoring thread constructs, starts, polls and destroys. Any other thread may
//            call getEvents, getNumberOfEvents, stop, isStopped, setDebugFlag, getEventTypeLevel
//            and setEventTypeLevel at any time. Everything else belongs to the monitoring thread,
//            or to times when no loop runs.
// Errors     Bool, status integers, Ret; one line in the debug log where something is given up.
//            Nothing is caught: a malformed snapshot or catalogue line leaves through the caller
//            with the monitor in order, and it may be started again.
// Units      Times in seconds, sizes as their names say. "Not set" is Addr::kNotSet.
//
// Very large: its operations are defined in several files, named in the headings below.
//
// The virtual operations and the data members stand in a fixed order that hosts rely on.
#ifndef MONITOR_BASERAIDMONITOR_H
#define MONITOR_BASERAIDMONITOR_H

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "events/EnumEventType.h"
#include "events/QELEvent.h"
#include "nls/NLSParser.h"
#include "util/DebugFlag.h"

class Adapter;
class Channel;
class Enclosure;
class HardDrive;
class LogicalDrive;
class PhysicalDevice;
class QELConfigBuilder;
class QELEventCollection;
class QELProgressCollection;
class RaidObject;
class SES2EnclosureDevice;
class SESElement;
class StorLibPlugin;
enum EnumSESStatusCodes : int;
struct EnclosureFinding;
struct EventPair;
struct EventRow;

// Argument of setDebugFlag(). Other values pass through and change nothing.
enum EnumDebugQEL : int {
    kDebugLevelErrors = 0,  // errors only
    kDebugLevelEvents = 1,  // and every offered event, into the event log
    kDebugLevelAll = 2,     // and function entry, progress, construction
};

extern "C" {
// For hosts; the library itself does not use it.
extern __attribute__((visibility("default"))) void* configFile;
// Releases a malloc() block that the library handed out, so that a host never frees across heaps.
// Null is allowed.
__attribute__((visibility("default"))) void dllSafeDeleteRAIDMON(void* block);
}

class BaseRaidMonitor {
public:
    BaseRaidMonitor(const BaseRaidMonitor&) = delete;
    BaseRaidMonitor& operator=(const BaseRaidMonitor&) = delete;

    // --- virtual operations: the order is fixed ---
    virtual void compareRelativeChanges(Adapter* newAdapterIN, Adapter* oldAdapterIN);
    virtual RaidObject* findPD(HardDrive* hardDrive, Adapter* adapter);
    virtual void compareRelativeChanges(HardDrive* hardDriveNew, HardDrive* hardDriveOld);
    virtual RaidObject* findLD(LogicalDrive* logicalDrive, Adapter* adapter);
    virtual void compareRelativeChanges(LogicalDrive* logicalDriveNew,
                                        LogicalDrive* logicalDriveOld);
    virtual void setProgress();
    virtual void poll(int type, QELEventCollection& events) = 0;
    virtual void run() = 0;
    virtual void stop() = 0;
    virtual void start() = 0;
    // The user's name of a logical drive; "" here, for families that have names to override.
    virtual std::string getLogicalName(LogicalDrive* logicalDrive);

    // --- host interface: BaseRaidMonitor.cpp ---
    // True when no loop runs, and also while start() is still at its first poll: it does not
    // replace joining the thread that called start(). Once it turns true after a stop(), the
    // monitor may be started again or destroyed.
    bool isStopped() const;
    // Moves up to n queued events into the caller's array, oldest first; returns how many. 0, and
    // the queue untouched, for a null array or n below 1.
    int getEvents(QELEvent* out, int n);
    std::vector<QELEvent> getEvents(int n);  // n oldest, all when n is 0
    int getNumberOfEvents() const;
    EnumEventType getEventTypeLevel();            // 4 without a queue
    bool setEventTypeLevel(EnumEventType level);  // 1 to 7; false for others
    void setDebugFlag(EnumDebugQEL level);
    void getCurrentEvents(QELEventCollection& events);  // one poll of type 0 into `events`

    // --- paths, settings, debug log: BaseRaidMonitorSettings.cpp ---
    // Where monitors constructed from now on keep their files (settings, catalogue, snapshot,
    // logs) instead of beside the library; "" means beside the library again. Any thread.
    static void useFolder(const std::string& folder);
    void setQELPath();  // where the loaded library lies, "./" when unknown
    void setQELLogPath(std::string newLogPath);
    // Takes texts from this catalogue from now on, for example another language's. A file that is
    // not there gives empty texts until it is. Monitoring thread only.
    void useCatalogue(const std::string& file) { nls.resetParser(file); }
    int create_directory();  // 0 when libPath + "qavelogs" is usable
    void readConfig();       // QELConfig.conf
    const std::string& getLibPath() const { return libPath; }
    int getOSLoggingLevel() const { return osLoggingLevel; }
    bool isAlarmEnabled() const { return alarmEnabled; }
    // Writes one line, whatever the mask; the message brings its own line end. logError and
    // logTrace write only when the mask asks for errors or for progress.
    void logDebugMsg(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void logError(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void logTrace(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // --- report timers: BaseRaidMonitorTimers.cpp ---
    bool isTimeToReportUnsupportedDrives();
    bool isTimeToReportCriticalLogicalDrives();
    bool isTimeToReportSASDriveMap();
    bool isTimeToReportBadStripe();

    // --- adapters: BaseRaidMonitorAdapters.cpp ---
    bool isBatteryCacheInstalled(Adapter* adapter);
    bool batteryStatusChangedToNormal(int newStatus, int oldStatus);
    bool checkBadStripes(Adapter* adapter);
    bool isAdapterOverTemparature(Adapter* adapter);
    // 10 new, 11 back in service, 12 the same and normal, 13 the same and not normal.
    int compareAdapter(QELEventCollection& ecIN, Adapter* newAdapterIN, Adapter* oldAdapterIN);
    void checkAdapter(QELEventCollection& ecIN, Adapter* adapterIN);

    // --- physical drives: BaseRaidMonitorPhysicalDrives.cpp ---
    bool isValidPhysicalDrive(Adapter* adapter, HardDrive* hardDrive);
    bool isVendorSupported(RaidObject* object);
    std::string trim(std::string& text);
    void comparePhysicalDrives(QELEventCollection& ecIN, Adapter* newAdapterIN,
                               Adapter* oldAdapterIN);
    void checkPhysicalDrives(QELEventCollection& ecIN, Adapter* adapterIN);
    void checkPhysicalDrive(QELEventCollection& ecIN, Adapter* adapterIN, HardDrive* hardDrive);

    // --- logical drives: BaseRaidMonitorLogicalDrives.cpp ---
    bool isValidLogicalDrive(Adapter* adapter, LogicalDrive* logicalDrive);
    void compareLogicalDrives(QELEventCollection& ecIN, Adapter* newAdapterIN,
                              Adapter* oldAdapterIN);
    void checkLogicalDrives(QELEventCollection& ecIN, Adapter* adapterIN);
    void checkLogicalDrive(QELEventCollection& ecIN, Adapter* adapterIN,
                           LogicalDrive* logicalDrive);
    bool isTaskRunning(PhysicalDevice* device);
    bool isTaskRunning(LogicalDrive* logicalDrive);
    std::uint32_t getRaidFamily(LogicalDrive* logicalDrive);

    // --- enclosures: BaseRaidMonitorEnclosures.cpp ---
    bool isSafteDataValid(Enclosure* enclosure);
    unsigned short getFanCount(Enclosure* enclosure);
    unsigned short getPowerSupplyCount(Enclosure* enclosure);
    int getFanStatus(Enclosure* enclosure, int index);          // 1 works, 2 failed, 3 missing
    int getPowerSupplyStatus(Enclosure* enclosure, int index);  // the same
    int getFanStatus(EnumSESStatusCodes status);
    int getPowerSupplyStatus(EnumSESStatusCodes status);
    SESElement* getSESElement(const std::vector<RaidObject*>& list, SESElement* element);
    void compareSafte(QELEventCollection& events, Adapter* newAdapterIN, Adapter* oldAdapterIN);
    void checkSafte(QELEventCollection& events, Adapter* adapterIN);
    void checkSafte(QELEventCollection& events, Adapter* adapterIN, Enclosure* enclosure);
    void checkSafte(QELEventCollection& events, Adapter* adapterIN, SES2EnclosureDevice* enclosure);

    // --- the SAS drive map: BaseRaidMonitorDriveMap.cpp ---
    void logSASDriveMap(QELEventCollection& events, Adapter* adapter);

    // --- phrases that name objects in event texts: BaseRaidMonitorPhrases.cpp ---
    std::string getEventID(Adapter* adapter);
    std::string getEventID(HardDrive* hardDrive);
    std::string getEventID(LogicalDrive* logicalDrive);
    std::string getEventID(Channel* channel);
    std::string getDetailedAdapterID(Adapter* adapter);
    std::string getReplacementID(PhysicalDevice* device);
    std::string getSize(LogicalDrive* logicalDrive);
    std::string getRaidLevel(LogicalDrive* logicalDrive);
    std::string getQuickInit(LogicalDrive* logicalDrive);

protected:
    // An empty file name takes the default: "QELDebug.log", "QELEvents.log", "QELConfig.xml".
    BaseRaidMonitor(StorLibPlugin* plugin, std::string debugLogName, std::string eventLogName,
                    std::string snapshotName);
    // The same with the logs in `explicitLogPath` (empty: beside the library).
    BaseRaidMonitor(StorLibPlugin* plugin, std::string debugLogName, std::string eventLogName,
                    std::string snapshotName, std::string explicitLogPath);
    // Not virtual, and therefore not for delete through the base.
    ~BaseRaidMonitor();

    // The event that a row describes, its text looked up with `args`.
    QELEvent makeEvent(const EventRow& row, const std::vector<std::string>& args);
    // Seconds since the run under way began, by the monitoring thread's own copy of startTime.
    std::int64_t elapsedSeconds() const;

    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    StorLibPlugin* storLib = nullptr;  // borrowed; may be null
    std::atomic<bool> running{false};
    std::atomic<bool> stopped{true};
    std::string libPath;  // ends in "/"
    std::string logPath;
    std::unique_ptr<std::FILE, CloseFile> debugLog;
    int pollInterval = 5;  // seconds
    std::atomic<std::time_t> startTime;
    std::atomic<bool> forceRefresh{true};
    // Each interval in seconds, directly before when the report was last given, in seconds since
    // startTime; 0 is "never".
    int unsupportedDrivesInterval = 30 * 86400;
    std::int64_t lastUnsupportedDrivesReport = 0;
    int criticalLogicalDrivesInterval = 8 * 3600;
    std::int64_t lastCriticalLogicalDrivesReport = 0;
    int sasDriveMapInterval = 86400;
    std::int64_t lastSasDriveMapReport = 0;
    int badStripeInterval = 8 * 3600;
    std::int64_t lastBadStripeReport = 0;
    bool driveCheckFlag = true;
    int eventQueueSize = 0;
    int debugLevel = 0;
    int osLoggingLevel = 3;
    bool alarmEnabled = false;
    int logDirStatus = -1;
    std::unique_ptr<QELEventCollection> eventCollection;
    NLSParser nls;
    std::unique_ptr<QELConfigBuilder> configBuilder;
    QELProgressCollection* progressCollection = nullptr;  // the family monitor releases it

    // Copy of startTime that only the monitoring thread touches: stop() may set startTime to 0 in
    // the middle of a poll, and the times stored by that poll must still make sense.
    std::int64_t runStart = 0;

private:
    void openFiles(const std::string& debugLogName, const std::string& eventLogName,
                   const std::string& snapshotName, bool explicitLogs, StorLibPlugin* plugin);
    std::string logDirectory(bool explicitLogs) const;
    // The catalogue's text for `key`. Names in `args` that would be inserted without end are made
    // harmless first.
    std::string localise(const char* key, const std::vector<std::string>& args);
    void writeDebugLine(const char* format, std::va_list arguments);
    void raiseEnclosureEvents(QELEventCollection& events, Adapter* adapter,
                              PhysicalDevice* enclosure,
                              const std::vector<EnclosureFinding>& found);
};

#endif  // MONITOR_BASERAIDMONITOR_H
