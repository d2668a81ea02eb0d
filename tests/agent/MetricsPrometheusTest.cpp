// A real Prometheus server reads real daemons: the targets are up, it has nothing to complain of,
// the shipped alerts fire and end, and every expression of the shipped dashboard gives data.
#include "agent/metrics/Metrics.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/metrics/MetricsReader.h"
#include "tests/agent/DaemonRoom.h"
#include "tests/agent/support/NetFixture.h"
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
        {"id": "d0", "device": 0, "state": "member", "vendor": "KOVA-PQ", "model": "K500", "serial": "KQ-100", "part": "39R7340", "sizeMB": 476940},
        {"id": "d1", "device": 1, "state": "member", "vendor": "KOVA-PQ", "model": "K500", "serial": "KQ-101", "part": "39R7340", "sizeMB": 476940},
        {"id": "d2", "device": 2, "state": "hotSpare", "vendor": "KOVA-PQ", "model": "K500", "serial": "KQ-102", "part": "39R7340", "sizeMB": 476940}],
      "safteEnclosures": [{"id": "shelf", "device": 9, "vendor": "Acme", "model": "EX-14",
        "fans": ["ok", "ok"], "supplies": ["ok", "ok"], "slots": [0, 1, 2]}]}],
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

// The metrics of a daemon, on a port of their own.
class Served {
public:
    explicit Served(const DaemonRoom& room)
        : file(dir.file("metrics")),
          reader({room.dir.file("state/spool.db"), room.dir.file("run/state.json"), 300}) {
        write();
        server = std::make_unique<ServerProcess>(
            std::vector<std::string>{net::kPython, net::supportFile("metrics_server.py"), file},
            "ready ");
        writer = std::thread([this] {
            while (!over) {
                write();
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
        });
    }
    ~Served() {
        over = true;
        writer.join();
    }
    std::string port() const { return server->word(); }

private:
    void write() {
        std::ofstream(file + ".new") << render(reader.read());
        (void)std::rename((file + ".new").c_str(), file.c_str());
    }

    TempDir dir;
    std::string file;
    MetricsReader reader;
    std::unique_ptr<ServerProcess> server;
    std::atomic<bool> over{false};
    std::thread writer;
};

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
    static void start(DaemonRoom& room) {
        room.start();
        ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.polled(); })) << room.log();
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
    card.configure("");
    DaemonRoom md(arrayTree());
    start(md);
    start(card);
    // To the end of its story: what is new while Prometheus looks would raise more alerts.
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        const auto array = card.state().at("arrays").at(0);
        return card.toldCode(kBadBlock) && array.at("task").is_object() &&
               array.at("task").at("percent") == 40 && array.at("task").at("secondsLeft") >= 0;
    })) << card.state();

    auto cardPage = std::make_unique<Served>(card);
    const Served mdPage(md);
    PrometheusServer server({cardPage->port(), mdPage.port()});
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
    cardPage.reset();
    EXPECT_TRUE(PrometheusServer::waitFor([&] {
        return server.firing() == Names{"RaidwatchDown"};
    })) << joined(server.firing());
}

}  // namespace
