// The verbs that ask, on a real spool: what they print and what they ask to be changed.
#include "agent/commands/AskingVerb.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include <nlohmann/json.hpp>

#include "agent/CommandLine.h"
#include "agent/Failure.h"
#include "agent/commands/DeliveryReport.h"
#include "agent/commands/RecordPrinter.h"
#include "agent/daemon/Requests.h"
#include "agent/spool/Spool.h"
#include "tests/agent/AgentFixture.h"
#include "tests/support/TempDir.h"

namespace {

using Json = nlohmann::ordered_json;

// A machine whose daemon is not running: the spool alone, as the verbs find it.
class AskingVerbTest : public testing::Test {
protected:
    AskingVerbTest() : spool(dir.file("state/spool.db", true)) {
        dir.write("raidwatch.toml", "[paths]\nstate = \"" + dir.file("state") + "\"\nrun = \"" +
                                        dir.file("run") + "\"\n");
    }

    struct Folder : TempDir {
        std::string file(const std::string& name, bool make = false) const {
            if (make) write("state/.keep", "");
            return TempDir::file(name);
        }
    };

    void record(int code, int severity, const std::string& object, const std::string& text,
                Origin origin = Origin::kLive) {
        Record made;
        made.object = object;
        made.origin = origin;
        made.event = QELEvent(code, severity, text, "ID");
        made.event.timeStamp = 1763712345;
        Spool::Batch batch;
        batch.records.push_back(made);
        spool.commit(batch);
    }

    // "exit code|output" or "exit code|error"
    std::string run(std::vector<const char*> words) {
        const std::string config = dir.file("raidwatch.toml");
        words.insert(words.begin(), "raidwatch");
        words.insert(words.begin() + 2, {"--config", config.c_str()});
        KeptContext kept;
        try {
            const int code =
                CommandLine(kept.context, "0").run(static_cast<int>(words.size()), words.data());
            return std::to_string(code) + "|" + kept.out.kept;
        } catch (const Failure& e) {
            return std::to_string(e.exitCode) + "|" + e.what();
        }
    }

