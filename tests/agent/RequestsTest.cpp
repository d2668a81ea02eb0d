#include "agent/daemon/Requests.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/spool/Spool.h"
#include "tests/support/TempDir.h"

namespace {

using Json = nlohmann::ordered_json;

Record recordOf(int code, std::int64_t at, const std::string& object) {
    Record record;
    record.at = at;
    record.object = object;
    record.event = QELEvent(code, kEventError, "text", "ID");
    return record;
}

class RequestsTest : public testing::Test {
protected:
    RequestsTest() : spool(dir.file("spool.db")) {
        Spool::Batch batch;
        batch.records = {recordOf(401, 1000, "drive:A"), recordOf(305, 2000, "array:0:0"),
                         recordOf(402, 3000, "drive:\xff")};
        spool.commit(batch);
    }

    Json answer(const std::string& request) {
        Requests requests(spool, changes, dir.file("state.json"));
        const std::string line = requests.answer(request);
        EXPECT_EQ(std::string::npos, line.find('\n'));
        return Json::parse(line);
    }
    std::string codes(const std::string& request) {
        std::string found;
        const Json json = answer(request);
        if (json["ok"] != true) return json.dump();
        for (const Json& record : json["result"]) {
            found += record["data"]["event"]["code"].dump() + " ";
        }
        return found;
    }

