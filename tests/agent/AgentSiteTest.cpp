#include "agent/web/AgentSite.h"

#include <gtest/gtest.h>

#include <map>

#include "agent/page/Page.h"
#include "tests/agent/support/WebRoom.h"

namespace {

using web::Json;

class AgentSiteTest : public testing::Test {
protected:
    AgentSiteTest() : site(room.files(), room.rules) {}

    WebAnswer get(const std::string& path, WebRequest::Pairs parameters = {},
                  WebRequest::Pairs headers = {}) {
        WebRequest request;
        request.method = "GET";
        request.path = path;
        request.headers = std::move(headers);
        request.headers.emplace_back("host", "localhost");
        request.parameters = std::move(parameters);
        return site.answer(request);
    }
    Json json(const std::string& path, WebRequest::Pairs parameters = {}) {
        return Json::parse(get(path, std::move(parameters)).body, nullptr, false);
    }
    void pollOld(std::int64_t age) {
        MachineState state = web::Room::machine();
        state.polledAt -= age;
        room.poll(state);
    }

    web::Room room;
    AgentSite site;
};

TEST_F(AgentSiteTest, HealthIsFreshPollsAndNothingElse) {
    EXPECT_EQ(503, get("/healthz").status);
    EXPECT_EQ("UNKNOWN: no poll has completed yet\n", get("/healthz").body);
    pollOld(100);
    EXPECT_EQ(200, get("/healthz").status);
    EXPECT_EQ(0u, get("/healthz").body.find("OK: the last completed poll is 1 min 4"))
        << get("/healthz").body;
    pollOld(3600);
    EXPECT_EQ(503, get("/healthz").status);
    EXPECT_EQ("UNKNOWN: the last completed poll is 1 h old\n", get("/healthz").body);
    pollOld(-3600);
    EXPECT_EQ(503, get("/healthz").status);
    EXPECT_EQ(0u, get("/healthz").body.find("UNKNOWN: the last completed poll is dated "));
}

TEST_F(AgentSiteTest, MetricsAreThoseOfTheLastPollHoweverOld) {
    EXPECT_NE(std::string::npos, get("/metrics").body.find("\nraidwatch_up_to_date 0\n"));
    room.poll();
    const WebAnswer answer = get("/metrics");
    EXPECT_EQ(200, answer.status);
    EXPECT_EQ("text/plain; version=0.0.4; charset=utf-8", answer.type);
    EXPECT_NE(std::string::npos, answer.body.find("\nraidwatch_up_to_date 1\n"));
    const std::string drive = "\nraidwatch_drive_info{drive=\"drive:";
    EXPECT_NE(std::string::npos, answer.body.find(drive));
    pollOld(3600);
    EXPECT_NE(std::string::npos, get("/metrics").body.find("\nraidwatch_up_to_date 0\n"));
    EXPECT_NE(std::string::npos, get("/metrics").body.find(drive));
    site.rest();
    EXPECT_EQ(200, get("/metrics").status);
}

TEST_F(AgentSiteTest, StatusIsThatOfTheVerb) {
    room.poll();
    const Json status = json("/api/v1/status");
    EXPECT_EQ("OK", status["verdict"]);
    EXPECT_EQ("all 1 array and 1 drive are in order", status["sentence"]);
    EXPECT_EQ(true, status["watched"]);
    EXPECT_EQ("md0", status["state"]["arrays"][0]["name"]);
    EXPECT_FALSE(status["state"].contains("daemon"));
}

TEST_F(AgentSiteTest, GivenAStalePollThenNothingIsCalledNormalAnywhere) {
    pollOld(301);
    EXPECT_EQ("UNKNOWN", json("/api/v1/status")["verdict"]);
    for (const char* path : {"/api/v1/status", "/api/v1/arrays", "/api/v1/drives",
                             "/api/v1/arrays/array:0:0", "/api/v1/drives/drive:S0"}) {
        const std::string body = get(path).body;
        EXPECT_EQ(200, get(path).status) << path;
        EXPECT_EQ(std::string::npos, body.find("normal")) << path << body;
        EXPECT_EQ(std::string::npos, body.find("\"active\"")) << path << body;
        EXPECT_NE(std::string::npos, body.find("\"state\":\"unknown\"")) << path;
    }
    EXPECT_NE(std::string::npos, site.standing().find("\"verdict\":\"UNKNOWN\""));
}

TEST_F(AgentSiteTest, GivenNoPollThenListsAreNotEmptyButUnavailable) {
    EXPECT_EQ("UNKNOWN", json("/api/v1/status")["verdict"]);
    for (const char* path : {"/api/v1/arrays", "/api/v1/drives", "/api/v1/enclosures",
                             "/api/v1/controllers", "/api/v1/arrays/array:0:0"}) {
        const WebAnswer answer = get(path);
        EXPECT_EQ(503, answer.status) << path;
        EXPECT_EQ("application/problem+json", answer.type);
    }
}

TEST_F(AgentSiteTest, GivenADamagedStateThenSaysSoAndCallsNothingWell) {
    room.dir.write("state.json", "{");
    EXPECT_EQ(500, get("/api/v1/status").status);
    EXPECT_EQ(500, get("/api/v1/arrays").status);
    EXPECT_EQ(500, get("/healthz").status);
    EXPECT_NE(std::string::npos, site.standing().find("\"verdict\":\"UNKNOWN\""));
    room.poll();
    EXPECT_EQ(200, get("/healthz").status);
}

TEST_F(AgentSiteTest, ObjectsAreFoundByTheirKeysWithTheirEvents) {
    room.poll();
    for (int i = 0; i < 7; ++i) room.record(400 + i, "drive:S0");
    room.record(301, "array:0:0");
    const Json drive = json("/api/v1/drives/drive:S0");
    EXPECT_EQ("drive:S0", drive["key"]);
    EXPECT_EQ(Json::array(), drive["incidents"]);
    ASSERT_EQ(5u, drive["events"].size());
    EXPECT_EQ(402, drive["events"][0]["data"]["event"]["code"]);
    EXPECT_EQ(406, drive["events"][4]["data"]["event"]["code"]);
    EXPECT_EQ(404, get("/api/v1/arrays/drive:S0").status) << "a drive is no array";
    EXPECT_EQ(404, get("/api/v1/drives/drive:S9").status);
    EXPECT_EQ(404, get("/api/v1/drives/").status);
    EXPECT_EQ(404, get("/api/v1/nothing").status);
    EXPECT_EQ(404, get("/api/v2/status").status);
    EXPECT_EQ(404, get("/../etc/passwd").status);
}

std::string codesIn(const Json& list) {
    std::string codes;
    for (const Json& each : list) codes += each["data"]["event"]["code"].dump() + " ";
    return codes;
}

TEST_F(AgentSiteTest, EventsTakeEveryFilter) {
    room.record(401, "drive:A", kEventError);
    room.record(305, "array:0:0", kEventWarning);
    room.record(402, "drive:B", kEventInformation);
    struct Case {
        WebRequest::Pairs parameters;
        const char* codes;
    };
    const Case cases[] = {
        {{}, "401 305 402 "},
        {{{"after", "1"}}, "305 402 "},
        {{{"after", "1"}, {"limit", "1"}}, "305 "},
        {{{"limit", "1"}}, "402 "},  // the last one
        {{{"severity", "error"}}, "401 "},
        {{{"severity", "warning"}}, "401 305 "},
        {{{"object", "drive:A"}}, "401 "},
        {{{"code", "402,305"}}, "305 402 "},
        {{{"type", "notice"}}, ""},
        {{{"type", "event"}}, "401 305 402 "},
        {{{"since", "2001-01-01T00:00:00Z"}}, "401 305 402 "},
        {{{"until", "2001-01-01T00:00:00Z"}}, ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.codes, codesIn(json("/api/v1/events", c.parameters)))
            << (c.parameters.empty() ? "" : c.parameters[0].first);
    }
}

TEST_F(AgentSiteTest, GivenWhatNobodyUnderstandsThenSaysWhatToGive) {
    struct Case {
        const char* path;
        WebRequest::Pairs parameters;
        const char* detail;
    };
    const Case cases[] = {
        {"/api/v1/events",
         {{"afer", "1"}},
         "there is no parameter \"afer\"; there is after, since, until, severity, object, code, "
         "type, limit"},
        {"/api/v1/events",
         {{"after", "-1"}},
         "after is \"-1\"; give a whole number, 0 to 9223372036854775807"},
        {"/api/v1/events",
         {{"after", "99999999999999999999"}},
         "after is \"99999999999999999999\"; give a whole number, 0 to 9223372036854775807"},
        {"/api/v1/events",
         {{"limit", "1001"}},
         "limit is \"1001\"; give a whole number, 0 to 1000"},
        {"/api/v1/events", {{"limit", "0"}}, "limit is 0; give a whole number from 1"},
        {"/api/v1/events", {{"limit", "1"}, {"limit", "2"}}, "\"limit\" is given twice"},
        {"/api/v1/events",
         {{"since", "yesterday"}},
         "since is \"yesterday\"; give a time in UTC, as 2026-11-21T05:30:12Z"},
        {"/api/v1/events",
         {{"severity", "bad"}},
         "severity: give error, warning, info or task; worse ones come with it"},
        {"/api/v1/events",
         {{"code", "401,"}},
         "code is \"401,\"; give whole numbers with commas between, as 401,404"},
        {"/api/v1/events", {{"type", "x"}}, "type: give event or notice, or leave it out for both"},
        {"/api/v1/events/x",
         {},
         "sequence is \"x\"; give a whole number, 0 to 9223372036854775807"},
        {"/api/v1/incidents", {{"all", "yes"}}, "all is \"yes\"; give true or false"},
        {"/api/v1/status", {{"x", "1"}}, "there is no parameter \"x\" here"},
        {"/api/v1/status", {{"\x1b[2J", "1"}}, "there is no parameter \"\\x1b[2J\" here"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        const WebAnswer answer = get(c.path, c.parameters);
        EXPECT_EQ(400, answer.status);
        const Json problem = Json::parse(answer.body);
        EXPECT_EQ(c.detail, problem["detail"]);
        EXPECT_EQ(400, problem["status"]);
        EXPECT_EQ("Bad Request", problem["title"]);
        EXPECT_EQ("about:blank", problem["type"]);
    }
}

TEST_F(AgentSiteTest, WhoFollowsTheLinksGetsEveryRecordOnce) {
    for (int i = 1; i <= 25; ++i) room.record(1000 + i, "drive:A & B");
    std::string codes;
    std::string link = "/api/v1/events?after=0&limit=10&object=drive%3AA%20%26%20B";
    room.start();
    int pages = 0;
    while (!link.empty() && ++pages < 10) {
        // Bare, because httplib would decode the header.
        web::Bare client(room.port());
        client.say(web::getLines(link, "Connection: close\r\n"));
        const std::string heard = client.hearAll();
        codes += codesIn(Json::parse(heard.substr(heard.find("\r\n\r\n")), nullptr, false));
        const std::size_t begin = heard.find("\r\nLink: <");
        const std::size_t end = heard.find(">; rel=\"next\"\r\n");
        link = begin == std::string::npos ? "" : heard.substr(begin + 9, end - begin - 9);
    }
    std::string all;
    for (int i = 1; i <= 25; ++i) all += std::to_string(1000 + i) + " ";
    EXPECT_EQ(all, codes);
    EXPECT_EQ(3, pages);
}

TEST_F(AgentSiteTest, ARecordComesWithItsReceipts) {
    room.record(401, "drive:A");
    Receipt receipt;
    receipt.sink = "ops";
    receipt.sequence = 1;
    receipt.at = 1000;
    receipt.tries = 1;
    receipt.answer = "250 Ok";
    (void)room.spool.cursor("ops");
    room.spool.deliver("ops", 1, receipt);
    const Json found = json("/api/v1/events/1");
    EXPECT_EQ(401, found["record"]["data"]["event"]["code"]);
    ASSERT_EQ(1u, found["receipts"].size());
    EXPECT_EQ("250 Ok", found["receipts"][0]["answer"]);
    EXPECT_EQ("there is no record 2; the spool holds 1 to 1", json("/api/v1/events/2")["detail"]);
    EXPECT_EQ(404, get("/api/v1/events/0").status);
}

TEST_F(AgentSiteTest, IncidentsAreOpenOnesUnlessAllAreAskedFor) {
    Incident incident;
    incident.id = 1;
    incident.object = "drive:A";
    incident.openedAt = 1000;
    incident.severity = kEventError;
    room.spool.putIncident(incident);
    incident.id = 2;
    incident.open = false;
    incident.resolvedAt = 2000;
    room.spool.putIncident(incident);
    EXPECT_EQ(1u, json("/api/v1/incidents").size());
    EXPECT_EQ(2u, json("/api/v1/incidents", {{"all", "true"}}).size());
    EXPECT_EQ(2u, json("/api/v1/incidents", {{"since", "1970-01-01T00:30:00Z"}}).size());
    EXPECT_EQ(1u, json("/api/v1/incidents", {{"since", "1971-01-01T00:00:00Z"}}).size());
    EXPECT_EQ(2, json("/api/v1/incidents/2")["id"]);
    EXPECT_EQ(404, get("/api/v1/incidents/3").status);
}

TEST_F(AgentSiteTest, ThePageAndAllThatItRefersToIsServed) {
    room.poll();
    room.record(401, "drive:S0");
    const WebAnswer page = get("/");
    EXPECT_EQ(200, page.status);
    EXPECT_EQ("text/html; charset=utf-8", page.type);
    EXPECT_NE(std::string::npos, page.body.find("md0"));
    ASSERT_LT(0u, Page::assets().size());
    for (const Asset& asset : Page::assets()) {
        const WebAnswer file = get(asset.path);
        EXPECT_EQ(200, file.status) << asset.path;
        EXPECT_EQ(asset.contentType, file.type);
        EXPECT_EQ(asset.bytes, file.body);
        EXPECT_NE(std::string::npos, page.body.find(asset.path)) << asset.path;
    }
    const WebAnswer object = get("/object", {{"key", "array:0:0"}});
    EXPECT_EQ(200, object.status);
    EXPECT_NE(std::string::npos, object.body.find("RAID 1"));
}

TEST_F(AgentSiteTest, WhatIsNotThereIsAPageForABrowserAndAProblemForAProgram) {
    room.poll();
    const WebAnswer object = get("/object", {{"key", "<script>alert(1)</script>"}});
    EXPECT_EQ(404, object.status);
    EXPECT_EQ("text/html; charset=utf-8", object.type);
    EXPECT_EQ(std::string::npos, object.body.find("<script>alert"));
    const WebAnswer page = get("/nothing", {}, {{"accept", "text/html,*/*"}});
    EXPECT_EQ(404, page.status);
    EXPECT_EQ("text/html; charset=utf-8", page.type);
    EXPECT_EQ("application/problem+json", get("/nothing").type);
}

TEST_F(AgentSiteTest, GivenAStalePollThenThePageIsUnknown) {
    pollOld(301);
    const WebAnswer page = get("/");
    EXPECT_EQ(200, page.status);
    EXPECT_NE(std::string::npos, page.body.find("UNKNOWN"));
}

TEST_F(AgentSiteTest, EveryAnswerIsHardenedAlsoARefusal) {
    room.poll();
    for (const char* path : {"/healthz", "/api/v1/status", "/nothing", "/api/v1/stream"}) {
        const WebAnswer answer = get(path);
        const std::map<std::string, std::string> headers(answer.headers.begin(),
                                                         answer.headers.end());
        EXPECT_EQ(1u, headers.count("Content-Security-Policy")) << path;
        EXPECT_EQ("no-store", headers.at("Cache-Control")) << path;
    }
    EXPECT_EQ(403, get("/healthz", {}, {{"origin", "http://evil.example.com"}}).status);
}

TEST_F(AgentSiteTest, HostileTextsStayTextsInJsonAndStreams) {
    MachineState state = web::Room::machine();
    state.drives[0].model = "</script>\"\n\ndata: fake\xff";
    room.poll(state);
    EXPECT_EQ("</script>\"\n\ndata: fake\xef\xbf\xbd",
              json("/api/v1/drives")[0]["model"].get<std::string>());
    room.record(401, "drive:\n\nid: 99\n\nevent: fake");
    std::int64_t after = 0;
    const std::string frames = site.recordedAfter(after);
    EXPECT_EQ(1, after);
    EXPECT_EQ(std::string::npos, frames.find("\nid: 99"));
    EXPECT_EQ(frames.size() - 2, frames.find("\n\n")) << "one frame";
}

TEST_F(AgentSiteTest, GivenNoPlaceForAStreamThenSaysToComeAgain) {
    WebRequest request;
    request.method = "GET";
    request.path = "/api/v1/stream";
    request.headers = {{"host", "localhost"}};
    request.mayStream = false;
    const WebAnswer answer = site.answer(request);
    EXPECT_EQ(503, answer.status);
    EXPECT_FALSE(answer.isStream());
    EXPECT_EQ("application/problem+json", answer.type);
}

TEST_F(AgentSiteTest, StreamsBeginWhereTheyAreTold) {
    for (int i = 1; i <= 5; ++i) room.record(400 + i, "drive:A");
    EXPECT_EQ(5, get("/api/v1/stream").streamAfter) << "with what comes";
    EXPECT_EQ(2, get("/api/v1/stream", {{"after", "2"}}).streamAfter);
    EXPECT_EQ(3, get("/api/v1/stream", {{"after", "2"}}, {{"last-event-id", "3"}}).streamAfter)
        << "where the connection broke counts";
    EXPECT_EQ(400, get("/api/v1/stream", {}, {{"last-event-id", "x"}}).status);
    const WebAnswer beyond = get("/api/v1/stream", {{"after", "9"}});
    EXPECT_EQ(5, beyond.streamAfter);
    EXPECT_NE(std::string::npos,
              beyond.body.find("event: gap\ndata: {\"after\":9,\"first\":1,\"last\":5}\n\n"));
}

TEST_F(AgentSiteTest, GivenRecordsThatWereDroppedThenAStreamSaysSo) {
    for (int i = 1; i <= 5; ++i) room.record(400 + i, "drive:A");
    (void)room.spool.prune(Clock::current().now() * 1000 + 3600000);
    room.record(406, "drive:A");
    const WebAnswer answer = get("/api/v1/stream", {{"after", "1"}});
    EXPECT_EQ(5, answer.streamAfter);
    EXPECT_NE(std::string::npos, answer.body.find("event: gap\ndata: {\"after\":1,\"first\":6,"))
        << answer.body;
}

// The ids in what was heard, in order.
std::vector<int> idsIn(const std::string& heard) {
    std::vector<int> ids;
    for (std::size_t at = heard.find("\nid: "); at != std::string::npos;
         at = heard.find("\nid: ", at + 1)) {
        ids.push_back(std::atoi(heard.c_str() + at + 5));
    }
    return ids;
}

TEST_F(AgentSiteTest, GivenAClientThatWasAwayThenItGetsExactlyWhatItMissed) {
    room.poll();
    room.start();
    std::vector<int> ids;
    for (int round = 0; round < 5; ++round) {
        web::Bare client(room.port());
        const std::string last = ids.empty() ? "0" : std::to_string(ids.back());
        client.say(web::getLines("/api/v1/stream", "Last-Event-ID: " + last + "\r\n"));
        for (int i = 0; i < 3; ++i) room.record(401, "drive:A");
        const std::string heard =
            client.hearUntil("\nid: " + std::to_string(room.spool.lastSequence()) + "\n");
        for (const int id : idsIn(heard)) ids.push_back(id);
        client.hearUntil("event: state\n");
        // Nobody listens.
        for (int i = 0; i < 2; ++i) room.record(402, "drive:B");
    }
    std::vector<int> expected;
    for (int i = 1; i <= 23; ++i) expected.push_back(i);
    EXPECT_EQ(expected, ids);
}

TEST_F(AgentSiteTest, AStreamTellsOfEachPollAndWhenItTurnsStale) {
    room.poll();
    room.limits.tick = std::chrono::milliseconds(50);
    room.start();
    web::Bare client(room.port());
    client.say(web::getLines("/api/v1/stream"));
    EXPECT_NE(std::string::npos, client.hearUntil("\"polls\":3}")
                                     .find("event: state\ndata: "
                                           "{\"verdict\":\"OK\""));
    MachineState next = web::Room::machine();
    next.polls = 4;
    next.polledAt -= 299;
    room.poll(next);
    client.hearUntil("\"polls\":4}");
    EXPECT_NE(std::string::npos, client.hearUntil("\"UNKNOWN\"").find("\"UNKNOWN\""))
        << "by itself, when its time is over";
}

TEST_F(AgentSiteTest, AfterARestEverythingIsThereAgain) {
    room.poll();
    room.record(401, "drive:A");
    const std::string before = get("/api/v1/status").body;
    site.rest();
    EXPECT_EQ(before, get("/api/v1/status").body);
}

}  // namespace
