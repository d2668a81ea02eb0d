#include "agent/sinks/RecordWords.h"

#include <gtest/gtest.h>

#include "tests/agent/SinkFixture.h"

namespace {

TEST(RecordWords, EachChoiceTakesItsRecords) {
    const Record companion = driveEvent(499);
    const Record percent = driveEvent(372, kEventProgress);
    struct {
        const char* word;
        bool notice, event, repeated;
    } cases[] = {
        {"notices", true, false, false},
        {"events", false, true, true},
        {"told", true, true, false},
        {"both", true, true, true},
    };
    for (const auto& c : cases) {
        const RecordChoice choice = recordChoice(c.word);
        EXPECT_EQ(c.notice, isChosen(choice, arrayNotice())) << c.word;
        EXPECT_EQ(c.event, isChosen(choice, driveEvent())) << c.word;
        EXPECT_EQ(c.repeated, isChosen(choice, companion)) << c.word;
        EXPECT_EQ(c.repeated, isChosen(choice, percent)) << c.word;
    }
}

TEST(RecordWords, EachSeverityHasItsWordAndPriority) {
    struct {
        int severity;
        const char* word;
        int priority;
    } cases[] = {
        {kEventError, "error", 3}, {kEventWarning, "warning", 4},   {kEventInformation, "info", 6},
        {kEventTask, "task", 6},   {kEventProgress, "progress", 7}, {kEventDetail, "detail", 7},
        {99, "level 99", 7},       {QELEvent::kNotSet, "", 5},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.word, severityOf(driveEvent(401, c.severity)));
        EXPECT_EQ(c.priority, priorityOf(driveEvent(401, c.severity))) << c.word;
    }
}

TEST(RecordWords, TheSerialIsThatOfTheDriveElseOfTheController) {
    EXPECT_EQ("S7K2M9Q0", serialOf(driveEvent()));
    EXPECT_EQ("SN0042", serialOf(driveEvent(401, kEventError, "")));
    Record notice = arrayNotice();
    EXPECT_EQ("", serialOf(notice));
    notice.object = "drive:S7K2M9Q0";
    EXPECT_EQ("S7K2M9Q0", serialOf(notice));
    notice.object = "drive:at:1:0:3";
    EXPECT_EQ("", serialOf(notice));
}

TEST(RecordWords, NumbersThatAreNotSetAreZero) {
    EXPECT_EQ(0, codeOf(driveEvent(QELEvent::kNotSet)));
    EXPECT_EQ(301, codeOf(arrayNotice()));
    EXPECT_EQ("", eventIdOf(arrayNotice()));
}

TEST(RecordWords, MessagesAreSafeLines) {
    Record record = driveEvent();
    record.event.text = "a\n\x1b[2J";
    EXPECT_EQ("a\\n\\x1b[2J", messageOf(record));
}

}  // namespace
