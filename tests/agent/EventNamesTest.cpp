#include "agent/EventNames.h"

#include <gtest/gtest.h>

#include "events/QELEvent.h"

namespace {

TEST(EventNames, EveryObjectTypeHasItsWordAndOthersAreUnknown) {
    const char* const words[] = {"unknown",   "system",       "adapter",
                                 "array",     "logicalDrive", "physicalDrive",
                                 "enclosure", "fan",          "powerSupply"};
    for (int type = 0; type <= 8; ++type) EXPECT_EQ(words[type], objectTypeWord(type));
    for (const int type : {-1, 9, 0x7fffffff}) EXPECT_EQ("unknown", objectTypeWord(type));
}

TEST(EventNames, SeveritiesHaveWordsAndOthersShowTheirNumber) {
    const char* const words[] = {"",     "ERROR",    "WARNING", "INFO",
                                 "TASK", "PROGRESS", "DETAIL",  "ALL"};
    for (int level = 1; level <= 7; ++level) EXPECT_EQ(words[level], severityWord(level));
    EXPECT_EQ("LEVEL 0", severityWord(0));
    EXPECT_EQ("LEVEL 8", severityWord(8));
    EXPECT_EQ("LEVEL -1", severityWord(-1));
    EXPECT_EQ("", severityWord(QELEvent::kNotSet));
}

TEST(EventNames, PlacesNameTheObject) {
    struct Case {
        int type;
        Addr at;
        int value2, value3;
        const char* place;
    };
    const int no = QELEvent::kNotSet;
    const Case cases[] = {
        {QELEvent::kAdapter, Addr::ofController(1), no, no, "adapter 1"},
        {QELEvent::kLogicalDrive, Addr::ofLogicalDrive(0, 127), no, no, "array 127"},
        {QELEvent::kPhysicalDrive, Addr::ofDevice(1, 0, 3), no, no, "drive 1:0:3"},
        {QELEvent::kPhysicalDrive, Addr::ofDevice(1, Addr::kNotSet, 3), no, no, "drive 1:-:3"},
        {QELEvent::kEnclosure, Addr::ofDevice(1, 2, 9), no, no, "enclosure 1:2:9"},
        {QELEvent::kFan, Addr::ofDevice(1, 2, 9), 0, no, "fan 1 1:2:9"},
        {QELEvent::kPowerSupply, Addr::ofDevice(1, 2, 9), no, 1, "supply 2 1:2:9"},
        {QELEvent::kPowerSupply, Addr::ofDevice(1, 2, 9), no, no, "supply - 1:2:9"},
        {QELEvent::kSystem, Addr(), no, no, "system"},
        {QELEvent::kUnknown, Addr(), no, no, ""},
        {99, Addr(), no, no, ""},
    };
    for (const Case& c : cases) {
        QELEvent event;
        event.objectType = c.type;
        event.location = c.at;
        event.value2 = c.value2;
        event.value3 = c.value3;
        EXPECT_EQ(c.place, objectPlace(event));
    }
}

TEST(EventNames, OnlyTheGenericStateChangesAreCompanions) {
    for (const int code : {299, 399, 499}) EXPECT_TRUE(isCompanion(code)) << code;
    for (const int code : {200, 298, 300, 401, 500, QELEvent::kNotSet}) {
        EXPECT_FALSE(isCompanion(code)) << code;
    }
}

}  // namespace
