#include "agent/MonitorThread.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

#include "agent/EngineFolder.h"
#include "agent/daemon/PollReport.h"
#include "monitor/VantRaidMonitor.h"
#include "storlib/VantLib.h"
#include "xml/SimpleXmlException.h"

MonitorThread::MonitorThread(VantLib& libIN, const EngineFolder& folderIN,
                             const Settings& settingsIN)
    : lib(libIN), folder(folderIN), settings(settingsIN), nextWait(settingsIN.firstWait) {
    thread = std::thread([this] { work(); });
}

MonitorThread::~MonitorThread() { stop(); }

MonitorThread::Batch MonitorThread::take() {
    const std::lock_guard<std::mutex> guard(mutex);
    if (published != nullptr) drainInto(waiting);
    return std::exchange(waiting, Batch{});
}

void MonitorThread::stop() {
    {
        std::unique_lock<std::mutex> guard(mutex);
        stopping = true;
        changed.notify_all();
        while (!finished) {
            if (published != nullptr) published->stop();
            changed.wait_for(guard, settings.joinStep, [this] { return finished; });
        }
    }
    if (thread.joinable()) thread.join();
}

bool MonitorThread::ended() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return finished;
}

void MonitorThread::work() {
    bool again = true;
    while (again && !stopRequested()) {
        try {
            again = runOnce();
        } catch (const SimpleXmlException& e) {
            setSnapshotAside(e);
        } catch (const std::exception& e) {
            interrupted("the monitor could not be set up", e.what());
            (void)waitBeforeRetry();
        } catch (...) {
            interrupted("the monitor could not be set up", "unknown error");
            (void)waitBeforeRetry();
        }
    }
    const std::lock_guard<std::mutex> guard(mutex);
    finished = true;
    changed.notify_all();
}

// One monitor, from construction to destruction. False when it is over for good. Throws
// SimpleXmlException for a stored snapshot that cannot be read.
bool MonitorThread::runOnce() {
    const std::shared_ptr<VantRaidMonitor> monitor = makeMonitor();
    struct Published {
        MonitorThread& owner;
        ~Published() { owner.publish(nullptr); }
    } const guard{*this};
    publish(monitor.get());
    if (waitForFirstReading(*monitor)) keepRunning(*monitor);
    return false;
}

bool MonitorThread::waitForFirstReading(VantRaidMonitor& monitor) {
    bool told = false;
    while (monitor.getControllerCount() == 0 && !monitor.initialize(true)) {
        if (!std::exchange(told, true)) {
            note("the storage cannot be read (" + lib.lastError() +
                 "); trying again until it can, the stored snapshot is kept");
        }
        tryFailed(lib.lastError());
        if (!waitBeforeRetry()) return false;
    }
    if (told) note("the storage can be read now");
    nextWait = settings.firstWait;
    return !stopRequested();
}

void MonitorThread::keepRunning(VantRaidMonitor& monitor) {
    while (!stopRequested()) {
        try {
            monitor.start();
            return;  // stop() ended it
        } catch (const std::exception& e) {
            interrupted("monitoring was interrupted", e.what());
        } catch (...) {
            interrupted("monitoring was interrupted", "unknown error");
        }
        // Then the new configuration is compared with the stored snapshot, so that nothing which
        // the broken poll had not yet written there is lost.
        do {
            if (!waitBeforeRetry()) return;
            if (settings.beforeResuming) settings.beforeResuming();
        } while (!canRead(monitor));
    }
}

bool MonitorThread::canRead(VantRaidMonitor& monitor) {
    if (monitor.initialize(true)) return true;
    tryFailed(lib.lastError());
    return false;
}

// A try to read the storage has ended, and there is nothing to show for it.
void MonitorThread::tryFailed(const std::string& why) {
    {
        const std::lock_guard<std::mutex> guard(mutex);
        ++waiting.ended;
        waiting.unreadable = why.empty() ? "the storage gives no reason" : why;
    }
    if (settings.wake) settings.wake();
}

