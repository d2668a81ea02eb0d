#include "agent/StopSignal.h"

#include <pthread.h>
#include <unistd.h>

#include <utility>

#include "agent/Failure.h"

StopSignal::StopSignal() {
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, &before);
    taker = std::thread([this] { takeSignals(); });
}

StopSignal::~StopSignal() {
    closing = true;
    pthread_kill(taker.native_handle(), SIGTERM);  // to our own thread: it waits for one
    taker.join();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

bool StopSignal::requested() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return request;
}

bool StopSignal::waitFor(std::chrono::milliseconds time) const {
    std::unique_lock<std::mutex> guard(mutex);
    return changed.wait_for(guard, time, [this] { return request; });
}

void StopSignal::takeSignals() {
    for (;;) {
        int number = 0;
        if (sigwait(&signals, &number) != 0) continue;
        if (closing) return;
        const std::lock_guard<std::mutex> guard(mutex);
        if (isReload(number)) {
            reload = true;
        } else {
            if (request) _exit(Failure::kFailed);
            request = true;
            changed.notify_all();
        }
        if (wakeUp) wakeUp();
    }
}

void StopSignal::takeHangUpAsReload(std::function<void()> wake) const {
    const std::lock_guard<std::mutex> guard(mutex);
    hangUpReloads = true;
    wakeUp = std::move(wake);
}

void StopSignal::callNobody() const {
    const std::lock_guard<std::mutex> guard(mutex);
    wakeUp = nullptr;
}

bool StopSignal::takeReload() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return std::exchange(reload, false);
}

// With the mutex held.
bool StopSignal::isReload(int number) const { return number == SIGHUP && hangUpReloads; }
