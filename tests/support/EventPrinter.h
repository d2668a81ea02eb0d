// EventPrinter: compares whole events, field by field, and says which fields differ.
//
//   EXPECT_TRUE(sameEvent(expected, actual));
//   EXPECT_TRUE(sameEvents({a, b}, queue.getAllEvents(), Times::kIgnore));
#ifndef TESTS_SUPPORT_EVENTPRINTER_H
#define TESTS_SUPPORT_EVENTPRINTER_H

#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "events/QELEvent.h"

enum class Times { kCompare, kIgnore };

using EventFields = std::vector<std::pair<std::string, std::string>>;

inline EventFields fieldsOf(const QELEvent& event) {
    const auto number = [](auto value) { return std::to_string(value); };
    const Addr& at = event.location;
    return {{"timeStamp", number(event.timeStamp)},
            {"eventCode", number(event.eventCode)},
            {"severity", number(event.severity)},
            {"text", event.text},
            {"objectType", number(event.objectType)},
            {"location.controllerID", number(at.controllerID)},
            {"location.arrayID", number(at.arrayID)},
            {"location.logicalDriveID", number(at.logicalDriveID)},
            {"location.channelID", number(at.channelID)},
            {"location.deviceID", number(at.deviceID)},
            {"location.chunkID", number(at.chunkID)},
            {"location.itemID", number(at.itemID)},
            {"location.phyID", number(at.phyID)},
            {"detail", event.detail},
            {"value1", number(event.value1)},
            {"value2", number(event.value2)},
            {"value3", number(event.value3)},
            {"adapterSerial", event.adapterSerial},
            {"eventId", event.eventId},
            {"flags", number(event.flags)},
            {"extra1", event.extra1},
            {"extra2", event.extra2}};
}

// The fields that differ from a new event, one a line.
inline void PrintTo(const QELEvent& event, std::ostream* out) {
    const EventFields fields = fieldsOf(event);
    const EventFields plain = fieldsOf(QELEvent());
    *out << "event {\n";
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].second != plain[i].second) {
            *out << "    " << fields[i].first << " = \"" << fields[i].second << "\"\n";
        }
    }
    *out << "}";
}

inline ::testing::AssertionResult sameEvent(const QELEvent& expected, const QELEvent& actual,
                                            Times times = Times::kCompare) {
    const EventFields wanted = fieldsOf(expected);
    const EventFields got = fieldsOf(actual);
    std::ostringstream differences;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (i == 0 && times == Times::kIgnore) continue;
        if (wanted[i].second == got[i].second) continue;
        differences << wanted[i].first << ": expected \"" << wanted[i].second << "\", got \""
                    << got[i].second << "\"\n";
    }
    if (differences.str().empty()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << differences.str();
}

inline ::testing::AssertionResult sameEvents(const std::vector<QELEvent>& expected,
                                             const std::vector<QELEvent>& actual,
                                             Times times = Times::kCompare) {
    for (std::size_t i = 0; i < expected.size() && i < actual.size(); ++i) {
        const ::testing::AssertionResult same = sameEvent(expected[i], actual[i], times);
        if (!same) return ::testing::AssertionFailure() << "event " << i << ":\n" << same.message();
    }
    if (expected.size() == actual.size()) return ::testing::AssertionSuccess();
    ::testing::AssertionResult result = ::testing::AssertionFailure();
    result << "expected " << expected.size() << " events, got " << actual.size() << "\n";
    for (const QELEvent& event : actual) result << ::testing::PrintToString(event) << "\n";
    return result;
}

#endif  // TESTS_SUPPORT_EVENTPRINTER_H
