#include "agent/sinks/SinkWorker.h"

#include <pthread.h>

#include <condition_variable>
#include <mutex>
#include <utility>

struct SinkWorker::Shared {
    std::unique_ptr<SinkPump> pump;

    std::mutex mutex;
    std::condition_variable changed;
    bool notified = false;
    bool stopping = false;
    bool ended = false;
};

SinkWorker::SinkWorker(std::string nameIN, std::unique_ptr<SinkPump> pump,
                       std::chrono::milliseconds timeLimitIN, SinkPump::Note noteIN)
    : name(std::move(nameIN)),
      timeLimit(timeLimitIN),
      note(std::move(noteIN)),
      shared(std::make_shared<Shared>()) {
    shared->pump = std::move(pump);
    thread = std::thread([kept = shared] { work(kept); });
}

SinkWorker::~SinkWorker() {
    askToStop();
    (void)waitForEnd();  // it has told
}

void SinkWorker::work(const std::shared_ptr<Shared>& shared) {
    (void)pthread_setname_np(pthread_self(), "sink");  // for people with a debugger
    std::unique_lock<std::mutex> lock(shared->mutex);
    while (!shared->stopping) {
        shared->notified = false;
        lock.unlock();
        const std::int64_t seconds = shared->pump->step();
        lock.lock();
        shared->changed.wait_for(lock, std::chrono::seconds(seconds),
                                 [&] { return shared->notified || shared->stopping; });
    }
    shared->ended = true;
    shared->changed.notify_all();
}

void SinkWorker::notify() {
    const std::lock_guard<std::mutex> lock(shared->mutex);
    shared->notified = true;
    shared->changed.notify_all();
}

bool SinkWorker::stayAway(bool away) {
    if (shared->pump->stayAway(away)) return true;
    notify();
    return false;
}

bool SinkWorker::takeDamage() { return shared->pump->takeDamage(); }

void SinkWorker::askToStop() {
    {
        const std::lock_guard<std::mutex> lock(shared->mutex);
        if (shared->stopping) return;
        shared->stopping = true;
        shared->changed.notify_all();
    }
    shared->pump->stop();
}

bool SinkWorker::waitForEnd() {
    if (!thread.joinable()) return true;
    std::unique_lock<std::mutex> lock(shared->mutex);
    const bool inTime = shared->changed.wait_for(lock, timeLimit, [&] { return shared->ended; });
    lock.unlock();
    if (inTime) {
        thread.join();
        return true;
    }
    thread.detach();
    note("sink \"" + name + "\" does not return from a delivery; it is left behind");
    return false;
}