    const Folder dir;
    Spool spool;
};

TEST_F(AskingVerbTest, EventsShowsWhatIsAskedFor) {
    record(401, kEventError, "drive:A", "Drive failed\x1b[2J.");
    record(305, kEventWarning, "array:0:0", "Array degraded.", Origin::kDrill);
    record(406, kEventWarning, "drive:B", "Unknown vendor.");
    const std::string failed =
        "2025-11-21 08:05:45  ERROR     401                   Drive failed\\x1b[2J.\n";
    const std::string degraded =
        "2025-11-21 08:05:45  WARNING   305                   DRILL: Array degraded.\n";

    EXPECT_EQ("0|" + failed + degraded, run({"events"}));
    EXPECT_EQ("0|" + failed, run({"events", "--severity", "error"}));
    EXPECT_EQ("0|" + failed + degraded, run({"events", "--code", "401,305"}));
    EXPECT_EQ("0|" + degraded, run({"events", "--object", "array:0:0", "--limit", "5"}));
    EXPECT_EQ("0|", run({"events", "--until", "1h"}));
    EXPECT_NE(std::string::npos, run({"events", "--all"}).find("Unknown vendor."));
    EXPECT_EQ(
        "305",
        Json::parse(run({"events", "--json", "--code", "305"}).substr(2))["data"]["event"]["code"]
            .dump());
}

TEST_F(AskingVerbTest, GivenWrongInputThenOneLineWithTheCure) {
    struct Case {
        std::vector<const char*> words;
        const char* answer;
    };
    const Case cases[] = {
        {{"events", "--severity", "bad"},
         "2|--severity: give error, warning or info; worse ones are shown with it"},
        {{"events", "--limit", "x"}, "2|--limit: \"x\" is no whole number"},
        {{"events", "--limit", "0"}, "2|--limit: give a number from 1, or --all"},
        {{"events", "--since", "1h", "--until", "2h"}, "2|--until must be later than --since"},
        {{"ack", "four"}, "2|ID: \"four\" is no whole number"},
        {{"ack", "4", "--until", "0h"}, "2|--until: "},
        {{"silence", "add", "--for", "2h", "--reason", "x"},
         "2|give --object NAME for one object, or --all for everything"},
        {{"silence", "add", "--all", "--for", "2h", "--reason", " "},
         "2|--reason: say why, for those who wonder"},
        {{"silence", "add", "--all", "--for", "9999d", "--reason", "x"},
         "2|--for: a silence lasts a year at most"},
        {{"diff"}, "1|nobody has ever watched this machine; systemctl start raidwatch begins"},
        {{"test"}, "1|raidwatch is not running; start it with systemctl start raidwatch"},
        {{"drill", "/no/such/file"}, "2|/no/such/file"},
    };
    for (const Case& c : cases) {
        const std::string answer = run(c.words);
        EXPECT_EQ(c.answer, answer.substr(0, std::string(c.answer).size())) << answer;
        EXPECT_EQ(std::string::npos, answer.find('\n')) << answer;
    }
}

TEST_F(AskingVerbTest, SilencesComeAndGo) {
    EXPECT_EQ("0|There are no silences.\n", run({"silence", "list"}));
    const std::string added =
        run({"silence", "add", "--all", "--for", "2h", "--reason", "new cable"});
    EXPECT_EQ("0|silence 1: nobody is told about everything\n", added.substr(0, 45)) << added;
    const std::string list = run({"silence", "list"});
    EXPECT_EQ("0|1  everything until ", list.substr(0, 22));
    EXPECT_NE(std::string::npos, list.find("\n    new cable\n"));
    EXPECT_EQ("0|silence 1 has ended\n", run({"silence", "rm", "1"}));
    EXPECT_EQ("0|There are no silences.\n", run({"silence", "list"}));
}

TEST_F(AskingVerbTest, IncidentsSayWhatIsOpen) {
    EXPECT_EQ("0|No incident is open.\n", run({"incidents"}));
    Incident incident;
    incident.id = 4;
    incident.object = "array:0:0";
    incident.objectName = "md0";
    incident.condition = "redundancy";
    incident.value = "degraded";
    incident.severity = kEventWarning;
    incident.openedAt = 1763712345;
    incident.survives = 0;
    spool.putIncident(incident);
    const std::string text = run({"incidents"});
    EXPECT_EQ(0u, text.find("0|1 incident is open.\n   4  WARNING  md0 degraded\n"
                            "      since 2025-11-21 08:05:45 ("))
        << text;
    EXPECT_NE(std::string::npos, text.find("\n      One more drive failure loses data.\n"));
}

TEST_F(AskingVerbTest, GivenIncidentsOfAllKindsThenTheWorstComesFirstAndTheEndedLast) {
    struct Row {
        std::int64_t id;
        const char* value;
        int severity;
        bool open;
    };
    for (const Row& row :
         {Row{1, "failed", kEventError, false}, Row{2, "normal", 3, true},
          Row{3, "degraded", kEventWarning, true}, Row{4, "offline", kEventError, true}}) {
        Incident incident;
        incident.id = row.id;
        incident.object = incident.objectName = "md" + std::to_string(row.id);
        incident.condition = "redundancy";
        incident.value = row.value;
        incident.severity = row.severity;
        incident.open = row.open;
        incident.openedAt = incident.resolvedAt = 1763712345;
        incident.survives = 1;
        spool.putIncident(incident);
    }
    const std::string text = run({"incidents", "--all"});
    std::string heads;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line[0] != ' ' || line[3] != ' ') heads += line + "\n";
    }
    EXPECT_EQ(
        "0|2 incidents are open; 1 is well again, and ends when it stays so.\n"
        "   4  ERROR    md4 offline\n"
        "   3  WARNING  md3 degraded\n"
        "   2  well     md2 normal\n"
        "   1  ended    md1 failed\n",
        heads);
    EXPECT_EQ(std::string::npos, text.find("survives", text.find("md2"))) << text;
}

