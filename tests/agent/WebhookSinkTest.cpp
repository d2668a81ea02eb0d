#include "agent/sinks/WebhookSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "agent/spool/RecordJson.h"
#include "tests/agent/support/NetFixture.h"
#include "tests/support/TempDir.h"

namespace {

using Kind = Answer::Kind;
using testing::HasSubstr;
using testing::Not;

constexpr std::chrono::seconds kPatience(20);

class WebhookSinkTest : public testing::Test {
protected:
    WebhookSinkTest() {
        unsetenv("http_proxy");
        settings.texts["url"] = place() + "/hook/T0/secret";
    }

    std::string place() const { return "http://127.0.0.1:" + server.word(); }
    Answer deliver(const Record& record) {
        return makeWebhookSink(settings)->deliver(record, net::kId);
    }
    nlohmann::json seen() const {
        const auto all = net::jsonLines(dir.read("log"));
        return all.empty() ? nlohmann::json() : all.back();
    }

    TempDir dir;
    ServerProcess server{{net::kPython, net::supportFile("http_server.py"), dir.file("log")},
                         "ready "};
    SinkSettings settings = net::settingsOf("webhook");
};

TEST_F(WebhookSinkTest, SendsTheRecordAsCloudEvents) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    const Record record = net::eventRecord();
    const Answer answer = deliver(record);
    EXPECT_EQ(Kind::kDelivered, answer.kind);
    EXPECT_EQ(place() + ": HTTP 200 ok", answer.text);
    EXPECT_EQ("POST", seen()["method"]);
    EXPECT_EQ("/hook/T0/secret", seen()["path"]);
    EXPECT_EQ("application/cloudevents+json", seen()["headers"]["content-type"]);
    EXPECT_EQ(net::kId, seen()["headers"]["x-raidwatch-id"]);
    EXPECT_EQ(recordJson(record, net::kId), seen()["body"]);
}

TEST_F(WebhookSinkTest, GivenATemplateThenFillsBodyAndHeadersSafely) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    settings.texts["template"] = R"({"text": "{{subject}}", "level": {{severityNumber}}})";
    settings.texts["method"] = "PUT";
    settings.tables["headers"] = {{"Title", "{{subject}}"}, {"X-Site", "north"}};
    Record record = net::noticeRecord(Notice::Kind::kOpened);
    record.notice.subject = "bad \"disk\"\r\nX-Injected: 1";
    EXPECT_EQ(Kind::kDelivered, deliver(record).kind);
    EXPECT_EQ("PUT", seen()["method"]);
    EXPECT_EQ("application/json", seen()["headers"]["content-type"]);
    EXPECT_EQ("bad \"disk\"  X-Injected: 1", seen()["headers"]["title"]);
    EXPECT_EQ("north", seen()["headers"]["x-site"]);
    EXPECT_FALSE(seen()["headers"].contains("x-injected"));
    const auto body = nlohmann::json::parse(seen()["body"].get<std::string>());
    EXPECT_EQ(record.notice.subject, body["text"]);
    EXPECT_EQ(1, body["level"]);
}

TEST_F(WebhookSinkTest, GivenPlainTextOrAFormThenEscapesForThat) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    settings.texts["template"] = "message={{subject}}";
    settings.texts["content_type"] = "application/x-www-form-urlencoded";
    Record record = net::noticeRecord(Notice::Kind::kOpened);
    record.notice.subject = "a&b=\"c\"";
    deliver(record);
    EXPECT_EQ("message=a%26b%3D%22c%22", seen()["body"]);
    settings.texts["content_type"] = "text/plain";
    deliver(record);
    EXPECT_EQ("message=a&b=\"c\"", seen()["body"]);
}

TEST_F(WebhookSinkTest, GivenATokenThenSendsItAndShowsItNowhere) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    settings.texts["token"] = "hunter2";
    settings.texts["url"] = place() + "/echo";
    const Answer answer = deliver(net::eventRecord());
    EXPECT_EQ("Bearer hunter2", seen()["headers"]["authorization"]);
    EXPECT_EQ(Kind::kRefused, answer.kind);
    EXPECT_EQ(place() + ": HTTP 400 bad key Bearer ***", answer.text);

    settings.tables["headers"] = {{"X-Key", "{{token}}"}};
    deliver(net::eventRecord());
    EXPECT_EQ("hunter2", seen()["headers"]["x-key"]);
    EXPECT_FALSE(seen()["headers"].contains("authorization"));
}

