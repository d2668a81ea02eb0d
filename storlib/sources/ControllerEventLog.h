// ControllerEventLog: the events that a source recorded for its controllers, as a numbered
// listing (docs/formats/controller-events.md).
//
// One counter numbers the events of all controllers, so that numbers keep growing when
// controllers change places in the list. At most `capacity` events are kept per controller; the
// oldest go first.
#ifndef STORLIB_SOURCES_CONTROLLEREVENTLOG_H
#define STORLIB_SOURCES_CONTROLLEREVENTLOG_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>

// One record; see EVENT CODES in docs/formats/controller-events.md.
struct ControllerEvent {
    int qual = 7;  // decides the severity: 7 informational, 6 error
    int status = 0;
    int senseKey = 0;             // 1: the record tells of a task
    int additionalSenseCode = 0;  // what happened
    std::string ldPath;           // see LDPathUtils
    std::string description;
};

class ControllerEventLog {
public:
    explicit ControllerEventLog(std::size_t eventsPerController = 4096);

    // Returns the sequence number given, from 1 on.
    std::int32_t append(unsigned int controllerID, const ControllerEvent& event);
    // Appends the controller's events numbered `first` and above to `listing`, oldest first.
    void list(unsigned int controllerID, std::int64_t first, std::string& listing) const;

private:
    struct Numbered {
        std::int32_t sequence;
        ControllerEvent event;
    };
    std::size_t capacity;
    std::int32_t lastSequence = 0;
    std::map<unsigned int, std::deque<Numbered>> logs;
};

#endif  // STORLIB_SOURCES_CONTROLLEREVENTLOG_H
