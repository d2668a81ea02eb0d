#include "agent/sinks/AlertmanagerSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "agent/EventJson.h"
#include "agent/sinks/HostName.h"
#include "tests/agent/support/NetFixture.h"
#include "tests/support/ManualClock.h"
#include "util/Clock.h"

namespace {

using Kind = Answer::Kind;
using nlohmann::json;
using testing::HasSubstr;

constexpr const char* kAlertmanager = "/usr/bin/prometheus-alertmanager";
constexpr const char* kAmtool = "/usr/bin/amtool";

// What we say, seen by a server that only writes it down.
class AlertmanagerSinkTest : public testing::Test {
protected:
    AlertmanagerSinkTest() {
        unsetenv("http_proxy");
        settings.lists["urls"] = {"http://127.0.0.1:" + server.word() + "/"};
    }

    json alerts() const {  // of the last request
        const auto all = net::jsonLines(dir.read("log"));
        return all.empty() ? json() : json::parse(all.back()["body"].get<std::string>());
    }
    std::size_t requests() const { return net::jsonLines(dir.read("log")).size(); }

    TempDir dir;
    ServerProcess server{{net::kPython, net::supportFile("http_server.py"), dir.file("log")},
                         "ready "};
    ManualClock clock{1795238420};
    SinkSettings settings = net::settingsOf("alertmanager");
};

TEST_F(AlertmanagerSinkTest, TellsAnIncidentAsAnAlert) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    settings.texts["token"] = "hunter2";
    settings.tables["labels"] = {{"site", "north"}};
    const auto sink = makeAlertmanagerSink(settings);
    const Answer answer = sink->deliver(net::noticeRecord(Notice::Kind::kOpened), net::kId);
    EXPECT_EQ(Kind::kDelivered, answer.kind);
    EXPECT_EQ("http://127.0.0.1:" + server.word() + ": HTTP 200 ok", answer.text);

    const json request = net::jsonLines(dir.read("log")).at(0);
    EXPECT_EQ("POST", request["method"]);
    EXPECT_EQ("/api/v2/alerts", request["path"]);
    EXPECT_EQ("Bearer hunter2", request["headers"]["authorization"]);
    ASSERT_EQ(1u, alerts().size());
    const json alert = alerts()[0];
    const json labels = {
        {"alertname", "RaidDrive"},     {"job", "raidwatch"},   {"instance", hostName()},
        {"severity", "critical"},       {"condition", "drive"}, {"object", "drive:S7K2M9Q0"},
        {"object_name", "drive 1:0:3"}, {"serial", "S7K2M9Q0"}, {"site", "north"}};
    EXPECT_EQ(labels, alert["labels"]);
    EXPECT_EQ("2026-11-21T05:20:00Z", alert["startsAt"]);
    EXPECT_EQ("2026-11-21T05:25:20Z", alert["endsAt"]);
    EXPECT_EQ("FAILED drive 1:0:3 on box", alert["annotations"]["summary"]);
    EXPECT_EQ("Drive 1:0:3 has failed.\nReplace it.\n", alert["annotations"]["description"]);
    EXPECT_EQ("7", alert["annotations"]["incident"]);
    EXPECT_GT(alert["annotations"]["action"].get<std::string>().size(), 10u);
}

TEST_F(AlertmanagerSinkTest, RepeatsOpenAlertsEveryMinuteUntilTheyEnd) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    const auto sink = makeAlertmanagerSink(settings);
    sink->tick();
    EXPECT_EQ(0u, requests()) << "nothing is open";
    sink->deliver(net::noticeRecord(Notice::Kind::kOpened), net::kId);
    sink->tick();
    EXPECT_EQ(2u, requests());
    clock.advance(59);
    sink->tick();
    EXPECT_EQ(2u, requests());
    clock.advance(1);
    sink->tick();
    EXPECT_EQ(3u, requests());
    EXPECT_EQ(rfc3339(clock.now() + 300), alerts()[0]["endsAt"]);

    sink->deliver(net::noticeRecord(Notice::Kind::kResolved), net::kId);
    EXPECT_EQ(4u, requests());
    clock.advance(600);
    sink->tick();
    EXPECT_EQ(4u, requests());
}

