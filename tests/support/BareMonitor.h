// BareMonitor: the monitor engine without a family: it polls nothing, and a test calls the
// comparisons, checks, timers and phrases directly. BareRoom is what it lives in: an empty folder
// for its files, a catalogue that shows key and arguments of every text, a clock that stands still
// and a queue that takes everything.
//
//   BareRoom room;
//   BareMonitor monitor;
//   monitor.checkAdapter(room.events, adapter.get());
//   EXPECT_EQ("299/3", summary(room.events.getAllEvents()));
//
// The catalogue has "key=key[{0}][{1}]..." with as many arguments as a text can get; shown() says
// what such a text looks like. The room must be made before the monitor.
#ifndef TESTS_SUPPORT_BAREMONITOR_H
#define TESTS_SUPPORT_BAREMONITOR_H

#include <string>
#include <vector>

#include "events/QELEventCollection.h"
#include "monitor/BaseRaidMonitor.h"
#include "monitor/EventRows.h"
#include "monitor/PhraseKeys.h"
#include "snapshot/QELProgressCollection.h"
#include "tests/support/EventText.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

class BareMonitor : public BaseRaidMonitor {
public:
    explicit BareMonitor(StorLibPlugin* plugin = nullptr) : BaseRaidMonitor(plugin, "", "", "") {}
    ~BareMonitor() { delete progressCollection; }  // the base leaves it to whoever derives

    void poll(int, QELEventCollection&) override {}
    void run() override {}
    void stop() override {}
    void start() override {}

    // As if a new run began now; the times of the last reports stay.
    void restart() { runStart = Clock::current().now(); }

    using BaseRaidMonitor::badStripeInterval;
    using BaseRaidMonitor::criticalLogicalDrivesInterval;
    using BaseRaidMonitor::driveCheckFlag;
    using BaseRaidMonitor::elapsedSeconds;
    using BaseRaidMonitor::eventCollection;
    using BaseRaidMonitor::lastBadStripeReport;
    using BaseRaidMonitor::lastCriticalLogicalDrivesReport;
    using BaseRaidMonitor::lastSasDriveMapReport;
    using BaseRaidMonitor::lastUnsupportedDrivesReport;
    using BaseRaidMonitor::makeEvent;
    using BaseRaidMonitor::nls;
    using BaseRaidMonitor::sasDriveMapInterval;
    using BaseRaidMonitor::unsupportedDrivesInterval;
};

class BareRoom {
public:
    BareRoom() {
        BaseRaidMonitor::useFolder(dir.folder());
        dir.write("RaidNLS.properties", catalogue());
        dir.write("QELConfig.conf", "qel.debugMask=0\n");
    }
    ~BareRoom() {
        BaseRaidMonitor::useFolder("");
        setDebugMask(0);
    }
    BareRoom(const BareRoom&) = delete;
    BareRoom& operator=(const BareRoom&) = delete;

    // What was queued since the last call, whole or as codes with severities.
    std::vector<QELEvent> take() { return events.getAllEvents(); }
    std::string takeSummary() { return summary(take()); }

    // What was written to the debug log since the last call, without the times.
    std::string takeDebugLog() {
        const std::string log = dir.read("qavelogs/QELDebug.log");
        std::string messages;
        constexpr std::size_t kPrefix = 28;  // "[", the time, "]", two blanks
        while (debugLogRead < log.size()) {
            const bool stamped = log[debugLogRead] == '[' && log.size() >= debugLogRead + kPrefix &&
                                 log[debugLogRead + 25] == ']';
            if (stamped) debugLogRead += kPrefix;
            const std::size_t end = log.find('\n', debugLogRead);
            const std::size_t next = end == std::string::npos ? log.size() : end + 1;
            messages += log.substr(debugLogRead, next - debugLogRead);
            debugLogRead = next;
        }
        return messages;
    }

    // Replaces the text of one key, or adds it.
    void setText(const std::string& key, const std::string& text) {
        dir.write("RaidNLS.properties", key + "=" + text + "\n" + catalogue());
    }
    // Takes a key out of the catalogue.
    void forget(const std::string& key) {
        std::string text = catalogue();
        const std::size_t at = text.find(key + "=");
        text.erase(at, text.find('\n', at) + 1 - at);
        dir.write("RaidNLS.properties", text);
    }

    TempDir dir;
    ManualClock clock;
    QELEventCollection events{"", 100000, kEventAll};

private:
    static std::string catalogue() {
        std::string text;
        for (const EventRow* row : rows::kAllEventRows) text += line(row->key, row->argumentCount);
        for (const PhraseKey* phrase : phrases::kAllPhraseKeys) {
            text += line(phrase->key, phrase->argumentCount);
        }
        return text;
    }
    static std::string line(const std::string& key, int arguments) {
        if (key.empty()) return key;
        std::string text = key + "=" + key;
        for (int i = 0; i < arguments; ++i) text += "[{" + std::to_string(i) + "}]";
        return text + "\n";
    }

    std::size_t debugLogRead = 0;
};

// The text of `key` in a BareRoom's catalogue, with these arguments.
inline std::string shown(const std::string& key, const std::vector<std::string>& arguments = {}) {
    std::string text = key;
    for (const std::string& argument : arguments) text += "[" + argument + "]";
    return text;
}

#endif  // TESTS_SUPPORT_BAREMONITOR_H
