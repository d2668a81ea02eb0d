#include "agent/EventText.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

class EventTextTest : public testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        event.timeStamp = 1000000000;
        event.eventCode = 401;
        event.severity = kEventError;
        event.objectType = QELEvent::kPhysicalDrive;
        event.location = Addr::ofDevice(1, 0, 3);
        event.text = "Drive failed: controller 2, port 3.";
    }

    QELEvent event;
};

TEST_F(EventTextTest, GivenNoTerminalThenOnePlainLine) {
    EXPECT_EQ(
        "2001-09-09 01:46:40  ERROR     401  drive 1:0:3      Drive failed: controller 2, port "
        "3.\n",
        EventText({0, false}).lines(event));
}

TEST_F(EventTextTest, GivenALongTextThenGoesOnBelowItsBeginning) {
    EXPECT_EQ(
        "2001-09-09 01:46:40  ERROR     401  drive 1:0:3      Drive failed: controller 2,\n"
        "                                                     port 3.\n",
        EventText({84, false}).lines(event));
}

TEST_F(EventTextTest, GivenANarrowTerminalThenTheTextStartsOnALineOfItsOwn) {
    EXPECT_EQ(
        "2001-09-09 01:46:40  ERROR     401  drive 1:0:3\n"
        "    Drive failed: controller 2, port\n"
        "    3.\n",
        EventText({38, false}).lines(event));
}

TEST_F(EventTextTest, GivenColoursThenTheSeverityWordHasOne) {
    const std::string line = EventText({0, true}).lines(event);
    EXPECT_NE(std::string::npos, line.find("\x1b[1;31mERROR   \x1b[0m")) << line;
    EXPECT_EQ(std::string::npos, line.find("\x1b[2m  ")) << line;
}

TEST_F(EventTextTest, GivenACompanionThenTheLineIsDimmed) {
    event.eventCode = 499;
    const std::string line = EventText({0, true}).lines(event);
    EXPECT_NE(std::string::npos, line.find("\x1b[2mERROR   \x1b[0m")) << line;
    EXPECT_NE(std::string::npos, line.find("\x1b[2m499  drive 1:0:3")) << line;
    EXPECT_EQ(std::string::npos, line.find("\x1b[1;31m")) << line;
}

TEST_F(EventTextTest, GivenAHostileTextThenNoControlCharacterIsPrinted) {
    event.text = "model \x1b]0;owned\x07\n\xff";
    const std::string line = EventText({0, false}).lines(event);
    EXPECT_NE(std::string::npos, line.find("model \\x1b]0;owned\\x07\\n\\xff\n")) << line;
}

TEST_F(EventTextTest, GivenNothingSetThenStillALine) {
    QELEvent empty;
    empty.timeStamp = 0;
    EXPECT_EQ("1970-01-01 00:00:00            -                     \n",
              EventText({0, false}).lines(empty));
}

TEST_F(EventTextTest, StepHeaderIsMadeSafe) {
    EXPECT_EQ("== 01-clean\n", EventText({0, false}).stepHeader("01-clean"));
    EXPECT_EQ("== a\\x1b\n", EventText({0, false}).stepHeader("a\x1b"));
}

}  // namespace
