// VantEvent: one entry of a controller's own event log.
//
// A plain value. timeStamp is when the record was made here, not when the controller wrote it:
// the listing carries no time.
//
// Threads  As any value.   Units  sequence counts the controller's events.   Errors  None.
//
//   VantEvent event(7, 0, 1, 0x80, 1234, "/0/1/2", "bad block repaired");
//   event.getSeverity();  // 3
#ifndef EVENTS_VANTEVENT_H
#define EVENTS_VANTEVENT_H

#include <cstdint>
#include <ctime>
#include <string>

class VantEvent {
public:
    // Both stamp the record with the current time. The sequence is kept to 32 bits.
    VantEvent();
    VantEvent(int qualifier, int scsiStatus, int key, int additionalCode, long number,
              std::string path, std::string message);

    // 1 fatal, 2 warning, 3 information; decided by `qual` alone.
    int getSeverity() const;

    // "eventViewerFatal\t<18 blanks>\tqual\tstatus\tsenseKey\tadditionalSenseCode\tsequence\t..."
    // with ldPath and description last; the four codes in hexadecimal, as the listing has them.
    // The first word is a catalogue key, for a viewer to look up.
    std::string toString() const;

    std::time_t timeStamp;
    int qual = 0;
    int status = 0;  // SCSI status
    int senseKey = 0;
    int additionalSenseCode = 0;
    std::int32_t sequence = 0;
    std::string ldPath;  // the device that the event is about
    std::string description;
};

#endif  // EVENTS_VANTEVENT_H
