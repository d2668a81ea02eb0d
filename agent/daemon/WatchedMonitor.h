// WatchedMonitor: a VantRaidMonitor that says when a poll begins and when it has ended, and whose
// queue is large enough for a host that keeps what it takes.
//
//   WatchedMonitor monitor(lib, watcher);    // watcher.pollEnded() after each completed poll
//
// A poll that an exception leaves has not ended; the next pollBegins() tells that.
//
// Queue    kQueueSize from the start. A settings file that names a size of its own (above 200) is
//          obeyed by the engine after the first poll, as in any host.
// Threads  The watcher is called on the monitoring thread. Ownership: lib and watcher are borrowed.
// Errors   As VantRaidMonitor; what the watcher throws leaves through poll().
#ifndef AGENT_DAEMON_WATCHEDMONITOR_H
#define AGENT_DAEMON_WATCHEDMONITOR_H

#include <string>

#include "monitor/VantRaidMonitor.h"

class WatchedMonitor final : public VantRaidMonitor {
public:
    static constexpr int kQueueSize = 2000;

    class Watcher {
    public:
        virtual ~Watcher() = default;
        // `withStored`: the comparison with the stored snapshot, not with the previous poll.
        virtual void pollBegins(bool withStored) = 0;
        virtual void pollEnded() = 0;
    };

    WatchedMonitor(VantLib* lib, Watcher& watcherIN);  // the logs where the engine puts them
    WatchedMonitor(VantLib* lib, const std::string& logFolder, Watcher& watcherIN);
    ~WatchedMonitor() = default;

    void poll(int type, QELEventCollection& events) override;

private:
    void widenQueue();

    Watcher& watcher;
};

#endif  // AGENT_DAEMON_WATCHEDMONITOR_H
