#include "events/QELEvent.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <iterator>
#include <string>
#include <type_traits>

#include "storlib/Adapter.h"
#include "tests/support/EventPrinter.h"
#include "tests/support/ManualClock.h"

namespace {

constexpr const char* kPlace = ":A--C--S--L---";

struct QELEventTest : ::testing::Test {
    QELEventTest() {
        setenv("TZ", "UTC", 1);
        tzset();
    }
    // What toString() writes behind the time.
    static std::string lineOf(const QELEvent& event) {
        const std::string line = event.toString();
        EXPECT_EQ("Sun Sep  9 01:46:40 2001", line.substr(0, 24));
        return line.substr(24);
    }
    ManualClock clock;
};

TEST_F(QELEventTest, GivenNoArgumentsThenNothingIsSetButTheTime) {
    const QELEvent event;
    EXPECT_EQ(ManualClock::kStart, event.timeStamp);
    EXPECT_EQ(0x7fffffff, event.eventCode);
    EXPECT_EQ(0x7fffffff, event.severity);
    EXPECT_EQ("", event.text);
    EXPECT_EQ(0, event.objectType);
    EXPECT_TRUE(event.location.IsEqual(Addr()));
    EXPECT_EQ("", event.detail);
    EXPECT_EQ(0x7fffffff, event.value1);
    EXPECT_EQ(0x7fffffff, event.value2);
    EXPECT_EQ(0x7fffffff, event.value3);
    EXPECT_EQ("", event.adapterSerial);
    EXPECT_EQ("", event.eventId);
    EXPECT_EQ(0, event.flags);
    EXPECT_EQ("", event.extra1);
    EXPECT_EQ("", event.extra2);
}

TEST_F(QELEventTest, TheShortFormSetsCodeSeverityTextAndIdentifier) {
    QELEvent expected;
    expected.eventCode = 299;
    expected.severity = 3;
    expected.text = "text";
    expected.eventId = "EVENT_X";
    EXPECT_TRUE(sameEvent(expected, QELEvent(299, 3, "text", "EVENT_X")));
}

TEST_F(QELEventTest, TheFullFormSetsAllButObjectTypeAndFlags) {
    const Addr where(1, 2, 3, 4, 5, 6, 7, 8);
    QELEvent expected(418, 2, "text", "EVENT_X");
    expected.location = where;
    expected.value1 = 11;
    expected.value2 = 12;
    expected.value3 = 13;
    expected.adapterSerial = "serial";
    expected.detail = "detail";
    const QELEvent event(418, 2, "text", where, 11, 12, 13, "serial", "EVENT_X", "detail");
    EXPECT_TRUE(sameEvent(expected, event));
}

QELEvent fullEvent() {
    QELEvent event(418, 2, "text", Addr(1, 2, 3, 4, 5, 6, 7, 8), 11, 12, 13, "serial", "EVENT_X",
                   "detail");
    event.objectType = QELEvent::kPhysicalDrive;
    event.flags = 9;
    event.extra1 = "one";
    event.extra2 = "two";
    return event;
}

TEST_F(QELEventTest, FieldsStandInTheirOrder) {
    const QELEvent e;
    const void* const places[] = {&e.timeStamp,  &e.eventCode, &e.severity,      &e.text,
                                  &e.objectType, &e.location,  &e.detail,        &e.value1,
                                  &e.value2,     &e.value3,    &e.adapterSerial, &e.eventId,
                                  &e.flags,      &e.extra1,    &e.extra2};
    for (std::size_t i = 1; i < std::size(places); ++i) EXPECT_LT(places[i - 1], places[i]) << i;
}

TEST_F(QELEventTest, CopyAndAssignmentTakeEveryField) {
    static_assert(!std::is_polymorphic<QELEvent>::value, "a plain value");
    static_assert(std::is_nothrow_move_constructible<QELEvent>::value, "the queue counts on it");
    const QELEvent event = fullEvent();
    clock.advance(5);
    const QELEvent copy = event;
    EXPECT_TRUE(sameEvent(event, copy));
    QELEvent assigned;
    assigned = event;
    EXPECT_TRUE(sameEvent(event, assigned));
}

TEST_F(QELEventTest, ResetTakesTheTimeAndKeepsOnlyTheSpareTexts) {
    QELEvent event = fullEvent();
    clock.advance(5);
    event.reset();
    QELEvent expected;
    expected.extra1 = "one";
    expected.extra2 = "two";
    EXPECT_TRUE(sameEvent(expected, event));
    EXPECT_EQ(ManualClock::kStart + 5, event.timeStamp);
}

TEST_F(QELEventTest, GivenNoAdapterThenTheSerialStays) {
    QELEvent event;
    event.adapterSerial = "before";
    event.setAdapterSerial(nullptr);
    EXPECT_EQ("before", event.adapterSerial);
}

TEST_F(QELEventTest, GivenAnAdapterThenItsSerialOrElseItsPlaceIsTaken) {
    Adapter adapter;
    adapter.pciBus = 3;
    adapter.pciDevice = 0;
    adapter.pciFunction = 1;
    QELEvent event;
    event.adapterSerial = "before";
    event.setAdapterSerial(&adapter);
    EXPECT_EQ("3-0-1", event.adapterSerial);
    std::strcpy(adapter.controllerSerial, "SN 7");
    event.setAdapterSerial(&adapter);
    EXPECT_EQ("SN 7", event.adapterSerial);
    std::memset(adapter.controllerSerial, 'x', sizeof(adapter.controllerSerial));
    event.setAdapterSerial(&adapter);
    EXPECT_EQ(std::string(sizeof(adapter.controllerSerial), 'x'), event.adapterSerial);
}

struct WordCase {
    int value;
    const char* word;
};

// clang-format off
constexpr WordCase kSeverities[] = {
    {1, "ERR"}, {2, "WRN"}, {3, "INF"}, {4, "INF"}, {5, "INF"}, {6, "INF"}, {7, "INF"},
    {0, "---"}, {8, "---"}, {-1, "---"}, {0x7fffffff, "---"}, {INT_MIN, "---"},
};
constexpr WordCase kObjects[] = {
    {0, "UNKN"}, {1, "SYS "}, {2, "ADPT"}, {3, "ARR "}, {4, "LDRV"},
    {5, "PDRV"}, {6, "ENCL"}, {7, "FAN "}, {8, "PWSP"},
    {9, "UNKN"}, {-1, "UNKN"}, {0x7fffffff, "UNKN"}, {INT_MIN, "UNKN"},
};
constexpr WordCase kCodes[] = {
    {299, "299"}, {7, "007"}, {0, "000"}, {1234, "1234"}, {-5, "-05"}, {0x7fffffff, "---"},
    {INT_MIN, "-2147483648"},
};
// clang-format on

TEST_F(QELEventTest, EachSeverityHasItsWord) {
    for (const WordCase& c : kSeverities) {
        QELEvent event;
        event.severity = c.value;
        EXPECT_EQ(std::string(" | ") + c.word + " | UNKN | ---" + kPlace + " | ", lineOf(event));
    }
}

TEST_F(QELEventTest, EachKindOfObjectHasItsWord) {
    for (const WordCase& c : kObjects) {
        QELEvent event;
        event.objectType = c.value;
        EXPECT_EQ(std::string(" | --- | ") + c.word + " | ---" + kPlace + " | ", lineOf(event));
    }
}

TEST_F(QELEventTest, CodesHaveThreeDigitsOrDashes) {
    for (const WordCase& c : kCodes) {
        QELEvent event;
        event.eventCode = c.value;
        EXPECT_EQ(std::string(" | --- | UNKN | ") + c.word + kPlace + " | ", lineOf(event));
    }
}

TEST_F(QELEventTest, PlacesAreCountedFromZeroAndDashedWhereNotSet) {
    QELEvent event(299, 3, "the text", "EVENT_X");
    event.objectType = QELEvent::kAdapter;
    event.location.controllerID = 1;
    EXPECT_EQ("Sun Sep  9 01:46:40 2001 | INF | ADPT | 299:A01C--S--L--- | the text",
              event.toString());
    event.location = Addr(0, 9, 2, 3, 45);
    EXPECT_EQ(" | INF | ADPT | 299:A00C03S45L002 | the text", lineOf(event));
    event.location = Addr(123, 9, 1234, 100, 4294967295U);
    EXPECT_EQ(" | INF | ADPT | 299:A123C100S-1L1234 | the text", lineOf(event));
}

TEST_F(QELEventTest, GivenALongTextThenItIsPrintedWhole) {
    const std::string text(100000, 'x');
    EXPECT_EQ(std::string(" | ERR | UNKN | 001") + kPlace + " | " + text,
              lineOf(QELEvent(1, 1, text, "")));
}

}  // namespace
