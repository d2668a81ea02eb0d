#include "agent/daemon/ChangeDesk.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "agent/Failure.h"
#include "agent/daemon/Bell.h"
#include "agent/daemon/ChangeRequests.h"

namespace {

using Json = nlohmann::ordered_json;

TEST(ChangeDesk, AChangeIsCarriedOutByWhoServes) {
    Bell bell;
    ChangeDesk desk([&] { bell.ring(); });
    Json answer;
    std::thread asking([&] { answer = desk.change({{"id", 3}}); });
    while (!desk.hasWork()) bell.waitFor(std::chrono::milliseconds(100));
    const std::thread::id here = std::this_thread::get_id();
    desk.serve([&](const Json& request) {
        EXPECT_EQ(here, std::this_thread::get_id());
        return Json{{"got", request["id"]}};
    });
    asking.join();
    EXPECT_EQ(3, answer["got"]);
}

TEST(ChangeDesk, WhatCarryingOutThrowsComesBack) {
    Bell bell;
    ChangeDesk desk([&] { bell.ring(); });
    std::string error;
    std::thread asking([&] {
        try {
            (void)desk.change({});
        } catch (const Failure& e) {
            error = e.what();
        }
    });
    while (!desk.hasWork()) bell.waitFor(std::chrono::milliseconds(100));
    desk.serve([](const Json&) -> Json { throw Failure(Failure::kFailed, "no"); });
    asking.join();
    EXPECT_EQ("no", error);
}

TEST(ChangeDesk, GivenItIsClosedThenNobodyWaits) {
    ChangeDesk desk([] {});
    std::atomic<bool> told{false};
    std::thread asking([&] {
        EXPECT_THROW((void)desk.change({}), Failure);
        told = true;
    });
    while (!desk.hasWork()) std::this_thread::yield();
    desk.close();
    asking.join();
    EXPECT_TRUE(told);
    EXPECT_THROW((void)desk.change({}), Failure);
}

struct Refused {
    const char* when;
    const char* request;
};

TEST(ChangeRequests, WhatMakesNoSenseIsRefused) {
    EXPECT_THROW((void)ChangeRequests::idOf(Json::parse("{}")), Failure);
    EXPECT_THROW((void)ChangeRequests::idOf(Json::parse(R"({"id": -1})")), Failure);
    for (const Refused& c : {Refused{"no end", R"({"object": "a"})"},
                             Refused{"an end in the past", R"({"until": 10})"},
                             Refused{"ends before it begins", R"({"from": 300, "until": 200})"}}) {
        EXPECT_THROW((void)ChangeRequests::silenceOf(Json::parse(c.request), 100), Failure)
            << c.when;
    }
    for (const Refused& c :
         {Refused{"no events", "{}"}, Refused{"none at all", R"({"events": []})"},
          Refused{"no objects", R"({"events": [1]})"}, Refused{"no list", R"({"events": {}})"}}) {
        EXPECT_THROW((void)ChangeRequests::eventsOf(Json::parse(c.request)), Failure) << c.when;
    }
    EXPECT_THROW((void)ChangeRequests::sinksOf(Json::parse(R"({"sinks": [1]})")), Failure);
}

TEST(ChangeRequests, AnEventIsReadBackFromItsJson) {
    const std::vector<QELEvent> events = ChangeRequests::eventsOf(Json::parse(
        R"({"events": [{"time": "2026-11-21T04:50:23Z", "code": 404, "severity": 1,
            "eventId": "E", "text": "t", "objectType": "fan", "location": {"controllerID": 0,
            "channelID": 1, "deviceID": 7}, "detail": "d", "value1": null, "value2": 2,
            "adapterSerial": "SN", "extra1": "x"}]})"));
    ASSERT_EQ(1u, events.size());
    const QELEvent& event = events[0];
    EXPECT_EQ(1795236623, event.timeStamp);
    EXPECT_EQ(404, event.eventCode);
    EXPECT_EQ(QELEvent::kFan, event.objectType);
    EXPECT_EQ(7u, event.location.deviceID);
    EXPECT_EQ(Addr::kNotSet, event.location.arrayID);
    EXPECT_EQ(QELEvent::kNotSet, event.value1);
    EXPECT_EQ(2, event.value2);
    EXPECT_EQ("SN", event.adapterSerial);
    EXPECT_EQ("x", event.extra1);
}

TEST(ChangeRequests, ASilenceBeginsNowUnlessItSaysOtherwise) {
    const Silence silence = ChangeRequests::silenceOf(
        Json::parse(R"({"object": "drive:S1", "until": 200, "reason": "r", "by": "ann"})"), 100);
    EXPECT_EQ(100, silence.from);
    EXPECT_EQ(200, silence.until);
    EXPECT_EQ("drive:S1", silence.object);
    EXPECT_EQ("ann", silence.by);
}

}  // namespace