TEST_F(WebhookSinkTest, GivenAServerThatIsBusyOrAwayThenTriesAgain) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    settings.texts["url"] = place() + "/later";
    const Answer busy = deliver(net::eventRecord());
    EXPECT_EQ(Kind::kRetry, busy.kind);
    EXPECT_EQ(place() + ": HTTP 429 slow down; asks to wait 17 s", busy.text);

    const std::unique_ptr<Sink> sink = makeWebhookSink(settings);
    EXPECT_EQ("", sink->problem());
    server.end();
    const Answer away = sink->deliver(net::eventRecord(), net::kId);
    EXPECT_EQ(Kind::kRetry, away.kind);
    EXPECT_THAT(away.text, HasSubstr("onnect"));
    EXPECT_THAT(away.text, Not(HasSubstr("later")));
    EXPECT_THAT(sink->problem(), HasSubstr("onnect"));
}

TEST_F(WebhookSinkTest, GivenTheAgentStopsThenADeliveryUnderWayComesBackSoon) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    settings.texts["url"] = place() + "/hang";
    settings.timeout = 60;
    const std::unique_ptr<Sink> sink = makeWebhookSink(settings);
    const auto begin = std::chrono::steady_clock::now();
    std::thread stopper([&] {
        while (seen().is_null() && std::chrono::steady_clock::now() - begin < kPatience) {
            std::this_thread::yield();
        }
        sink->cancel();
    });
    const Answer answer = sink->deliver(net::eventRecord(), net::kId);
    stopper.join();
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_EQ(place() + ": given up, because the agent stops", answer.text);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kPatience);
}

TEST(WebhookSink, WantsWhatItIsSetTo) {
    struct Row {
        const char* send;
        bool events;
        bool notices;
    };
    for (const Row& row : {Row{"", true, true}, Row{"both", true, true}, Row{"events", true, false},
                           Row{"notices", false, true}}) {
        SinkSettings settings = net::settingsOf("webhook");
        settings.texts["url"] = "http://host/";
        settings.texts["send"] = row.send;
        const WebhookSink sink(settings);
        EXPECT_EQ(row.events, sink.wants(net::eventRecord())) << row.send;
        EXPECT_EQ(row.notices, sink.wants(net::noticeRecord(Notice::Kind::kOpened))) << row.send;
    }
}

TEST(WebhookSink, GivenABadSettingThenNamesPlaceAndCure) {
    struct Row {
        std::map<std::string, std::string> texts;
        std::map<std::string, std::string> headers;
        const char* says;
    };
    const std::map<std::string, std::string> good = {{"url", "http://host/"}};
    const TempDir dir;
    const std::string open = dir.write("client.key", "key\n");
    ASSERT_EQ(0, chmod(open.c_str(), 0644));
    for (const Row& row : std::vector<Row>{
             {{}, {}, "url is missing"},
             {{{"url", "ftp://host/"}}, {}, "url is no address"},
             {{{"url", "http://host/\r\nX: y"}}, {}, "url is no address"},
             {{{"url", "http://h/"}, {"method", "HEAD"}}, {}, "method is none of"},
             {{{"url", "http://h/"}, {"send", "all"}}, {}, "send is none of"},
             {{{"url", "http://h/"}, {"template", "{{x}}"}}, {}, "template: there is no {{x}}"},
             {{{"url", "http://h/"}, {"template", "{\"a\": {{subject}}}"}}, {}, "no valid JSON"},
             {{{"url", "http://h/"}, {"content_type", "a\r\nb"}}, {}, "more than one line"},
             {{{"url", "http://h/"}, {"ca_file", "/no/such"}}, {}, "cannot read ca_file /no/such"},
             {{{"url", "http://h/"}, {"key_file", "/dev/null"}}, {}, "key_file without cert_file"},
             {{{"url", "http://h/"}, {"cert_file", open}, {"key_file", open}},
              {},
              "can be read by others than its owner; chmod 600 it"},
             {good, {{"A b", "x"}}, "\"A b\" is no name of a header"},
             {good, {{"A", "{{x}}"}}, "header A: there is no {{x}}"},
             {good, {{"A", "{{token}}"}}, "name its file with token_file"},
             {good, {{"A", "x\r\nB: y"}}, "header A is more than one line"},
             {{{"url", "http://h/"}, {"token", "x"}}, {}, "the token could be read on its way"},
             {{{"url", "https://h/"}, {"token", "x\nB: y"}},
              {{"A", "{{token}}"}},
              "the file of the token has more than one line"},
         }) {
        SinkSettings settings = net::settingsOf("webhook");
        settings.texts = row.texts;
        settings.tables["headers"] = row.headers;
        const std::string line = net::failureOf([&] { makeWebhookSink(settings); });
        EXPECT_THAT(line, testing::StartsWith("/etc/raidwatch/raidwatch.toml:12: sink \"ops\": "));
        EXPECT_THAT(line, HasSubstr(row.says));
    }
}

}  // namespace
