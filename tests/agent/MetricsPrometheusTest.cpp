// A real Prometheus server reads real daemons: the targets are up, it has nothing to complain of,
// the shipped alerts fire and end, and every expression of the shipped dashboard gives data.

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/agent/DaemonRoom.h"
#include "tests/agent/support/PrometheusServer.h"

namespace {

using Json = nlohmann::json;
using Names = std::set<std::string>;

constexpr int kBadBlock = 418;

// A controller that goes through much at once, and then stays so: a rebuild at 40 per cent, a
// failed drive, one that foretells its failure, a low battery, a bad block, a fan, heat.
constexpr char kStory[] = R"({
  "scenario": 1, "title": "A bad day",
  "controllers": [{
    "id": "card", "vendor": "Acme", "name": "SX-16", "serial": "SN0116", "battery": "optimal",
    "temperature": 48, "temperatureLimit": 70,
    "channels": [{"type": "sata", "ports": 8,
      "drives": [
        {"id": "d0", "device": 0, "state": "member", "temperature": 34, "vendor": "KOVA-PQ", "model": "K500", "serial": "KQ-100", "part": "39R7340", "sizeMB": 476940},
        {"id": "d1", "device": 1, "state": "member", "vendor": "KOVA-PQ", "model": "K500", "serial": "KQ-101", "part": "39R7340", "sizeMB": 476940},
        {"id": "d2", "device": 2, "state": "hotSpare", "vendor": "KOVA-PQ", "model": "K500", "serial": "KQ-102", "part": "39R7340", "sizeMB": 476940}],
      "safteEnclosures": [{"id": "shelf", "device": 9, "vendor": "Acme", "model": "EX-14",
        "fans": ["ok", "ok"], "supplies": ["ok", "ok"], "slots": [0, 1, 2]}],
      "sesEnclosures": [{"device": 12, "vendor": "Acme", "model": "EX-24", "serial": "EN24", "elements": [
        {"type": "temperature", "reading": 31}, {"type": "fan", "reading": 4200}]}]}],
    "logicalDrives": [{"id": "array", "level": "RAID5", "size": 953344, "name": "projects"}]}],
  "steps": [
    {"name": "much happens", "seconds": 60, "changes": [
      {"set": "d1", "to": {"state": "failed"}},
      {"set": "d0", "to": {"failurePredicted": true}},
      {"set": "d2", "to": {"state": "rebuilding"}},
      {"set": "array", "to": {"state": "rebuilding", "badStripes": 7}},
      {"set": "card", "to": {"battery": "low"}},
      {"set": "shelf", "to": {"fans": ["ok", "failed"], "tooHot": true}},
      {"add": {"tasks": {"id": "rebuild", "on": 0, "type": "rebuild", "percent": 20}}, "in": "card"},
      {"record": {"what": "badBlockFound", "about": "d0"}}]},
    {"name": "it moves", "seconds": 600, "changes": [{"set": "rebuild", "to": {"percent": 40}}]}]
})";

class MetricsPrometheusTest : public testing::Test {
protected:
    void SetUp() override {
        const std::string without = whyWithout(kPrometheus);
        if (!without.empty()) GTEST_SKIP() << without;
    }

    // An md array of four drives.
    static std::string arrayTree() {
        return LinuxMachine::drives() + LinuxMachine::wholeArray("md3", "raid5", 4);
    }
    // Watches, and answers on a port that it gives.
    static std::string start(DaemonRoom& room) {
        room.listen = "[\"127.0.0.1:0\"]";
        room.configure("");
        room.start();
        std::string port;
        EXPECT_TRUE(DaemonRoom::waitFor([&] {
            port = portOf(room.state());
            return room.polled() && !port.empty();
        })) << room.log();
        return port;
    }
    // Of a page at http://127.0.0.1:PORT/.
    static std::string portOf(const DaemonRoom::Json& state) {
        if (!state.is_object() || !state.contains("daemon")) return "";
        const auto pages = state["daemon"].value("pages", std::vector<std::string>());
        if (pages.empty()) return "";
        const std::size_t colon = pages[0].rfind(':') + 1;
        return pages[0].substr(colon, pages[0].find('/', colon) - colon);
    }
};

