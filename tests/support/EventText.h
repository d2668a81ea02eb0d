// EventText: events as text, every field of them, so that whole events are compared and a failure
// shows which field differs.
//
//   EXPECT_EQ(describeAll({expected}), describeAll(room.take()));
//
// The time stamp is seconds since ManualClock::kStart.
#ifndef TESTS_SUPPORT_EVENTTEXT_H
#define TESTS_SUPPORT_EVENTTEXT_H

#include <cstdint>
#include <string>
#include <vector>

#include "events/QELEvent.h"
#include "tests/support/ManualClock.h"

inline std::string describePlace(unsigned int value) {
    return value == Addr::kNotSet ? "-" : std::to_string(value);
}

inline std::string describe(const QELEvent& e) {
    const auto value = [](int v) { return v == QELEvent::kNotSet ? "-" : std::to_string(v); };
    const Addr& a = e.location;
    return "code " + value(e.eventCode) + ", severity " + value(e.severity) + ", id '" + e.eventId +
           "', text '" + e.text + "', object " + std::to_string(e.objectType) + ", at A" +
           describePlace(a.controllerID) + " array" + describePlace(a.arrayID) + " L" +
           describePlace(a.logicalDriveID) + " C" + describePlace(a.channelID) + " S" +
           describePlace(a.deviceID) + " chunk" +
           (a.chunkID == Addr::kChunkNotSet ? "-" : std::to_string(a.chunkID)) + " item" +
           describePlace(a.itemID) + " phy" + describePlace(a.phyID) + ", serial '" +
           e.adapterSerial + "', detail '" + e.detail + "', values " + value(e.value1) + " " +
           value(e.value2) + " " + value(e.value3) + ", flags " + std::to_string(e.flags) +
           ", extra '" + e.extra1 + "' '" + e.extra2 + "', second " +
           std::to_string(static_cast<std::int64_t>(e.timeStamp) - ManualClock::kStart);
}

inline std::vector<std::string> describeAll(const std::vector<QELEvent>& events) {
    std::vector<std::string> lines;
    for (const QELEvent& event : events) lines.push_back(describe(event));
    return lines;
}

// "408/3 499/1": code and severity of each.
inline std::string summary(const std::vector<QELEvent>& events) {
    std::string text;
    for (const QELEvent& event : events) {
        if (!text.empty()) text += ' ';
        text += std::to_string(event.eventCode) + "/" + std::to_string(event.severity);
    }
    return text;
}

// An event that is expected; fill in the rest by hand.
inline QELEvent expectedEvent(int code, int severity, const std::string& text,
                              const std::string& identifier, int objectType, const Addr& where,
                              const std::string& adapterSerial) {
    QELEvent event(code, severity, text, identifier);
    event.objectType = objectType;
    event.location = where;
    event.adapterSerial = adapterSerial;
    return event;
}

#endif  // TESTS_SUPPORT_EVENTTEXT_H
