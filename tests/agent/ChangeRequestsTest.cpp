#include "agent/daemon/ChangeRequests.h"

#include <gtest/gtest.h>

#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/FastClock.h"

namespace {

using Json = nlohmann::ordered_json;

std::string refusalOf(const Json& request) {
    try {
        (void)ChangeRequests::eventsOf(request);
    } catch (const Failure& e) {
        return e.what();
    }
    return "";
}

TEST(ChangeRequests, TheEventsOfADrillAreReadAsTheyAreWritten) {
    QELEvent event(401, kEventError, "Drive failed", "EVENT_X");
    event.timeStamp = 1763703012;
    event.objectType = QELEvent::kPhysicalDrive;
    event.location = Addr::ofDevice(1, 0, 2);
    event.value2 = 7;
    event.extra1 = "S2";
    const std::vector<QELEvent> read =
        ChangeRequests::eventsOf({{"do", "drill"}, {"events", {eventObject(event)}}});
    ASSERT_EQ(1u, read.size());
    EXPECT_EQ(eventJson(event), eventJson(read[0]));
}

TEST(ChangeRequests, GivenAnEventWithoutATimeThenItHappensNow) {
    const FastClock clock(1763703012);
    for (const Json& event : {Json{{"code", 401}}, Json{{"code", 401}, {"time", nullptr}},
                              Json{{"code", 401}, {"time", "yesterday"}, {"location", 7}}}) {
        const std::vector<QELEvent> read = ChangeRequests::eventsOf({{"events", {event}}});
        ASSERT_EQ(1u, read.size());
        EXPECT_EQ(1763703012, read[0].timeStamp) << event;
        EXPECT_EQ(401, read[0].eventCode);
    }
}

TEST(ChangeRequests, WhatIsNoListOfEventsIsRefused) {
    EXPECT_EQ("a drill needs \"events\"", refusalOf(Json::object()));
    EXPECT_EQ("a drill needs \"events\"", refusalOf({{"events", Json::array()}}));
    for (const Json& bad : {Json(1), Json("x"), Json(nullptr), Json::array()}) {
        EXPECT_EQ("each of \"events\" is an object; see raidwatch watch --json",
                  refusalOf(Json{{"events", Json::array({bad})}}))
            << bad;
    }
}

}  // namespace