TEST_F(AlertmanagerSinkTest, GivenAnotherSeverityThenEndsTheAlertBefore) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    const auto sink = makeAlertmanagerSink(settings);
    Record record = net::noticeRecord(Notice::Kind::kOpened);
    record.notice.incident.severity = kEventWarning;
    sink->deliver(record, net::kId);
    EXPECT_EQ("warning", alerts()[0]["labels"]["severity"]);
    sink->deliver(net::noticeRecord(Notice::Kind::kWorse), net::kId);
    ASSERT_EQ(2u, alerts().size());
    EXPECT_EQ("critical", alerts()[0]["labels"]["severity"]);
    EXPECT_EQ(rfc3339(clock.now() + 300), alerts()[0]["endsAt"]);
    EXPECT_EQ("warning", alerts()[1]["labels"]["severity"]);
    EXPECT_EQ(rfc3339(clock.now()), alerts()[1]["endsAt"]);
}

TEST_F(AlertmanagerSinkTest, EndsTheAlertThatItTold) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    const auto sink = makeAlertmanagerSink(settings);
    sink->deliver(net::noticeRecord(Notice::Kind::kOpened), net::kId);
    sink->deliver(net::noticeRecord(Notice::Kind::kResolved), net::kId);
    ASSERT_EQ(1u, alerts().size());
    EXPECT_EQ("critical", alerts()[0]["labels"]["severity"]);
    EXPECT_EQ("2026-11-21T05:20:00Z", alerts()[0]["startsAt"]);
    EXPECT_EQ("2026-11-21T06:20:00Z", alerts()[0]["endsAt"]);
}

TEST_F(AlertmanagerSinkTest, GivenAnEndOfWhatItDoesNotKnowThenEndsEverySeverity) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    makeAlertmanagerSink(settings)->deliver(net::noticeRecord(Notice::Kind::kResolved), net::kId);
    ASSERT_EQ(3u, alerts().size());
    const char* const severities[] = {"critical", "warning", "info"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(severities[i], alerts()[i]["labels"]["severity"]);
        EXPECT_EQ("2026-11-21T06:20:00Z", alerts()[i]["endsAt"]);
    }
}

TEST_F(AlertmanagerSinkTest, GivenARestartThenRepeatsWhatItIsGiven) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    AlertmanagerSink sink(settings);
    Incident closed = net::noticeRecord(Notice::Kind::kResolved).notice.incident;
    closed.id = 8;
    sink.knowOpen({net::noticeRecord(Notice::Kind::kOpened).notice.incident, closed});
    sink.tick();
    ASSERT_EQ(1u, alerts().size());
    EXPECT_EQ("Drive failed: drive 1:0:3", alerts()[0]["annotations"]["summary"]);
    EXPECT_EQ(rfc3339(clock.now() + 300), alerts()[0]["endsAt"]);
}

TEST_F(AlertmanagerSinkTest, GivenAnIncidentThatEndedWithoutANoticeThenEndsItsAlert) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    const auto sink = makeAlertmanagerSink(settings);
    const Record record = net::noticeRecord(Notice::Kind::kOpened);
    sink->deliver(record, net::kId);
    sink->keepOnly({record.notice.incident});
    EXPECT_EQ(1u, requests());
    clock.advance(10);
    sink->keepOnly({});
    EXPECT_EQ(2u, requests());
    EXPECT_EQ(rfc3339(clock.now()), alerts()[0]["endsAt"]);
    clock.advance(60);
    sink->tick();
    EXPECT_EQ(2u, requests());
}

TEST_F(AlertmanagerSinkTest, GivenATestOrDrillThenDoesNotRepeatIt) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    const auto sink = makeAlertmanagerSink(settings);
    Record test = net::noticeRecord(Notice::Kind::kTest);
    test.notice.incident = Incident();
    test.origin = Origin::kTest;
    sink->deliver(test, net::kId);
    EXPECT_EQ("RaidTest", alerts()[0]["labels"]["alertname"]);
    EXPECT_EQ("test", alerts()[0]["labels"]["origin"]);
    EXPECT_FALSE(alerts()[0].contains("startsAt"));
    Record drill = net::noticeRecord(Notice::Kind::kOpened);
    drill.origin = Origin::kDrill;
    sink->deliver(drill, net::kId);
    EXPECT_EQ("drill", alerts()[0]["labels"]["origin"]);
    sink->tick();
    EXPECT_EQ(2u, requests());
}