    const TempDir dir;
    Spool spool;
    Requests::Changes* changes = nullptr;
};

TEST_F(RequestsTest, EventsTakesEveryFieldOfTheFilter) {
    struct Case {
        const char* request;
        const char* codes;
    };
    const Case cases[] = {
        {R"({"do":"events"})", "401 305 402 "},
        {R"({"do":"events","after":1})", "305 402 "},
        {R"({"do":"events","since":2000})", "305 402 "},
        {R"({"do":"events","until":2000})", "401 "},
        {R"({"do":"events","severities":[2]})", ""},
        {R"({"do":"events","severities":[1,2],"codes":[401,402]})", "401 402 "},
        {R"({"do":"events","object":"array:0:0"})", "305 "},
        {R"({"do":"events","events":false})", ""},
        {R"({"do":"events","notices":false})", "401 305 402 "},
        {R"({"do":"events","undelivered":true})", ""},
        {R"({"do":"events","limit":1})", "401 "},
        {R"({"do":"events","limit":1,"newest":true})", "402 "},
        {R"({"do":"events","limit":0,"since":null,"unknown":{}})", "401 305 402 "},
    };
    for (const Case& c : cases) EXPECT_EQ(c.codes, codes(c.request)) << c.request;
}

TEST_F(RequestsTest, GivenAWrongRequestThenOneLineSaysWhatIsWrong) {
    struct Case {
        const char* request;
        const char* error;
    };
    const Case cases[] = {
        {"", "a request is one JSON object on one line"},
        {"{\"do\":", "a request is one JSON object on one line"},
        {"[1]", "a request is one JSON object on one line"},
        {"{}", "a request needs \"do\", for example {\"do\":\"incidents\"}"},
        {R"({"do":7})", "\"do\" must be a text"},
        {R"({"do":"ack","id":1})",
         "\"ack\" is no question; what changes something goes through the control socket"},
        {R"({"do":"\u001b[2J"})",
         "\"\\x1b[2J\" is no question; what changes something goes through the control socket"},
        {R"({"do":"events","since":"now"})", "\"since\" must be a whole number from 0"},
        {R"({"do":"events","limit":-1})", "\"limit\" must be a whole number from 0"},
        {R"({"do":"events","after":1.5})", "\"after\" must be a whole number from 0"},
        {R"({"do":"events","after":18446744073709551615})",
         "\"after\" must be a whole number from 0"},
        {R"({"do":"events","codes":401})", "\"codes\" must be a list of whole numbers"},
        {R"({"do":"events","codes":["x"]})", "\"codes\" must be a list of whole numbers"},
        {R"({"do":"events","undelivered":1})", "\"undelivered\" must be true or false"},
        {R"({"do":"record"})", "there is no record 0; the spool holds 1 to 3"},
        {R"({"do":"record","sequence":4})", "there is no record 4; the spool holds 1 to 3"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.request);
        const Json json = answer(c.request);
        EXPECT_EQ(false, json["ok"]);
        EXPECT_EQ(c.error, json["error"]);
        EXPECT_EQ(2, json["exit"]);
    }
}

TEST_F(RequestsTest, RecordComesWithItsReceipts) {
    Receipt receipt;
    receipt.answer = "250 ok\xff";
    spool.deliver("mail", 2, receipt);
    const Json result = answer(R"({"do":"record","sequence":2})")["result"];
    EXPECT_EQ(spool.idOf(2), result["record"]["id"]);
    ASSERT_EQ(1u, result["receipts"].size());
    EXPECT_EQ("mail", result["receipts"][0]["sink"]);
    EXPECT_EQ("delivered", result["receipts"][0]["outcome"]);
    EXPECT_EQ("250 ok\xef\xbf\xbd", result["receipts"][0]["answer"]);
}

TEST_F(RequestsTest, IncidentsAreTheOpenOnesUnlessAllAreWanted) {
    Incident incident;
    incident.id = 1;
    spool.putIncident(incident);
    incident.id = 2;
    incident.open = false;
    incident.resolvedAt = 500;
    spool.putIncident(incident);
    EXPECT_EQ(1u, answer(R"({"do":"incidents"})")["result"].size());
    EXPECT_EQ(2u, answer(R"({"do":"incidents","all":true})")["result"].size());
    EXPECT_EQ(1u, answer(R"({"do":"incidents","all":true,"since":501})")["result"].size());
}

TEST_F(RequestsTest, SilencesSinksSpansAndPositionAreListed) {
    Silence silence;
    silence.until = 60;
    spool.addSilence(silence);
    spool.cursor("mail");
    spool.beginWatch(100);
    EXPECT_EQ("1970-01-01T00:01:00Z", answer(R"({"do":"silences"})")["result"][0]["until"]);
    EXPECT_EQ(3, answer(R"({"do":"sinks"})")["result"][0]["cursor"]);
    const Json span = answer(R"({"do":"spans"})")["result"][0];
    EXPECT_EQ("1970-01-01T00:01:40Z", span["began"]);
    EXPECT_TRUE(span["ended"].is_null());
    EXPECT_EQ(3, span["firstSequence"]);
    const Json position = answer(R"({"do":"position"})")["result"];
    EXPECT_EQ(1, position["first"]);
    EXPECT_EQ(3, position["last"]);
}

TEST_F(RequestsTest, StateIsTheFileOrALineThatSaysWhyNot) {
    EXPECT_NE(std::string::npos, answer(R"({"do":"state"})")["error"].get<std::string>().find(
                                     "has not finished its first look"));
    dir.write("state.json", "{\"host\":");
    EXPECT_EQ(1, answer(R"({"do":"state"})")["exit"]);
    dir.write("state.json", "{\"host\":\"a\"}");
    EXPECT_EQ("a", answer(R"({"do":"state"})")["result"]["host"]);
}

class EchoChanges : public Requests::Changes {
public:
    Json change(const Json& request) override {
        if (request["do"] == "fail") throw Failure(Failure::kFailed, "no such thing");
        if (request["do"] == "break") throw std::runtime_error("broken");
        return {{"got", request["do"]}};
    }
};

TEST_F(RequestsTest, GivenChangesThenEverythingElseIsHandedOver) {
    EchoChanges echo;
    changes = &echo;
    EXPECT_EQ("ack", answer(R"({"do":"ack"})")["result"]["got"]);
    EXPECT_EQ(R"({"ok":false,"error":"no such thing","exit":1})",
              answer(R"({"do":"fail"})").dump());
    EXPECT_EQ(R"({"ok":false,"error":"broken","exit":1})", answer(R"({"do":"break"})").dump());
    EXPECT_EQ("401 305 402 ", codes(R"({"do":"events"})"));
}

}  // namespace
