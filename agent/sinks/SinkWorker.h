// SinkWorker: the thread of one sink. It works when notified and else each second, so that a sink
// that hangs or is down delays nobody but itself.
//
//   SinkWorker worker(std::move(pump), settings.timeout, note);
//   worker.notify();                  // after a commit to the spool
//   worker.askToStop(); worker.waitForEnd();
//
// Stopping waits for the delivery under way. A sink that breaks its promise to return within its
// time limit is left behind, with a note; its thread ends by itself when the sink returns.
//
// Threads    Any thread may call anything here; the pump runs on the worker's own thread only.
// Ownership  Owns pump and thread; both outlive this object only in a sink that was left behind.
// Errors     None.
#ifndef AGENT_SINKS_SINKWORKER_H
#define AGENT_SINKS_SINKWORKER_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "agent/sinks/SinkPump.h"

class SinkWorker {
public:
    SinkWorker(std::string nameIN, std::unique_ptr<SinkPump> pump,
               std::chrono::milliseconds timeLimitIN, SinkPump::Note noteIN);
    ~SinkWorker();  // stops
    SinkWorker(const SinkWorker&) = delete;
    SinkWorker& operator=(const SinkWorker&) = delete;

    void notify();             // there is something new
    bool stayAway(bool away);  // see SinkPump
    bool takeDamage();         // the same
    void askToStop();          // returns at once
    // Returns when the thread has ended, or the time limit is over: false, and the sink is left
    // behind.
    bool waitForEnd();

private:
    struct Shared;
    static void work(const std::shared_ptr<Shared>& shared);

    const std::string name;
    const std::chrono::milliseconds timeLimit;
    const SinkPump::Note note;
    std::shared_ptr<Shared> shared;  // with the thread
    std::thread thread;
};

#endif  // AGENT_SINKS_SINKWORKER_H