TEST_F(AlertmanagerSinkTest, GivenAHostileNameThenLabelsStayText) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    Record record = net::noticeRecord(Notice::Kind::kOpened);
    record.notice.incident.objectName = "a\"},{\x1b[2J\xff";
    makeAlertmanagerSink(settings)->deliver(record, net::kId);
    EXPECT_EQ("a\"},{\\x1b[2J\\xff", alerts()[0]["labels"]["object_name"]);
}

TEST_F(AlertmanagerSinkTest, GivenSeveralAddressesThenOneThatTakesItIsEnough) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    const std::string here = settings.lists["urls"][0];
    settings.lists["urls"] = {"http://127.0.0.1:1", here};
    const auto sink = makeAlertmanagerSink(settings);
    const Answer one = sink->deliver(net::noticeRecord(Notice::Kind::kOpened), net::kId);
    EXPECT_EQ(Kind::kDelivered, one.kind);
    EXPECT_THAT(one.text, HasSubstr("http://127.0.0.1:1: "));
    EXPECT_THAT(one.text, HasSubstr("HTTP 200"));
    EXPECT_EQ("", sink->problem());
    server.end();
    EXPECT_EQ(Kind::kRetry, sink->deliver(net::noticeRecord(Notice::Kind::kOpened), net::kId).kind);
    EXPECT_THAT(sink->problem(), HasSubstr("http://127.0.0.1:1: "));
}

TEST(AlertmanagerSink, WantsNotices) {
    SinkSettings settings = net::settingsOf("alertmanager");
    settings.lists["urls"] = {"http://host:9093"};
    const AlertmanagerSink sink(settings);
    EXPECT_TRUE(sink.wants(net::noticeRecord(Notice::Kind::kOpened)));
    EXPECT_FALSE(sink.wants(net::eventRecord()));
}

TEST(AlertmanagerSink, GivenABadSettingThenNamesPlaceAndCure) {
    struct Row {
        std::vector<std::string> urls;
        std::map<std::string, std::string> labels;
        const char* says;
    };
    for (const Row& row : std::vector<Row>{{{}, {}, "urls is missing"},
                                           {{"host:9093"}, {}, "urls is no address"},
                                           {{"http://h"}, {{"a-b", "x"}}, "no name of a label"},
                                           {{"http://h"}, {{"1a", "x"}}, "no name of a label"},
                                           {{"http://h"}, {{"object", "x"}}, "cannot be set"}}) {
        SinkSettings settings = net::settingsOf("alertmanager");
        settings.lists["urls"] = row.urls;
        settings.tables["labels"] = row.labels;
        const std::string line = net::failureOf([&] { makeAlertmanagerSink(settings); });
        EXPECT_THAT(line, testing::StartsWith("/etc/raidwatch/raidwatch.toml:12: sink \"ops\": "));
        EXPECT_THAT(line, HasSubstr(row.says));
    }
}

// The real thing: Alertmanager, and a webhook receiver behind it. Its times are its own, so the
// machine's clock runs here.
class AlertmanagerSinkWithServer : public testing::Test {
protected:
    void SetUp() override {
        unsetenv("http_proxy");
        if (access(kAlertmanager, X_OK) != 0) {
            GTEST_SKIP() << "NOT TESTED: no " << kAlertmanager
                         << "; install prometheus-alertmanager";
        }
        ASSERT_TRUE(receiver.up()) << receiver.whyNot();
        dir.write("alertmanager.yml",
                  "route:\n"
                  "  receiver: hook\n"
                  "  group_by: ['...']\n"
                  "  group_wait: 10ms\n"
                  "  group_interval: 100ms\n"
                  "receivers:\n"
                  "- name: hook\n"
                  "  webhook_configs:\n"
                  "  - send_resolved: true\n"
                  "    url: http://127.0.0.1:" +
                      receiver.word() + "/am\n");
        startAlertmanager("127.0.0.1:0");
    }

    void startAlertmanager(const std::string& address) {
        alertmanager = std::make_unique<ServerProcess>(
            std::vector<std::string>{
                kAlertmanager, "--config.file=" + dir.file("alertmanager.yml"),
                "--storage.path=" + dir.file("data" + std::to_string(++starts)),
                "--web.listen-address=" + address, "--cluster.listen-address="},
            "msg=\"Listening on\" address=127.0.0.1:");
        ASSERT_TRUE(alertmanager->up()) << alertmanager->whyNot();
        url = "http://127.0.0.1:" + alertmanager->word();
    }

