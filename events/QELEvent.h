// QELEvent: one thing that happened to the storage, as the host receives it.
//
// A plain value: producers fill it, the queue copies it in and out, the logs print it as one line.
// All members are public and may be set directly after construction.
//
// Threads  As any value: one thread at a time per event.
// Units    timeStamp in seconds since 1970-01-01 UTC; location counts from 0.
// Errors   None; kNotSet in an integer, and in the integers of location, means "not set".
//
//   QELEvent event(299, kEventInformation, parser.get("agentEventInfo", args), "EVENT_...");
//   event.objectType = QELEvent::kAdapter;
//   event.setAdapterSerial(adapter);
//   queue.addEvent(event);
#ifndef EVENTS_QELEVENT_H
#define EVENTS_QELEVENT_H

#include <ctime>
#include <string>

#include "events/EnumEventType.h"
#include "storlib/Addr.h"

class Adapter;

class QELEvent {
public:
    static constexpr int kNotSet = 0x7fffffff;

    // What kind of object an event is about.
    enum ObjectType : int {
        kUnknown = 0,
        kSystem = 1,
        kAdapter = 2,
        kArray = 3,
        kLogicalDrive = 4,
        kPhysicalDrive = 5,
        kEnclosure = 6,
        kFan = 7,
        kPowerSupply = 8,
    };

    // Every constructor stamps the event with the current time.
    QELEvent();
    QELEvent(int code, int severityIN, std::string message, std::string identifier);
    QELEvent(int code, int severityIN, std::string message, const Addr& where, int firstValue,
             int secondValue, int thirdValue, std::string serial, std::string identifier,
             std::string freeText);

    // As freshly made, with the current time; extra1 and extra2 are kept, because they belong to
    // whoever owns the record and not to what it reports.
    void reset();

    // The controller's serial number or, where it has none, its PCI place as "bus-device-function",
    // which is as stable and as unique. Null leaves the event alone.
    void setAdapterSerial(const Adapter* adapter);

    // One line without a line end:
    // "Sun Sep  9 01:46:40 2001 | INF | ADPT | 299:A01C--S--L--- | the text"
    std::string toString() const;

    std::time_t timeStamp;
    int eventCode = kNotSet;
    int severity = kNotSet;  // an EnumEventType, or any other number
    std::string text;
    int objectType = kUnknown;  // an ObjectType
    Addr location;
    std::string detail;
    int value1 = kNotSet;
    int value2 = kNotSet;
    int value3 = kNotSet;
    std::string adapterSerial;
    std::string eventId;  // for example "EVENT_TORVEX_STATE_CHANGE"
    int flags = 0;
    std::string extra1;
    std::string extra2;
};

#endif  // EVENTS_QELEVENT_H
