// A flood, and something that never comes to rest, through the real engine, the incidents and a
// real spool: how much people are told.
#include <gtest/gtest.h>

#include <map>

#include "agent/Replayer.h"
#include "agent/daemon/Pipeline.h"
#include "agent/daemon/PollReport.h"
#include "agent/spool/SafeSnapshot.h"
#include "agent/state/StateBuilder.h"
#include "storlib/sources/ScenarioSource.h"
#include "tests/support/TempDir.h"
#include "util/Clock.h"

namespace {

class ManyThingsTest : public testing::Test {
protected:
    // Plays the scenario; between two steps the pipeline turns each minute, as time passes.
    void play(const std::string& scenario) {
        std::string error;
        auto source = ScenarioSource::open(dir.write("story.json", scenario), error);
        ASSERT_NE(nullptr, source) << error;
        Replayer replayer(std::move(source));
        StateBuilder builder;
        std::int64_t last = 0;
        for (int step = 1; replayer.next(); ++step) {
            const std::int64_t now = Clock::current().now();
            while (last != 0 && last + 60 < now) tickAt(last += 60);
            last = now;
            MonitorThread::Batch batch;
            batch.events = replayer.events();
            batch.sources.resize(batch.events.size(), {step == 1, step});
            batch.finished = batch.events.size();
            batch.polls = batch.ended = 1;
            auto report = std::make_shared<PollReport>();
            report->state = builder.build(replayer.library(), now);
            report->state.host = "stor7";
            report->snapshot = "<System>" + std::to_string(step) + "</System>\n";
            batch.report = report;
            pipeline.pass(std::move(batch));
        }
        for (int minute = 0; minute < 3 * 60; ++minute) tickAt(last += 60);
    }
    void tickAt(std::int64_t now) {
        struct At : Clock {
            explicit At(std::int64_t timeIN) : time(timeIN), before(Clock::set(this)) {}
            ~At() override { Clock::set(before); }
            std::int64_t now() override { return time; }
            void sleepSeconds(unsigned) override {}
            std::int64_t time;
            Clock* before;
        } const clock(now);
        pipeline.pass({});
    }
    // Notices by their word, and events as "event".
    std::map<std::string, int> spooled() {
        std::map<std::string, int> count;
        for (std::int64_t after = 0;;) {
            const std::vector<Record> records = spool.read(after, 1000);
            if (records.empty()) return count;
            for (const Record& record : records) {
                after = record.sequence;
                ++count[record.kind == Record::Kind::kEvent ? "event"
                                                            : noticeWord(record.notice.kind)];
            }
        }
    }

    TempDir dir;
    Spool spool{dir.file("spool.db")};
    SafeSnapshot safe{dir.file("QELVANTConfig.xml")};
    Pipeline pipeline{spool, safe, AgentSettings(), Pipeline::Places{dir.file("state.json"), ""}};
};

using Counts = std::map<std::string, int>;

std::string storyOf(const std::string& steps) {
    return R"({"scenario": 1, "title": "t", "controllers": [{"id": "c", "vendor": "Acme",
        "name": "RX-800", "serial": "SN1", "channels": [{"id": "ch", "drives": [
        {"id": "left", "device": 0, "state": "member", "vendor": "KOVA-PQ", "serial": "L"},
        {"id": "right", "device": 1, "state": "member", "vendor": "KOVA-PQ", "serial": "R"}]}],
        "logicalDrives": [{"id": "mirror", "level": "RAID1", "size": 102400}]}],
        "steps": [)" +
           steps + "]}";
}

TEST_F(ManyThingsTest, GivenAThousandArraysAppearThenEachIsRecordedAndNobodyIsAlarmed) {
    play(storyOf(R"({"changes": [{"add": {"logicalDrives":
        {"copies": 1000, "level": "RAID1", "size": 1024}}, "in": "c"}]})"));
    const Counts counts = spooled();
    EXPECT_EQ(0u, counts.count("opened"));
    EXPECT_GE(counts.at("event"), 1000);
    EXPECT_EQ(counts.at("event"), static_cast<int>(spool.lastSequence()));
}

TEST_F(ManyThingsTest, GivenAThousandArraysAppearDegradedThenOneMessageIsMadeOfEach) {
    play(storyOf(R"({"changes": [{"add": {"logicalDrives":
        {"copies": 1000, "level": "RAID1", "size": 1024, "state": "degraded"}}, "in": "c"}]})"));
    Counts counts = spooled();
    counts.erase("event");
    EXPECT_EQ((Counts{{"opened", 1000}}), counts);
    EXPECT_EQ(1000u, spool.openIncidents().size());
}

// Every five minutes, from morning to morning.
TEST_F(ManyThingsTest, GivenADriveThatFlapsAllDayThenThreeMessagesAreMade) {
    std::string steps;
    for (int i = 0; i < 144; ++i) {
        steps += R"({"seconds": 300, "changes": [{"set": "right", "to": {"state": "failed"}},
            {"set": "mirror", "to": {"state": "degraded"}}]},
            {"seconds": 300, "changes": [{"set": "right", "to": {"state": "member"}},
            {"set": "mirror", "to": {"state": "optimal"}}]},)";
    }
    steps.pop_back();
    play(storyOf(steps));
    Counts counts = spooled();
    EXPECT_GE(counts.at("event"), 288) << "each change is recorded";
    counts.erase("event");
    EXPECT_EQ((Counts{{"opened", 1}, {"flapping", 1}, {"resolved", 1}}), counts);
    EXPECT_TRUE(spool.openIncidents().empty());
}

}  // namespace