    std::unique_ptr<AlertmanagerSink> sink() const {
        SinkSettings settings = net::settingsOf("alertmanager");
        settings.lists["urls"] = {url};
        return std::make_unique<AlertmanagerSink>(settings);
    }
    // The incident's times lie in the last minutes.
    static Record recent(Notice::Kind kind) {
        Record record = net::noticeRecord(kind);
        record.notice.incident.openedAt = Clock::current().now() - 120;
        if (kind == Notice::Kind::kResolved) {
            record.notice.incident.resolvedAt = Clock::current().now();
        }
        return record;
    }

    static bool eventually(const std::function<bool()>& happened) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            if (happened()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }

    json alerts(const std::string& more = "") const {
        const std::string text = net::outputOf(std::string(kAmtool) + " --alertmanager.url=" + url +
                                               " alert query -o json " + more);
        return text.empty() ? json() : json::parse(text);
    }
    std::string states() const {  // as the receiver was told
        std::string all;
        for (const json& request : net::jsonLines(dir.read("receiver"))) {
            all += json::parse(request["body"].get<std::string>())["status"].get<std::string>();
            all += " ";
        }
        return all;
    }

    TempDir dir;
    ServerProcess receiver{{net::kPython, net::supportFile("http_server.py"), dir.file("receiver")},
                           "ready "};
    std::unique_ptr<ServerProcess> alertmanager;
    std::string url;
    int starts = 0;
};

TEST_F(AlertmanagerSinkWithServer, ReceiverGetsFiringThenResolved) {
    const auto told = sink();
    EXPECT_EQ("", told->problem());
    const Answer opened = told->deliver(recent(Notice::Kind::kOpened), net::kId);
    ASSERT_EQ(Kind::kDelivered, opened.kind) << opened.text;
    ASSERT_TRUE(eventually([&] { return states() == "firing "; })) << states();
    const json alert = json::parse(
        net::jsonLines(dir.read("receiver"))[0]["body"].get<std::string>())["alerts"][0];
    EXPECT_EQ("RaidDrive", alert["labels"]["alertname"]);
    EXPECT_EQ("FAILED drive 1:0:3 on box", alert["annotations"]["summary"]);
    EXPECT_EQ(1u, alerts().size());

    const Answer resolved = told->deliver(recent(Notice::Kind::kResolved), net::kId);
    ASSERT_EQ(Kind::kDelivered, resolved.kind) << resolved.text;
    // The end has the labels of the beginning, whatever the severity is by then.
    EXPECT_TRUE(eventually([&] { return states() == "firing resolved "; })) << states();
    EXPECT_EQ(0u, alerts().size());
}

TEST_F(AlertmanagerSinkWithServer, GivenASilenceThenTheAlertIsThereButTellsNobody) {
    ASSERT_NE("", net::outputOf(std::string(kAmtool) + " --alertmanager.url=" + url +
                                " silence add --comment=test object=drive:S7K2M9Q0"));
    ASSERT_EQ(Kind::kDelivered, sink()->deliver(recent(Notice::Kind::kOpened), net::kId).kind);
    ASSERT_TRUE(eventually([&] { return alerts("--silenced").size() == 1; }));
    EXPECT_EQ("suppressed", alerts("--silenced")[0]["status"]["state"]);
    EXPECT_EQ("", states());
}

TEST_F(AlertmanagerSinkWithServer, GivenARestartWithoutItsDataThenTheAlertComesBack) {
    const auto told = sink();
    ASSERT_EQ(Kind::kDelivered, told->deliver(recent(Notice::Kind::kOpened), net::kId).kind);
    ASSERT_EQ(1u, alerts().size());
    const std::string port = alertmanager->word();
    alertmanager->end();
    EXPECT_EQ(Kind::kRetry, told->deliver(recent(Notice::Kind::kReminder), net::kId).kind);

    startAlertmanager("127.0.0.1:" + port);
    EXPECT_EQ(0u, alerts().size());
    told->tick();
    ASSERT_EQ(1u, alerts().size());
    EXPECT_EQ("drive:S7K2M9Q0", alerts()[0]["labels"]["object"]);
}

}  // namespace
