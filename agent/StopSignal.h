// StopSignal: SIGINT, SIGTERM and SIGHUP as a request that the program asks for when it likes.
//
//   StopSignal stop;                                   // before any other thread is made
//   while (!stop.waitFor(std::chrono::seconds(1))) work();
//
// From construction to destruction the three signals are blocked in this thread and in those that
// it makes; one thread of its own takes them. The first one only sets the request, so that every
// scope unwinds and temporary folders go; a second one ends the process at once with exit code 1,
// for the case that something hangs.
//
// A daemon gives SIGHUP another meaning: after takeHangUpAsReload() it asks for a reload, and never
// ends anything.
//
// Threads  Construct and destroy on the main thread, at most one at a time; ask from any thread.
#ifndef AGENT_STOPSIGNAL_H
#define AGENT_STOPSIGNAL_H

#include <signal.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

class StopSignal {
public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    bool requested() const;
    // Waits until a stop is requested or the time is over; true when it is requested.
    bool waitFor(std::chrono::milliseconds time) const;

    // From now on. `wake` is called on the thread that takes the signals, after each of them, until
    // callNobody(); it returns soon and calls nothing here.
    void takeHangUpAsReload(std::function<void()> wake) const;
    void callNobody() const;
    // Whether a reload was asked for since the last call.
    bool takeReload() const;

private:
    void takeSignals();
    bool isReload(int number) const;

    sigset_t signals;
    sigset_t before;
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    bool request = false;                  // guarded by `mutex`
    mutable bool hangUpReloads = false;    // guarded by `mutex`
    mutable bool reload = false;           // guarded by `mutex`
    mutable std::function<void()> wakeUp;  // guarded by `mutex`
    std::atomic<bool> closing{false};
    std::thread taker;
};

#endif  // AGENT_STOPSIGNAL_H
