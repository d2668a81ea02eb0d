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
// snapshot, and the loop goes on. What it tried goes into the notes.
//
// Ownership  The library and the folder are borrowed and outlive this object. Nobody else touches
//            the library meanwhile.
// Threads    take(), stop() and ended() from the constructing thread.
// Errors     None leave; they become notes, one line each.
#ifndef AGENT_MONITORTHREAD_H
#define AGENT_MONITORTHREAD_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "events/QELEvent.h"

class EngineFolder;
class VantLib;
class VantRaidMonitor;

class MonitorThread {
public:
    struct Settings {
        std::string logFolder;                      // "" leaves the logs where the engine puts them
        std::string catalogue;                      // "" takes the texts beside the engine
        std::chrono::milliseconds firstWait{1000};  // doubles with each further failure
        std::chrono::milliseconds longestWait{60000};
        std::chrono::milliseconds joinStep{1000};  // between two requests to stop
    };

    struct Batch {
        std::vector<QELEvent> events;    // oldest first
        std::vector<std::string> notes;  // for people, one line each
    };

    MonitorThread(VantLib& lib, const EngineFolder& folder, const Settings& settings);
    ~MonitorThread();  // stop()
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
    void note(const std::string& line);
    bool stopRequested() const;
    bool waitBeforeRetry();
    void setSnapshotAside(const std::exception& damage);
    void publish(VantRaidMonitor* running);

    VantLib& lib;
    const EngineFolder& folder;
    const Settings settings;
    std::chrono::milliseconds nextWait;  // the working thread's own

    mutable std::mutex mutex;
    std::condition_variable changed;
    VantRaidMonitor* published = nullptr;  // guarded by `mutex`; null outside its life
    Batch waiting;                         // guarded by `mutex`
    bool stopping = false;                 // guarded by `mutex`
    bool finished = false;                 // guarded by `mutex`

    std::thread thread;
};

#endif  // AGENT_MONITORTHREAD_H
