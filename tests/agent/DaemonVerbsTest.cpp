// What a user types while the daemon runs: the real program, asked on the command line, and the
// real daemon that answers.
#include <gtest/gtest.h>

#include <sstream>

#include "agent/daemon/Agent.h"
#include "tests/agent/DaemonRoom.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kDriveRemoved = 408;

class DaemonVerbsTest : public testing::Test {
protected:
    void SetUp() override {
        room.start();
        ASSERT_TRUE(DaemonRoom::waitFor([&] {
            return room.polled() && agent().isRunning() && room.isUp();
        })) << room.log();
    }
    void TearDown() override { EXPECT_EQ(0, room.stop(SIGTERM)) << room.log(); }

    Agent agent() const { return Agent(room.settings); }
    std::vector<std::string> command(std::vector<std::string> words) const {
        words.insert(words.begin(), QEL_RAIDWATCH);
        words.insert(words.end(), {"--config", room.config});
        return words;
    }
    // "exit code|all that was printed"
    std::string run(const std::vector<std::string>& words) {
        const std::string output = "verb-" + std::to_string(++runs);
        const int exitCode = DaemonRoom::waitForEndOf(room.spawn(command(words), output));
        return std::to_string(exitCode) + "|" + room.readFile(output);
    }
    static Json jsonOf(const std::string& answer) {
        EXPECT_EQ("0|", answer.substr(0, 2)) << answer;
        return Json::parse(answer.substr(2), nullptr, false);
    }
    // Of a drive that somebody has pulled.
    Json firstIncident() {
        room.machine.add("x /sys/block/sdb");
        Json incidents;
        EXPECT_TRUE(DaemonRoom::waitFor([&] {
            incidents = agent().ask({{"do", "incidents"}});
            return !incidents.empty();
        })) << room.log();
        return incidents.empty() ? Json() : incidents[0];
    }

    DaemonRoom room;
    int runs = 0;
};

TEST_F(DaemonVerbsTest, AckNamesTheIncidentAndUnackTakesItBack) {
    const Json incident = firstIncident();
    const std::string id = incident["id"].dump();
    const std::string name = "incident " + id + " (" + incident["objectName"].get<std::string>() +
                             " " + incident["value"].get<std::string>() + ")";
    EXPECT_EQ("0|" + name + " is acknowledged\nuntil it gets worse or ends\n",
              run({"ack", id, "--comment", "on it"}));
    EXPECT_NE(std::string::npos, run({"incidents"}).find("on it"));
    EXPECT_EQ("0|" + name + " is no longer acknowledged\n", run({"unack", id}));
    EXPECT_EQ(std::string::npos, run({"incidents"}).find("on it"));
}

TEST_F(DaemonVerbsTest, AckWithJsonPrintsTheIncidentAsItIsThen) {
    const std::string id = firstIncident()["id"].dump();
    const Json taken = jsonOf(run({"ack", id, "--json"}));
    EXPECT_EQ(agent().ask({{"do", "incidents"}})[0], taken);
    const Json back = jsonOf(run({"unack", id, "--json"}));
    EXPECT_EQ(agent().ask({{"do", "incidents"}})[0], back);
    EXPECT_NE(taken, back);
}

TEST_F(DaemonVerbsTest, SilenceAddWithJsonPrintsTheSilence) {
    const Json added =
        jsonOf(run({"silence", "add", "--all", "--for", "2h", "--reason", "new cable", "--json"}));
    EXPECT_EQ("new cable", added["reason"]);
    EXPECT_EQ(agent().ask({{"do", "silences"}})[0], added);
    EXPECT_EQ("0|silence 1 has ended\n", run({"silence", "rm", "1"}));
}

TEST_F(DaemonVerbsTest, TestTellsWhatBecameOfItAtEachSink) {
    const Json line = jsonOf(run({"test", "out", "--json"}));
    EXPECT_EQ("out", line["sink"]);
    EXPECT_EQ(true, line["ok"]) << line;
    EXPECT_EQ(2, line["delivered"]) << "an event and a notice";
    EXPECT_EQ(0, line["dead"]);
    EXPECT_TRUE(line["latency"].is_number()) << line;
    const std::string text = run({"test"});
    EXPECT_EQ("0|out  ok        ", text.substr(0, 17)) << text;
    // The sink's own words may take two lines.
    EXPECT_EQ("\n1 sink, all in order\n", text.substr(text.rfind('\n', text.size() - 2))) << text;
}

TEST_F(DaemonVerbsTest, GivenASinkThatCannotDeliverThenTestEndsWithOne) {
    room.configure("[sink.away]\ntype = \"file\"\npath = \"/proc/nowhere/out.jsonl\"\n");
    (void)agent().change({{"do", "reload"}});
    const std::string text = run({"test", "--wait", "1"});
    EXPECT_EQ("1|", text.substr(0, 2)) << text;
    EXPECT_NE(std::string::npos, text.find("\n1 of 2 sinks did not deliver; raidwatch doctor "))
        << text;
}

TEST_F(DaemonVerbsTest, DrillTellsEverybodyAndIsMarked) {
    const std::string story = QEL_SOURCE_DIR "/storlib/sources/scenarios/whole-story.json";
    const Json before = agent().ask({{"do", "incidents"}});
    const std::string text = run({"drill", story});
    EXPECT_EQ("0|raidwatch: DRILL: ", text.substr(0, 20)) << text;
    EXPECT_NE(std::string::npos, text.find("\n1 sink, all in order\n")) << text;
    EXPECT_EQ(before, agent().ask({{"do", "incidents"}})) << "no real incident";
    std::size_t rehearsed = 0;
    for (const Json& record : room.told()) {
        if (record["data"]["origin"] == "drill") ++rehearsed;
    }
    EXPECT_GT(rehearsed, 10u);
}

TEST_F(DaemonVerbsTest, EventsFollowShowsWhatComesOnceAndEndsWithAnInterrupt) {
    const pid_t following = room.spawn(command({"events", "--follow", "--limit", "1"}), "followed");
    EXPECT_TRUE(DaemonRoom::waitFor([&] {
        return room.readFile("followed").find('\n') != std::string::npos;
    })) << "the last one so far";
    room.machine.add("x /sys/block/sdb");
    const auto lines = [&] {
        int count = 0;
        std::istringstream text(room.readFile("followed"));
        for (std::string line; std::getline(text, line);) {
            if (line.find("  " + std::to_string(kDriveRemoved) + "  ") != std::string::npos) {
                ++count;
            }
        }
        return count;
    };
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return lines() > 0; })) << room.readFile("followed");
    ASSERT_EQ(0, kill(following, SIGINT));
    EXPECT_EQ(0, DaemonRoom::waitForEndOf(following)) << room.readFile("followed");
    EXPECT_EQ(1, lines()) << room.readFile("followed");
}

}  // namespace