TEST_F(AskingVerbTest, DiffTellsWhatChangedWhileNobodyWatched) {
    spool.beginWatch(1763700000);
    spool.endWatch(1763703600);
    spool.beginWatch(1763712000);
    spool.endWatch(1763712060);
    record(401, kEventError, "drive:A", "Drive failed.", Origin::kAtStart);
    record(499, kEventError, "drive:A", "Drive failed.", Origin::kAtStart);
    record(401, kEventError, "drive:A", "Only a drill.", Origin::kDrill);
    const std::string text = run({"diff", "--since", "2025-11-21 04:45"});
    EXPECT_NE(std::string::npos, text.find("Nobody watched for "));
    std::string unwrapped = text;
    std::replace(unwrapped.begin(), unwrapped.end(), '\n', ' ');
    EXPECT_NE(std::string::npos,
              unwrapped.find("in 2 gaps; the last one: 2025-11-21 08:01:00 to now."))
        << text;
    EXPECT_NE(std::string::npos, text.find("Changed while nobody watched:\n2025-11-21 08:05:45  "
                                           "ERROR     401                   (found at start) "
                                           "Drive failed.\n"));
    EXPECT_EQ(std::string::npos, text.find("499"));
    EXPECT_EQ(std::string::npos, text.find("drill"));
}

// Answers from the spool; what a daemon would have made is there already.
class SpoolAsk : public Ask {
public:
    explicit SpoolAsk(Spool& spoolIN) : requests(spoolIN, nullptr, "") {}
    Json ask(const Json& request) override {
        return Json::parse(requests.answer(request.dump()))["result"];
    }
    Json change(const Json&) override { return Json(); }

private:
    Requests requests;
};

TEST_F(AskingVerbTest, ADeliveryReportNamesTheDeadSink) {
    for (const char* sink : {"exec", "file", "mail", "slow", "web"}) spool.cursor(sink);
    record(1, kEventInformation, "", "test", Origin::kTest);
    const std::int64_t at = spool.read(0, 1).at(0).at;
    Receipt receipt;
    receipt.at = at + 410;
    receipt.answer = "250 ok\x1b[2J";
    spool.deliver("mail", 1, receipt);
    receipt.outcome = Receipt::Outcome::kFailed;
    receipt.tries = 2;
    receipt.answer = "connection refused";
    spool.failed("slow", 1, receipt);
    receipt.outcome = Receipt::Outcome::kDead;
    receipt.answer = "404";
    spool.deliver("web", 1, receipt);
    spool.skip("file", 1);
    SpoolAsk agent(spool);
    KeptContext kept;
    DeliveryReport report(kept.context, agent, std::chrono::seconds(0), false);

    EXPECT_EQ(
        1, report.run(
               {{"sequence", 1}, {"last", 1}, {"sinks", {"exec", "file", "mail", "slow", "web"}}}));

    EXPECT_EQ(
        "exec  waits     nothing came within 0 s\n"
        "file  not told  its filter leaves such records out\n"
        "mail  ok        0.41 s  250 ok\\x1b[2J\n"
        "slow  FAILED    2 tries: connection refused\n"
        "web   DEAD      404\n"
        "3 of 5 sinks did not deliver; raidwatch doctor looks for the cause\n",
        kept.out.kept);
    kept.out.kept.clear();
    EXPECT_EQ(0, report.run({{"sequence", 1}, {"sinks", {"mail"}}}));
    EXPECT_EQ("mail  ok        0.41 s  250 ok\\x1b[2J\n1 sink, all in order\n", kept.out.kept);
    EXPECT_THROW(report.run({{"sequence", 1}, {"sinks", Json::array()}}), Failure);
}

}  // namespace
