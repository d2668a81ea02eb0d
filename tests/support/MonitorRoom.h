// MonitorRoom: what a monitor under test lives in: an empty folder for its files, a catalogue that
// shows every argument, a clock that stands still, a machine, and a library on it.
//
//   MonitorRoom room;
//   room.machine.addController(1);
//   VantUnderTest monitor(room.lib());
//   monitor.poll(0, monitor.queue());
//   EXPECT_EQ((std::vector<int>{207, 299}), room.codes(monitor));
#ifndef TESTS_SUPPORT_MONITORROOM_H
#define TESTS_SUPPORT_MONITORROOM_H

#include <memory>
#include <string>
#include <vector>

#include "events/QELEventCollection.h"
#include "monitor/EventRows.h"
#include "monitor/PhraseKeys.h"
#include "monitor/VantRaidMonitor.h"
#include "snapshot/QELConfigBuilder.h"
#include "storlib/VantLib.h"
#include "storlib/sources/MemorySource.h"
#include "tests/support/Machine.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

// The monitor with its protected parts in reach.
class VantUnderTest : public VantRaidMonitor {
public:
    explicit VantUnderTest(VantLib* lib) : VantRaidMonitor(lib) {}
    VantUnderTest(VantLib* lib, const std::string& logs) : VantRaidMonitor(lib, logs) {}

    QELEventCollection& queue() { return *eventCollection; }
    QELConfigBuilder& builder() { return *configBuilder; }

    // Where the family's data members lie, in the order in which hosts know them, after the last
    // that the base has before its own additions.
    std::vector<const void*> places() const {
        return {&progressCollection, &systemNew,    &systemOld,   &lastRefresh,
                &refreshInterval,    &newAdapters,  &oldAdapters, &storedAdapters,
                &ldProgressOld,      &ldProgressNew};
    }

    using BaseRaidMonitor::alarmEnabled;
    using BaseRaidMonitor::debugLevel;
    using BaseRaidMonitor::driveCheckFlag;
    using BaseRaidMonitor::eventCollection;
    using BaseRaidMonitor::eventQueueSize;
    using BaseRaidMonitor::forceRefresh;
    using BaseRaidMonitor::lastBadStripeReport;
    using BaseRaidMonitor::lastCriticalLogicalDrivesReport;
    using BaseRaidMonitor::lastSasDriveMapReport;
    using BaseRaidMonitor::lastUnsupportedDrivesReport;
    using BaseRaidMonitor::libPath;
    using BaseRaidMonitor::logDirStatus;
    using BaseRaidMonitor::pollInterval;
    using BaseRaidMonitor::progressCollection;
    using BaseRaidMonitor::running;
    using BaseRaidMonitor::startTime;
    using BaseRaidMonitor::stopped;
    using VantRaidMonitor::lastRefresh;
    using VantRaidMonitor::ldProgressNew;
    using VantRaidMonitor::ldProgressOld;
    using VantRaidMonitor::newAdapters;
    using VantRaidMonitor::oldAdapters;
    using VantRaidMonitor::refreshInterval;
    using VantRaidMonitor::storedAdapters;
    using VantRaidMonitor::systemNew;
    using VantRaidMonitor::systemOld;
};

class MonitorRoom {
public:
    MonitorRoom() {
        BaseRaidMonitor::useFolder(dir.folder());
        dir.write("RaidNLS.properties", catalogueOfKeys());
        dir.write("QELConfig.conf", "qel.debugMask=0\n");
        auto made = std::make_unique<MemorySource>(machine.builder());
        memory = made.get();
        library = std::make_unique<VantLib>(std::move(made));
    }
    ~MonitorRoom() {
        BaseRaidMonitor::useFolder("");
        setDebugMask(0);
    }
    MonitorRoom(const MonitorRoom&) = delete;
    MonitorRoom& operator=(const MonitorRoom&) = delete;

    VantLib* lib() { return library.get(); }
    MemorySource& source() { return *memory; }

    // What the monitor does to the debug log from now on: everything, or only errors.
    void debugEverything() { dir.write("QELConfig.conf", "qel.debugMask=2\n"); }

    // The debug log without the times, one message per line.
    std::string debugLog(const std::string& name = "qavelogs/QELVANTDebug.log") const {
        return withoutTimes(dir.read(name));
    }

    static std::string withoutTimes(const std::string& log) {
        std::string messages;
        std::string::size_type at = 0;
        constexpr std::string::size_type kPrefix = 28;  // "[" time "]" and two blanks
        while (at < log.size()) {
            const bool stamped = log[at] == '[' && log.size() > at + kPrefix && log[at + 25] == ']';
            if (stamped) at += kPrefix;
            const std::string::size_type end = log.find('\n', at);
            if (end == std::string::npos) {
                messages += log.substr(at);
                break;
            }
            messages += log.substr(at, end - at + 1);
            at = end + 1;
        }
        return messages;
    }

    int countInLog(const std::string& text) const {
        const std::string log = debugLog();
        int count = 0;
        for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    // Drains the monitor and returns the codes, oldest first.
    static std::vector<int> codes(VantRaidMonitor& monitor) {
        std::vector<int> found;
        for (const QELEvent& event : monitor.getEvents(0)) found.push_back(event.eventCode);
        return found;
    }

    // key=key({0}|{1}|...) for every event and phrase, with as many arguments as it can receive.
    static std::string catalogueOfKeys() {
        std::string text;
        for (const EventRow* row : rows::kAllEventRows) {
            if (row->key[0] != 0) text += line(row->key, row->argumentCount);
        }
        for (const PhraseKey* phrase : phrases::kAllPhraseKeys) {
            text += line(phrase->key, phrase->argumentCount);
        }
        return text;
    }

    TempDir dir;
    ManualClock clock;
    Machine machine;

private:
    static std::string line(const char* key, int arguments) {
        std::string text = std::string(key) + "=" + key + "(";
        for (int i = 0; i < arguments; ++i) {
            text += (i == 0 ? "{" : "|{") + std::to_string(i) + "}";
        }
        return text + ")\n";
    }

    MemorySource* memory = nullptr;
    std::unique_ptr<VantLib> library;
};

#endif  // TESTS_SUPPORT_MONITORROOM_H
