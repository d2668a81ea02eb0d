#include "snapshot/QELSafteStatus.h"

#include <string>

#include "gtest/gtest.h"
#include "storlib/SafteStatus.h"
#include "tests/support/SnapshotText.h"

namespace {

// The element with byte i of all 130 set to valueOf(i).
template <class ValueOf>
std::string statusElement(ValueOf valueOf) {
    std::string text = "<SafteStatus";
    int row = 0;
    const auto add = [&](const std::string& name) {
        text += " " + name + "=\"" + std::to_string(valueOf(row++)) + "\"";
    };
    for (int i = 0; i < 32; ++i) add("fan" + std::to_string(i));
    for (int i = 0; i < 32; ++i) add("powerSupply" + std::to_string(i));
    for (int i = 0; i < 64; ++i) add("slot" + std::to_string(i));
    add("tempFlags1");
    add("tempFlags2");
    return text + "/>";
}

TEST(QELSafteStatus, StartsUnknownAndEmpty) {
    EXPECT_EQ(statusElement([](int row) { return row < 64    ? 128
                                                 : row < 128 ? 255
                                                             : 0; }),
              elementOf(QELSafteStatus()));
}

TEST(QELSafteStatus, ReadElementWritesTheSameElement) {
    const std::string text = statusElement([](int row) { return row + 100; });
    QELSafteStatus status;
    parseInto(status, text);
    EXPECT_EQ(text, elementOf(status));
    EXPECT_EQ(100, status.fanStatus[0]);
    EXPECT_EQ(229, status.tempFlags2);
    EXPECT_TRUE(status.isTempOutOfRange());
}

TEST(QELSafteStatus, MissingAndWideValuesAreReadAsBytes) {
    QELSafteStatus status;
    parseInto(status, R"(<SafteStatus fan1="257" slot2="-1"/>)");
    EXPECT_EQ(0, status.fanStatus[0]);
    EXPECT_EQ(1, status.fanStatus[1]);
    EXPECT_EQ(255, status.slotDeviceID[2]);
    EXPECT_EQ(0, status.slotDeviceID[3]);
}

TEST(QELSafteStatus, CopiesFromTheLibraryAndFromItsOwnKind) {
    SafteStatus live;
    live.fanStatus[31] = 1;
    live.slotDeviceID[63] = 9;
    live.tempFlags2 = 4;
    QELSafteStatus first;
    first.build(&live);
    EXPECT_EQ(1, first.getFanStatus(31));
    EXPECT_EQ(63, first.getSlotNumberFromDeviceID(9));
    EXPECT_TRUE(first.isTempOutOfRange());
    QELSafteStatus second;
    second.build(&first);
    const QELSafteStatus third(second);
    EXPECT_EQ(elementOf(first), elementOf(third));
}

TEST(QELSafteStatus, QueriesBeyondTheirLimitsSayUnknown) {
    QELSafteStatus status;
    status.fanStatus[31] = 1;
    status.powerSupplyStatus[31] = 16;
    status.slotDeviceID[63] = 9;
    EXPECT_EQ(1, status.getFanStatus(31));
    EXPECT_EQ(128, status.getFanStatus(32));
    EXPECT_EQ(128, status.getFanStatus(65535));
    EXPECT_EQ(16, status.getPowerSupplyStatus(31));
    EXPECT_EQ(128, status.getPowerSupplyStatus(32));
    EXPECT_EQ(9, status.getDeviceIDFromSlotNumber(63));
    EXPECT_EQ(0x7fffffff, status.getDeviceIDFromSlotNumber(64));
    EXPECT_EQ(0x7fffffff, status.getDeviceIDFromSlotNumber(-1));
    EXPECT_EQ(0x7fffffff, status.getSlotNumberFromDeviceID(10));
    EXPECT_EQ(0x7fffffff, status.getSlotNumberFromDeviceID(9 + 256));
    EXPECT_EQ(0, status.getSlotNumberFromDeviceID(255));  // the first empty slot
    EXPECT_FALSE(status.isTempOutOfRange());
    status.tempFlags1 = 0x80;
    EXPECT_TRUE(status.isTempOutOfRange());
}

TEST(QELSafteStatus, AnswersToItsOwnNameOnly) {
    const QELSafteStatus status;
    EXPECT_TRUE(status.isInstanceOf("QELSafteStatus"));
    EXPECT_FALSE(status.isInstanceOf("SafteStatus"));
    EXPECT_FALSE(status.isInstanceOf("RaidObject"));
    EXPECT_STREQ("SafteStatus", status.typeName());
    EXPECT_STREQ("SafteStatus", status.serializedName());
}

}  // namespace