void MonitorThread::interrupted(const std::string& what, const std::string& why) {
    tryFailed(why);
    const std::string trouble = what + ": " + why;
    if (settings.look && trouble == toldTrouble) return;
    toldTrouble = trouble;
    note(trouble + "; trying again");
}

void MonitorThread::note(const std::string& line) {
    const std::lock_guard<std::mutex> guard(mutex);
    waiting.notes.push_back(line);
}

bool MonitorThread::stopRequested() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return stopping;
}

bool MonitorThread::waitBeforeRetry() {
    std::unique_lock<std::mutex> guard(mutex);
    (void)changed.wait_for(guard, nextWait, [this] { return stopping; });
    nextWait = std::min(nextWait * 2, settings.longestWait);
    return !stopping;
}

void MonitorThread::setSnapshotAside(const std::exception& damage) {
    const std::string aside = folder.setSnapshotAside();
    if (!aside.empty()) {
        note("the stored snapshot is damaged (" + std::string(damage.what()) + "); it is now " +
             aside + ", and what changed while nothing was watched cannot be told");
        return;
    }
    note("the stored snapshot " + folder.snapshot() + " is damaged and cannot be renamed; " +
         "remove it");
    (void)waitBeforeRetry();
}

// Between these two calls take() and stop() reach the monitor. What it still holds at the end goes
// to the host as well.
void MonitorThread::publish(VantRaidMonitor* running) {
    const std::lock_guard<std::mutex> guard(mutex);
    if (running == nullptr && published != nullptr) drainInto(waiting);
    published = running;
    polling.atStart = true;
}

// Shared, because a monitor is destroyed as what it was made.
std::shared_ptr<VantRaidMonitor> MonitorThread::makeMonitor() {
    WatchedMonitor::Watcher& watcher = *this;
    std::shared_ptr<VantRaidMonitor> monitor;
    if (settings.look && settings.logFolder.empty()) {
        monitor = std::make_shared<WatchedMonitor>(&lib, watcher);
    } else if (settings.look) {
        monitor = std::make_shared<WatchedMonitor>(&lib, settings.logFolder, watcher);
    } else if (settings.logFolder.empty()) {
        monitor = std::make_shared<VantRaidMonitor>(&lib);
    } else {
        monitor = std::make_shared<VantRaidMonitor>(&lib, settings.logFolder);
    }
    if (!settings.catalogue.empty()) monitor->useCatalogue(settings.catalogue);
    return monitor;
}

void MonitorThread::pollBegins(bool withStored) {
    const std::lock_guard<std::mutex> guard(mutex);
    // What an earlier poll left in the queue is that poll's.
    if (published != nullptr && hasRoom()) drainInto(waiting);
    polling.atStart = withStored;
    ++polling.poll;
    pollBegan = std::chrono::steady_clock::now();
}

// Looking takes its time, so it is done without the lock: nothing is added to the queue meanwhile.
void MonitorThread::pollEnded() {
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - pollBegan;
    std::shared_ptr<const PollReport> report = settings.look();
    const std::string trouble = report ? report->unreadable : std::string();
    {
        const std::lock_guard<std::mutex> guard(mutex);
        if (published == nullptr) return;
        if (hasRoom()) {
            drainInto(waiting);
            waiting.finished = waiting.events.size();
            waiting.report = std::move(report);
            waiting.pollSeconds = took.count();
        }
        ++waiting.polls;
        ++waiting.ended;
        waiting.unreadable = trouble;
    }
    nextWait = settings.firstWait;
    if (!toldTrouble.empty()) note("monitoring goes on");
    toldTrouble.clear();
    if (settings.wake) settings.wake();
}

// With the mutex held.
bool MonitorThread::hasRoom() const { return waiting.events.size() < settings.mostWaiting; }

// With the mutex held, so that events keep their order whoever takes them.
void MonitorThread::drainInto(Batch& batch) {
    std::vector<QELEvent> events = published->getEvents(0);
    std::move(events.begin(), events.end(), std::back_inserter(batch.events));
    batch.sources.resize(batch.events.size(), polling);
}