std::string joined(const Names& names) {
    std::string text;
    for (const std::string& name : names) text += name + "\n";
    return text;
}

// As Grafana fills them in.
std::string filledIn(std::string expression) {
    const std::pair<std::string, std::string> values[] = {
        {"$__rate_interval", "1m"}, {"$instance", ".+"}, {"$job", "raidwatch"}};
    for (const auto& [name, value] : values) {
        for (std::size_t at = 0; (at = expression.find(name, at)) != std::string::npos;) {
            expression.replace(at, name.size(), value);
        }
    }
    return expression;
}

std::vector<std::string> dashboardExpressions() {
    std::ifstream in(QEL_SOURCE_DIR "/packaging/grafana/raidwatch.json");
    std::vector<std::string> expressions;
    const Json dashboard = Json::parse(in);
    for (const Json& panel : dashboard.at("panels")) {
        for (const Json& target : panel.value("targets", Json::array())) {
            expressions.push_back(filledIn(target.at("expr")));
        }
    }
    return expressions;
}

// What the story ends with, and has nothing to do with the md array.
const Names kOfTheCard = {"RaidArrayMismatches array:0:0",
                          "RaidArrayNoRedundancy array:0:0",
                          "RaidControllerBatteryLow controller:SN0116",
                          "RaidDriveFailed drive:KQ-101",
                          "RaidDriveFailurePredicted drive:KQ-100",
                          "RaidEnclosureTooHot temperature 1",
                          "RaidFanFailed fan 2"};

Names with(Names names, const Names& more) {
    names.insert(more.begin(), more.end());
    return names;
}

TEST_F(MetricsPrometheusTest, ReadsTheDaemonsAndTheAlertsAndTheDashboardSpeak) {
    DaemonRoom card;
    card.settings.source = "scenario:" + card.dir.write("story.json", kStory);
    DaemonRoom md(arrayTree());
    const std::string mdPort = start(md);
    const std::string cardPort = start(card);
    // To the end of its story: what is new while Prometheus looks would raise more alerts.
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        const auto array = card.state().at("arrays").at(0);
        return card.toldCode(kBadBlock) && array.at("task").is_object() &&
               array.at("task").at("percent") == 40 && array.at("task").at("secondsLeft") >= 0;
    })) << card.state();

    EXPECT_NE(std::string::npos, httpGet(cardPort, "/metrics").find("raidwatch_up_to_date 1\n"));
    PrometheusServer server({cardPort, mdPort});
    ASSERT_TRUE(server.start()) << server.log();
    EXPECT_TRUE(PrometheusServer::waitFor([&] { return server.query("up == 1").size() == 2; }))
        << server.log();
    EXPECT_TRUE(PrometheusServer::waitFor([&] { return server.firing() == kOfTheCard; }))
        << joined(server.firing());

    const std::string member = LinuxMachine::folder("md3") + "/dev-sdb/state";
    md.machine.add(LinuxMachine::set("md3", "degraded", "1") + "f " + member + " faulty\n");
    const Names both =
        with(kOfTheCard, {"RaidArrayNoRedundancy array:0:3", "RaidDriveFailed drive:S1"});
    EXPECT_TRUE(PrometheusServer::waitFor([&] { return server.firing() == both; }))
        << joined(server.firing());
    for (const std::string& expression : dashboardExpressions()) {
        EXPECT_EQ("", server.refusal(expression)) << expression;
        EXPECT_TRUE(PrometheusServer::waitFor([&] { return !server.query(expression).empty(); }))
            << expression;
    }
    EXPECT_EQ("", server.complaints());

    md.machine.add(LinuxMachine::set("md3", "degraded", "0") + "f " + member + " in_sync\n");
    EXPECT_TRUE(PrometheusServer::waitFor([&] { return server.firing() == kOfTheCard; }))
        << joined(server.firing());
    EXPECT_EQ(0, card.stop(SIGTERM)) << card.log();
    EXPECT_TRUE(PrometheusServer::waitFor([&] {
        return server.firing() == Names{"RaidwatchDown"};
    })) << joined(server.firing());
}

}  // namespace
