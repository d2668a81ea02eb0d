// Bell: wakes a thread that waits for work; rung before the wait, it does not wait.
//
//   while (running) { bell.waitFor(std::chrono::seconds(1)); work(); }
//
// Threads  ring() from any; waitFor() from one.
#ifndef AGENT_DAEMON_BELL_H
#define AGENT_DAEMON_BELL_H

#include <chrono>
#include <condition_variable>
#include <mutex>

class Bell {
public:
    void ring() {
        {
            const std::lock_guard<std::mutex> guard(mutex);
            rung = true;
        }
        changed.notify_one();
    }

    // Until somebody rings, or has rung since the last wait, or the time is over.
    void waitFor(std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> guard(mutex);
        (void)changed.wait_for(guard, time, [this] { return rung; });
        rung = false;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool rung = false;  // guarded by `mutex`
};

#endif  // AGENT_DAEMON_BELL_H
