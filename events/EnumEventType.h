// EnumEventType: how important an event is, and the least important one that a queue keeps.
//
// A larger number is less important. Values outside the list occur: hosts hand in any level, and
// an event without a severity holds QELEvent::kNotSet.
#ifndef EVENTS_ENUMEVENTTYPE_H
#define EVENTS_ENUMEVENTTYPE_H

enum EnumEventType : int {
    kEventError = 1,
    kEventWarning = 2,
    kEventInformation = 3,
    kEventTask = 4,      // a background task started, ended or failed
    kEventProgress = 5,  // a task advanced
    kEventDetail = 6,
    kEventAll = 7,
};

#endif  // EVENTS_ENUMEVENTTYPE_H
