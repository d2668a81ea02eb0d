#include "monitor/BaseRaidMonitor.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "events/QELEventCollection.h"
#include "monitor/EngineFile.h"
#include "monitor/EventRows.h"
#include "monitor/TextArguments.h"
#include "snapshot/QELConfigBuilder.h"
#include "snapshot/QELProgressCollection.h"
#include "util/Clock.h"

void* configFile = nullptr;

void dllSafeDeleteRAIDMON(void* block) { std::free(block); }

namespace {

constexpr std::uint32_t kErrorsMask = kDebugError;
constexpr std::uint32_t kEventsMask = 0xff0000;
constexpr std::uint32_t kEverythingMask = 0xffffff;

std::string orDefault(const std::string& name, const char* standard) {
    return name.empty() ? std::string(standard) : name;
}

}  // namespace

BaseRaidMonitor::BaseRaidMonitor(StorLibPlugin* plugin, std::string debugLogName,
                                 std::string eventLogName, std::string snapshotName)
    : startTime(0) {
    setQELPath();
    (void)create_directory();  // its result is kept in logDirStatus
    openFiles(debugLogName, eventLogName, snapshotName, false, plugin);
}

BaseRaidMonitor::BaseRaidMonitor(StorLibPlugin* plugin, std::string debugLogName,
                                 std::string eventLogName, std::string snapshotName,
                                 std::string explicitLogPath)
    : startTime(0) {
    setQELPath();
    setQELLogPath(std::move(explicitLogPath));
    openFiles(debugLogName, eventLogName, snapshotName, true, plugin);
}

void BaseRaidMonitor::openFiles(const std::string& debugLogName, const std::string& eventLogName,
                                const std::string& snapshotName, bool explicitLogs,
                                StorLibPlugin* plugin) {
    runStart = Clock::current().now();
    startTime = static_cast<std::time_t>(runStart);
    const std::string logs = logDirectory(explicitLogs);
    debugLog.reset(std::fopen((logs + orDefault(debugLogName, "QELDebug.log")).c_str(), "a+"));
    // Before the mask is set: only a second monitor of the same process can write this line.
    if (plugin == nullptr) {
        logError(
            "ERROR: BaseRaidMonitor::BaseRaidMonitor Error constructing. StorLibPlugin handle is "
            "NULL!!!\n");
    }
    storLib = plugin;
    setDebugFlag(kDebugLevelErrors);

    const std::string catalogue = libPath + "RaidNLS.properties";
    if (!EngineFile::canBeOpened(catalogue)) {
        logError(
            "ERROR: BaseRaidMonitor::BaseRaidMonitor() NLS File (%s) not found. Creating an empty "
            "file.\n",
            catalogue.c_str());
        // Where it cannot be created, one that is put there later is found all the same.
        EngineFile::createEmpty(catalogue);
    }
    nls.resetParser(catalogue);

    readConfig();
    eventCollection = std::make_unique<QELEventCollection>(
        logs + orDefault(eventLogName, "QELEvents.log"), eventQueueSize, kEventProgress);
    configBuilder =
        std::make_unique<QELConfigBuilder>(libPath + orDefault(snapshotName, "QELConfig.xml"));
    progressCollection = new QELProgressCollection;
    setDebugFlag(static_cast<EnumDebugQEL>(debugLevel));
}

BaseRaidMonitor::~BaseRaidMonitor() = default;

bool BaseRaidMonitor::isStopped() const { return stopped; }

int BaseRaidMonitor::getEvents(QELEvent* out, int n) {
    if (out == nullptr || !eventCollection || n < 1) return 0;
    std::vector<QELEvent> taken = eventCollection->getEvents(n);
    std::copy(std::make_move_iterator(taken.begin()), std::make_move_iterator(taken.end()), out);
    return static_cast<int>(taken.size());
}

std::vector<QELEvent> BaseRaidMonitor::getEvents(int n) {
    if (!eventCollection) return {};
    return n == 0 ? eventCollection->getAllEvents() : eventCollection->getEvents(n);
}

int BaseRaidMonitor::getNumberOfEvents() const {
    return eventCollection ? eventCollection->getNumberOfEvents() : 0;
}

EnumEventType BaseRaidMonitor::getEventTypeLevel() {
    if (eventCollection) return eventCollection->getEventTypeLevel();
    logError("ERROR: BaseRaidMonitor::getEventTypeLevel() EventCollection is NULL!!\n");
    return kEventTask;
}

bool BaseRaidMonitor::setEventTypeLevel(EnumEventType level) {
    if (eventCollection) return eventCollection->setEventTypeLevel(level);
    logError("ERROR: BaseRaidMonitor::setEventTypeLevel() EventCollection is NULL!!\n");
    return false;
}

void BaseRaidMonitor::setDebugFlag(EnumDebugQEL level) {
    if (level == kDebugLevelErrors) setDebugMask(kErrorsMask);
    if (level == kDebugLevelEvents) setDebugMask(kEventsMask);
    if (level == kDebugLevelAll) setDebugMask(kEverythingMask);
}

void BaseRaidMonitor::getCurrentEvents(QELEventCollection& events) { return poll(0, events); }

// Families without anything of their own to compare, to name or to keep leave these as they are.
void BaseRaidMonitor::compareRelativeChanges(Adapter*, Adapter*) {}

void BaseRaidMonitor::compareRelativeChanges(HardDrive*, HardDrive*) {}

void BaseRaidMonitor::compareRelativeChanges(LogicalDrive*, LogicalDrive*) {}

void BaseRaidMonitor::setProgress() {}

std::string BaseRaidMonitor::getLogicalName(LogicalDrive*) { return std::string(); }

QELEvent BaseRaidMonitor::makeEvent(const EventRow& row, const std::vector<std::string>& args) {
    // A text without arguments takes the plain look-up, which substitutes nothing.
    return QELEvent(row.code, row.severity,
                    row.argumentCount == 0 ? nls.get(row.key) : localise(row.key, args),
                    row.eventId);
}

std::string BaseRaidMonitor::localise(const char* key, const std::vector<std::string>& args) {
    std::string text = nls.get(key);
    nls.replacePhraseStrings(text);
    NLSParser::parse(text, TextArguments::canFill(text, args) ? args : TextArguments::inert(args));
    return text;
}

std::int64_t BaseRaidMonitor::elapsedSeconds() const { return Clock::current().now() - runStart; }
