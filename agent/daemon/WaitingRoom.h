// WaitingRoom: what the monitor found while the spool cannot be opened yet, because the disk is
// full. It is kept in memory, as it came, until the pipeline can take it.
//
//   if (room.hasRoom()) room.add(monitor.take());
//   ...
//   pipeline.pass(room.takeAll());
//
// WHAT IS DROPPED FIRST  Nothing here. Beyond kMostEvents nothing more is taken from the monitor;
// MonitorThread keeps some more, and then the engine's queue is full: its oldest events make way,
// and a notice (code 200) stands in their place. A daemon that ends meanwhile loses what is here;
// the next one finds again whatever still shows in a comparison with the snapshot.
//
// Threads  One at a time. Errors: none.
#ifndef AGENT_DAEMON_WAITINGROOM_H
#define AGENT_DAEMON_WAITINGROOM_H

#include <cstddef>
#include <string>

#include "agent/MonitorThread.h"
#include "agent/state/MachineState.h"

class WaitingRoom {
public:
    static constexpr std::size_t kMostEvents = 20000;

    bool hasRoom() const { return kept.events.size() < kMostEvents; }
    void add(MonitorThread::Batch batch);
    MonitorThread::Batch takeAll();  // all that was added, as one

    std::size_t size() const { return kept.events.size(); }
    MachineState machine() const;  // as last seen; empty before the first poll
    const std::string& unreadable() const { return kept.unreadable; }
    double pollSeconds() const { return kept.pollSeconds; }  // as in MonitorThread::Batch

private:
    MonitorThread::Batch kept;  // without notes
};

#endif  // AGENT_DAEMON_WAITINGROOM_H
