// QELEventCollection: the bounded queue between the monitoring thread and the host.
//
// The monitor adds, the host removes. An event less important than the level is not queued; when
// the bound is reached the oldest events make room and a notice (code 200) stands in their place.
// While event tracing is on, every offered event is also appended to the event log.
//
// Ownership  Events are held by value. The lock and the log belong to the collection.
// Threads    One thread adds; any number may remove, count and change level or bound meanwhile.
//            Appending, removing, flushing and changing the bound take the machine-wide lock, for
//            one element at a time; counting and the notice wait for no other process.
// Errors     A log that cannot be opened gets nothing and is not retried; without a usable
//            machine-wide lock the queue is still safe inside the process. Nothing is reported.
//
//   QELEventCollection queue(logPath + "QELEvents.log", 200, kEventProgress);
//   queue.addEvent(event);                                  // monitoring thread
//   for (const QELEvent& e : queue.getAllEvents()) ...      // host
//
// Event log: the line of QELEvent::toString() and an empty line per event, appended for ever.
#ifndef EVENTS_QELEVENTCOLLECTION_H
#define EVENTS_QELEVENTCOLLECTION_H

#include <atomic>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "events/EnumEventType.h"
#include "events/QELEvent.h"

class UnixLocker;

class QELEventCollection {
public:
    static constexpr int kLeastSize = 200;
    static constexpr int kOverloadCode = 200;

    // A bound below kLeastSize becomes kLeastSize. Only the levels 5 to 7 can be asked for here,
    // any other gives 5; the lower ones take setEventTypeLevel(). An empty name means no log.
    QELEventCollection(const std::string& logName, int newSize, EnumEventType newLevel);
    ~QELEventCollection();
    QELEventCollection(const QELEventCollection&) = delete;
    QELEventCollection& operator=(const QELEventCollection&) = delete;

    // Filter, make room, trace, append a copy.
    void addEvent(const QELEvent& event);

    // Only traces: an event made of a bare text has no severity, so no level lets it in. Hosts use
    // this to leave a mark in the event log. Null counts as an empty text.
    void addEvent(const char* message);

    int getNumberOfEvents() const;

    // Removes and returns what is queued now, oldest first; what is added meanwhile stays.
    std::vector<QELEvent> getAllEvents();

    // Removes and returns the n oldest, or all when there are fewer; none when n is 0 or less.
    std::vector<QELEvent> getEvents(int n);

    // Discards the n oldest; all when n is 0 or more than are queued; none when n is negative.
    void flushEvents(int n);

    // Appends the event to the log while tracing is on.
    void printEvent(const QELEvent& event);

    // Ignored unless above kLeastSize, so a raised bound cannot be brought back to the least one.
    // A bound below the present length takes effect with the events added from then on.
    void setMaxSize(int newSize);

    // Levels 1 to 7; any other changes nothing and returns false.
    bool setEventTypeLevel(EnumEventType newLevel);
    EnumEventType getEventTypeLevel() const;

private:
    class Guard;

    void makeRoom();
    bool writeOverloadNotice(QELEvent& notice);
    bool takeFront(std::vector<QELEvent>& taken);
    std::vector<QELEvent> takeUpTo(int n);
    void append(QELEvent event);

    std::deque<QELEvent> events;  // oldest at the front; guarded by `touch`
    std::atomic<int> maxSize;
    UnixLocker* locker;                // owned
    std::atomic<EnumEventType> level;  // the largest severity still queued
    std::string fileName;              // constant after construction
    std::FILE* logFile = nullptr;      // owned; null: no log

    // `turn` is taken before the machine-wide lock, so that threads of one process queue up here
    // and not in the kernel; `touch` is taken inside it, by whoever touches `events`.
    std::mutex turn;
    mutable std::mutex touch;
};

#endif  // EVENTS_QELEVENTCOLLECTION_H
