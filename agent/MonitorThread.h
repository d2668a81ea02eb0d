// MonitorThread: the engine at work on a thread of its own, kept going whatever happens to it.
//
//   MonitorThread monitor(lib, {});
//   while (!stop.waitFor(std::chrono::milliseconds(500))) show(monitor.take());
//   monitor.stop();
//   show(monitor.take());      // what the last poll found
//
// The thread constructs the monitor, waits until the machine can be read (a monitor that starts
// without having seen it would replace the stored snapshot by an empty one), and runs the loop. A
// snapshot that cannot be read is set aside and monitoring begins again; whatever else leaves the
// loop is reported, and after a wait the configuration is read afresh, compared with the stored
// snapshot, and the loop goes on. What it tried goes into the notes; a host with `look` hears of
// the same trouble once, and of its end.
//
// A host that keeps what it takes sets `look`. Each completed poll then gives a report, made on the
// monitoring thread, and take() tells which events belong to it: those of finished polls come
// together with the report of the last of them. A poll that never ends still gives its events.
//
// Ownership  The library and the folder are borrowed and outlive this object. Nobody else touches
//            the library meanwhile.
// Threads    take(), stop() and ended() from the constructing thread. `look`, `wake` and
//            `beforeResuming` are called on the monitoring thread.
// Errors     None leave; they become notes, one line each.
#ifndef AGENT_MONITORTHREAD_H
#define AGENT_MONITORTHREAD_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "agent/daemon/WatchedMonitor.h"
#include "events/QELEvent.h"

class EngineFolder;
class VantLib;
class VantRaidMonitor;
struct PollReport;

class MonitorThread : private WatchedMonitor::Watcher {
public:
    struct Settings {
        std::string logFolder;                      // "" leaves the logs where the engine puts them
        std::string catalogue;                      // "" takes the texts beside the engine
        std::chrono::milliseconds firstWait{1000};  // doubles with each further failure
        std::chrono::milliseconds longestWait{60000};
        std::chrono::milliseconds joinStep{1000};  // between two requests to stop

        // Beyond so many that nobody took, events stay in the engine's queue, which is bounded.
        std::size_t mostWaiting = 50000;

        // After each completed poll; null for a host that only wants the events.
        std::function<std::shared_ptr<const PollReport>()> look = nullptr;
        std::function<void()> wake = nullptr;  // there is something to take
        // Before the configuration is compared again with the stored snapshot, after a poll that
        // broke off: such a poll may have written the snapshot and raised only a part of what it
        // shows.
        std::function<void()> beforeResuming = nullptr;
    };

    // Where an event comes from. Polls are counted from 1.
    struct Source {
        bool atStart = false;  // from the comparison with the stored snapshot
        std::int64_t poll = 0;
    };

    struct Batch {
        std::vector<QELEvent> events;    // oldest first
        std::vector<std::string> notes;  // for people, one line each

        // Only with `look`:
        std::vector<Source> sources;  // one for each event
        std::size_t finished = 0;     // so many of the events belong to polls that have ended
        int polls = 0;                // that have ended since the last call
        std::shared_ptr<const PollReport> report;  // of the last of them; null for none
        // Polls and other tries to read the storage that have ended, well or not: as long as there
        // are any, nothing hangs.
        int ended = 0;
        std::string unreadable;   // "" or why the last of them could not read it
        double pollSeconds = -1;  // that the poll of the report took; -1: no report
    };

    MonitorThread(VantLib& lib, const EngineFolder& folder, const Settings& settings);
    ~MonitorThread() override;  // stop()
    MonitorThread(const MonitorThread&) = delete;
    MonitorThread& operator=(const MonitorThread&) = delete;

    // What came since the last call. Never waits for a poll.
    Batch take();

    // Asks the loop to end, again and again until it has, and joins the thread: a request that
    // comes before the loop begins is forgotten by it.
    void stop();

    bool ended() const;  // the thread has left its work; only stop() makes it do so

private:
    void work();
    bool runOnce();
    bool waitForFirstReading(VantRaidMonitor& monitor);
    void keepRunning(VantRaidMonitor& monitor);
    bool canRead(VantRaidMonitor& monitor);
    void note(const std::string& line);
    void tryFailed(const std::string& why);
    void interrupted(const std::string& what, const std::string& why);
    bool stopRequested() const;
    bool waitBeforeRetry();
    void setSnapshotAside(const std::exception& damage);
    void publish(VantRaidMonitor* running);
    std::shared_ptr<VantRaidMonitor> makeMonitor();
    void pollBegins(bool withStored) override;
    void pollEnded() override;
    bool hasRoom() const;
    void drainInto(Batch& batch);

    VantLib& lib;
    const EngineFolder& folder;
    const Settings settings;
    std::chrono::milliseconds nextWait;               // the working thread's own
    std::chrono::steady_clock::time_point pollBegan;  // the same
    std::string toldTrouble;  // the same; the interruption that the host has heard of

    mutable std::mutex mutex;
    std::condition_variable changed;
    VantRaidMonitor* published = nullptr;  // guarded by `mutex`; null outside its life
    Batch waiting;                         // guarded by `mutex`
    Source polling{true, 0};               // guarded by `mutex`: the poll under way
    bool stopping = false;                 // guarded by `mutex`
    bool finished = false;                 // guarded by `mutex`

    std::thread thread;
};

#endif  // AGENT_MONITORTHREAD_H
