#include "events/QELEventCollection.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <ctime>
#include <utility>

#include "storlib/EnumAdapterType.h"
#include "util/DebugFlag.h"
#include "util/UnixLocker.h"

namespace {

constexpr const char* kOverloadText = "QEL Event queue overload. Discarding events.";

// As many events as fit one tenth of the bound, less the one that becomes the notice.
int discardedAtOverload(int maxSize) { return std::max(maxSize / 10 - 1, 1); }

}  // namespace

// Holds the machine-wide lock and, inside it, the mutex on the events.
class QELEventCollection::Guard {
public:
    explicit Guard(QELEventCollection& collection)
        : inLine(collection.turn), locker(*collection.locker) {
        locker.getLock();
        touching = std::unique_lock<std::mutex>(collection.touch);
    }
    ~Guard() {
        touching.unlock();
        locker.releaseLock();
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    std::lock_guard<std::mutex> inLine;
    UnixLocker& locker;
    std::unique_lock<std::mutex> touching;
};

QELEventCollection::QELEventCollection(const std::string& logName, int newSize,
                                       EnumEventType newLevel)
    : maxSize(std::max(newSize, kLeastSize)),
      locker(nullptr),
      level(newLevel >= kEventProgress && newLevel <= kEventAll ? newLevel : kEventProgress),
      fileName(logName) {
    const std::string lockName = "QEL-" + std::to_string(std::clock());
    // A leftover EEXIST (the log folder existed already) would leave a new semaphore taken, and
    // the first event would wait for ever.
    errno = 0;
    locker = new UnixLocker(kAdapterGeneric, lockName.c_str());
    if (!fileName.empty()) logFile = std::fopen(fileName.c_str(), "a+");
}

QELEventCollection::~QELEventCollection() {
    if (logFile != nullptr) std::fclose(logFile);
#pragma GCC diagnostic push
        // The lock's destructor is not virtual on purpose; this is the class that was made.
#pragma GCC diagnostic ignored "-Wdelete-non-virtual-dtor"
    delete locker;
#pragma GCC diagnostic pop
}

void QELEventCollection::addEvent(const QELEvent& event) {
    if (event.severity > level) {
        printEvent(event);
        return;
    }
    if (getNumberOfEvents() >= maxSize) makeRoom();
    printEvent(event);
    append(event);
}

void QELEventCollection::addEvent(const char* message) {
    QELEvent event;
    if (message != nullptr) event.text = message;
    addEvent(event);
}

int QELEventCollection::getNumberOfEvents() const {
    const std::lock_guard<std::mutex> touching(touch);
    return static_cast<int>(events.size());
}

std::vector<QELEvent> QELEventCollection::getAllEvents() { return takeUpTo(getNumberOfEvents()); }

std::vector<QELEvent> QELEventCollection::getEvents(int n) {
    return takeUpTo(std::min(n, getNumberOfEvents()));
}

void QELEventCollection::flushEvents(int n) {
    if (n < 0) return;
    const Guard guard(*this);
    const auto length = static_cast<int>(events.size());
    const int discarded = n == 0 ? length : std::min(n, length);
    events.erase(events.begin(), events.begin() + discarded);
}

void QELEventCollection::printEvent(const QELEvent& event) {
    if (!debugOn(kDebugEvent) || logFile == nullptr) return;
    const std::string record = event.toString() + "\n\n";
    // One write per record keeps the records of two threads apart. A full disk is no reason to
    // stop monitoring.
    (void)std::fwrite(record.data(), 1, record.size(), logFile);
    (void)std::fflush(logFile);
}

void QELEventCollection::setMaxSize(int newSize) {
    if (newSize <= kLeastSize || newSize == maxSize) return;
    const Guard guard(*this);
    maxSize = newSize;
}

bool QELEventCollection::setEventTypeLevel(EnumEventType newLevel) {
    if (newLevel < kEventError || newLevel > kEventAll) return false;
    level = newLevel;
    return true;
}

EnumEventType QELEventCollection::getEventTypeLevel() const { return level; }

void QELEventCollection::makeRoom() {
    flushEvents(discardedAtOverload(maxSize));
    QELEvent notice;
    if (writeOverloadNotice(notice)) printEvent(notice);
}

// Turns the oldest event into the notice, so that the host finds it where events are missing.
// False when the host has emptied the queue meanwhile: then nothing stands there to be marked.
bool QELEventCollection::writeOverloadNotice(QELEvent& notice) {
    notice.eventCode = kOverloadCode;
    notice.severity = kEventWarning;
    notice.text = kOverloadText;
    const std::lock_guard<std::mutex> touching(touch);
    if (events.empty()) return false;
    events.front() = notice;
    return true;
}

std::vector<QELEvent> QELEventCollection::takeUpTo(int n) {
    std::vector<QELEvent> taken;
    if (n > 0) taken.reserve(static_cast<std::size_t>(n));
    while (n-- > 0 && takeFront(taken)) {
    }
    return taken;
}

// False when another thread was faster and nothing is left.
bool QELEventCollection::takeFront(std::vector<QELEvent>& taken) {
    const Guard guard(*this);
    if (events.empty()) return false;
    taken.push_back(std::move(events.front()));
    events.pop_front();
    return true;
}

// Takes a copy made before the lock, so that the lock is held for moving it only.
void QELEventCollection::append(QELEvent event) {
    const Guard guard(*this);
    events.push_back(std::move(event));
}
