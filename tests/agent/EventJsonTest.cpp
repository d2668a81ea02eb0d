#include "agent/EventJson.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

QELEvent driveFailed() {
    QELEvent event(404, kEventError, "Drive failed.", "EVENT_TORVEX_PD_STATE_FAILED");
    event.timeStamp = 1795323023;
    event.objectType = QELEvent::kPhysicalDrive;
    event.location = Addr::ofDevice(0, 1, 7);
    event.detail = "39R7342";
    event.adapterSerial = "SN0042";
    event.extra1 = "3KS0Z9QX";
    return event;
}

TEST(EventJson, GivenADriveEventThenPrintsEveryMemberInOrderOnOneLine) {
    EXPECT_EQ(
        R"({"time":"2026-11-22T04:50:23Z","code":404,"severity":1,)"
        R"("eventId":"EVENT_TORVEX_PD_STATE_FAILED","text":"Drive failed.",)"
        R"("objectType":"physicalDrive","location":{"controllerID":0,"channelID":1,"deviceID":7},)"
        R"("detail":"39R7342","value1":null,"value2":null,"value3":null,)"
        R"("adapterSerial":"SN0042","extra1":"3KS0Z9QX","extra2":"","flags":0})",
        eventJson(driveFailed()));
}

TEST(EventJson, GivenAStepThenItIsTheLastMember) {
    const std::string line = eventJson(driveFailed(), "02-member-failed");
    const std::string end = R"(,"flags":0,"step":"02-member-failed"})";
    ASSERT_GT(line.size(), end.size());
    EXPECT_EQ(end, line.substr(line.size() - end.size()));
}

TEST(EventJson, GivenNothingSetThenNumbersAreNullAndTheLocationIsEmpty) {
    QELEvent event;
    event.timeStamp = 0;
    EXPECT_EQ(
        R"({"time":"1970-01-01T00:00:00Z","code":null,"severity":null,"eventId":"","text":"",)"
        R"("objectType":"unknown","location":{},"detail":"","value1":null,"value2":null,)"
        R"("value3":null,"adapterSerial":"","extra1":"","extra2":"","flags":0})",
        eventJson(event));
}

TEST(EventJson, GivenEveryIdentifierThenPrintsThemAll) {
    QELEvent event;
    event.location = Addr(0, 1, 2, 3, 4, 5, 6, 7);
    const auto json = nlohmann::ordered_json::parse(eventJson(event));
    EXPECT_EQ(R"({"controllerID":0,"arrayID":1,"logicalDriveID":2,"channelID":3,"deviceID":4,)"
              R"("chunkID":5,"itemID":6,"phyID":7})",
              json["location"].dump());
}

TEST(EventJson, GivenAChunkOfMinusOneThenItCountsAsNotSet) {
    QELEvent event;
    event.location.chunkID = -1;
    EXPECT_TRUE(nlohmann::json::parse(eventJson(event))["location"].empty());
}

TEST(EventJson, GivenHostileTextThenStaysOneValidLine) {
    QELEvent event = driveFailed();
    event.text = "a\nb\x1b[2J\"\\";
    event.extra1 = "ok\xff!";
    const std::string line = eventJson(event);
    EXPECT_EQ(std::string::npos, line.find('\n'));
    EXPECT_EQ(std::string::npos, line.find('\x1b'));
    const auto json = nlohmann::json::parse(line);
    EXPECT_EQ(event.text, json["text"].get<std::string>());
    EXPECT_EQ("ok\xef\xbf\xbd!", json["extra1"].get<std::string>());
}

TEST(EventJson, GivenFanAndSupplyNumbersThenKeepsZero) {
    QELEvent event;
    event.value2 = 0;
    event.value3 = 31;
    const auto json = nlohmann::json::parse(eventJson(event));
    EXPECT_TRUE(json["value1"].is_null());
    EXPECT_EQ(0, json["value2"].get<int>());
    EXPECT_EQ(31, json["value3"].get<int>());
}

}  // namespace
