#include "storlib/sources/ControllerEventLog.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string listing(const ControllerEventLog& log, unsigned int controllerID, std::int64_t first) {
    std::string text;
    log.list(controllerID, first, text);
    return text;
}

TEST(ControllerEventLog, GivenARecordThenNumbersStandInHexadecimalExceptTheSequence) {
    ControllerEventLog log;
    ControllerEvent event;
    event.qual = 10;
    event.status = 2;
    event.senseKey = 1;
    event.additionalSenseCode = 0x89;
    event.ldPath = "/l5";
    event.description = "md5: rebuild started";
    for (int i = 0; i < 11; ++i) (void)log.append(3, ControllerEvent());
    EXPECT_EQ(12, log.append(0, event));
    EXPECT_EQ(
        "<Event Sequence=\"12\" Qual=\"A\" Status=\"2\" SenseKey=\"1\" "
        "AdditionalSenseCode=\"89\" LDPath=\"/l5\" Description=\"md5: rebuild started\"/>\n",
        listing(log, 0, 1));
}

// A record that says nothing but that there is something to read.
TEST(ControllerEventLog, GivenADefaultRecordThenItIsAPlainAnnouncement) {
    ControllerEventLog log;
    (void)log.append(0, ControllerEvent());
    EXPECT_EQ(
        "<Event Sequence=\"1\" Qual=\"7\" Status=\"0\" SenseKey=\"0\" "
        "AdditionalSenseCode=\"0\" LDPath=\"\" Description=\"\"/>\n",
        listing(log, 0, 0));
}

TEST(ControllerEventLog, GivenSeveralControllersThenOneCounterNumbersThemAll) {
    ControllerEventLog log;
    EXPECT_EQ(1, log.append(0, ControllerEvent()));
    EXPECT_EQ(2, log.append(1, ControllerEvent()));
    EXPECT_EQ(3, log.append(0, ControllerEvent()));
    EXPECT_EQ(0U, listing(log, 1, 1).find("<Event Sequence=\"2\""));
    EXPECT_EQ("", listing(log, 2, 1));
}

TEST(ControllerEventLog, GivenAFirstNumberThenOlderRecordsAreLeftOut) {
    ControllerEventLog log;
    for (int i = 0; i < 3; ++i) (void)log.append(0, ControllerEvent());
    EXPECT_EQ(0U, listing(log, 0, 3).find("<Event Sequence=\"3\""));
    EXPECT_EQ("", listing(log, 0, 4));
    EXPECT_EQ(listing(log, 0, 1), listing(log, 0, -1));
    std::string text = "kept ";
    log.list(0, 3, text);
    EXPECT_EQ(0U, text.find("kept <Event Sequence=\"3\""));
}

TEST(ControllerEventLog, GivenMoreRecordsThanItHoldsThenTheOldestGoFirst) {
    ControllerEventLog log(2);
    for (int i = 0; i < 5; ++i) (void)log.append(0, ControllerEvent());
    const std::string text = listing(log, 0, 1);
    EXPECT_EQ(0U, text.find("<Event Sequence=\"4\""));
    EXPECT_NE(std::string::npos, text.find("<Event Sequence=\"5\""));
}

// Listings are read without decoding entities: such characters would end a value or a tag.
TEST(ControllerEventLog, GivenTextsThatWouldEndAValueThenTheyAreMadeHarmless) {
    ControllerEventLog log;
    ControllerEvent event;
    event.ldPath = "/c0\"/><Event";
    event.description = "a&b\n\xe4";
    (void)log.append(0, event);
    EXPECT_NE(std::string::npos,
              listing(log, 0, 1).find("LDPath=\"/c0_/__Event\" Description=\"a_b_\xe4\"/>\n"));
}

}  // namespace
