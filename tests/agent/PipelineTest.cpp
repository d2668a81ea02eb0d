#include "agent/daemon/Pipeline.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <memory>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/daemon/PollReport.h"
#include "agent/spool/SafeSnapshot.h"
#include "tests/support/TempDir.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr char kFirstShown[] = "<System>1</System>\n";
constexpr char kSecondShown[] = "<System>2</System>\n";

QELEvent eventOf(int code, unsigned device = 3) {
    QELEvent event(code, kEventError, "text of " + std::to_string(code), "EVENT");
    event.objectType = QELEvent::kPhysicalDrive;
    event.location = Addr::ofDevice(1, 0, device);
    event.extra1 = "S" + std::to_string(device);
    return event;
}

// What the monitor hands over: `finished` of the codes belong to polls that have ended.
MonitorThread::Batch batchOf(const std::vector<int>& codes, std::size_t finished,
                             const std::string& shown, bool atStart = false,
                             std::int64_t poll = 1) {
    MonitorThread::Batch batch;
    for (const int code : codes) {
        batch.events.push_back(eventOf(code));
        batch.sources.push_back({atStart, poll});
    }
    batch.finished = finished;
    if (!shown.empty()) {
        auto report = std::make_shared<PollReport>();
        report->state.host = "stor7";
        report->state.polledAt = 1000000000;
        report->snapshot = shown;
        batch.report = report;
        batch.polls = 1;
    }
    return batch;
}

class PipelineTest : public testing::Test {
protected:
    PipelineTest() { open(); }

    // A new life of the daemon on the same files.
    void open() {
        pipeline.reset();
        safe = std::make_unique<SafeSnapshot>(dir.file("QELVANTConfig.xml"));
        spool = std::make_unique<Spool>(dir.file("spool.db"));
        pipeline = std::make_unique<Pipeline>(*spool, *safe, settings,
                                              Pipeline::Places{dir.file("state.json"), ""},
                                              [this] { ++woken; });
    }
    std::vector<int> spooled() const {
        std::vector<int> codes;
        for (const Record& record : spool->read(0, 1000)) {
            if (record.kind == Record::Kind::kEvent) codes.push_back(record.event.eventCode);
        }
        return codes;
    }
    Json state() const { return Json::parse(dir.read("state.json")); }

    TempDir dir;
    AgentSettings settings;
    std::unique_ptr<SafeSnapshot> safe;
    std::unique_ptr<Spool> spool;
    std::unique_ptr<Pipeline> pipeline;
    int woken = 0;
};

using Codes = std::vector<int>;

TEST_F(PipelineTest, EventsAndTheirSnapshotAreCommittedTogether) {
    pipeline->pass(batchOf({408, 499}, 2, kFirstShown));
    EXPECT_EQ(Codes({408, 499}), spooled());
    EXPECT_EQ(kFirstShown, spool->snapshot());
    EXPECT_EQ(spool->lastSequence(), spool->snapshotMark());
    EXPECT_EQ(kFirstShown, dir.read("QELVANTConfig.xml.safe"));
    EXPECT_EQ(1, woken);
    const Record record = spool->read(0, 1).at(0);
    EXPECT_EQ("drive:S3", record.object);
    EXPECT_EQ(Origin::kLive, record.origin);
}

TEST_F(PipelineTest, WhatTheFirstComparisonFindsIsMarkedAsSuch) {
    pipeline->pass(batchOf({408}, 1, kFirstShown, true));
    EXPECT_EQ(Origin::kAtStart, spool->read(0, 1).at(0).origin);
}

TEST_F(PipelineTest, GivenAPollWithoutNewsThenNothingIsWritten) {
    pipeline->pass(batchOf({408}, 1, kFirstShown));
    const std::int64_t before = spool->lastSequence();
    pipeline->pass(batchOf({}, 0, kFirstShown));
    EXPECT_EQ(before, spool->lastSequence());
    EXPECT_EQ(1, woken);
    EXPECT_EQ(1000000000, state()["polledAt"]);
}

// A poll without news is noted down once a minute, by whatever the clock says.
TEST_F(PipelineTest, GivenAClockThatIsSetBackThenTheLastPollIsStillNotedDown) {
    spool->beginWatch(999999000);
    const auto lastPollAfter = [this](std::int64_t polledAt) {
        MonitorThread::Batch batch = batchOf({}, 0, kFirstShown);
        auto report = std::make_shared<PollReport>(*batch.report);
        report->state.polledAt = polledAt;
        batch.report = report;
        pipeline->pass(std::move(batch));
        return spool->watchSpans(0).back().lastPoll;
    };
    EXPECT_EQ(1000000000, lastPollAfter(1000000000));
    EXPECT_EQ(1000000000, lastPollAfter(1000000059)) << "not with every poll";
    EXPECT_EQ(1000000060, lastPollAfter(1000000060));
    EXPECT_EQ(999996400, lastPollAfter(999996400)) << "an hour back";
    EXPECT_EQ(999996400, lastPollAfter(999996459));
    EXPECT_EQ(999996460, lastPollAfter(999996460));
}

TEST_F(PipelineTest, EventsOfAPollThatHasNotEndedWaitForItsEnd) {
    pipeline->pass(batchOf({408}, 0, ""));
    EXPECT_EQ(Codes(), spooled());
    pipeline->pass(batchOf({499}, 1, kFirstShown));
    EXPECT_EQ(Codes({408, 499}), spooled());
    EXPECT_EQ(spool->lastSequence(), spool->snapshotMark());
}

TEST_F(PipelineTest, TheBeginningOfTheNextPollIsNotExplainedByTheSnapshot) {
    pipeline->pass(batchOf({408, 499, 407}, 2, kFirstShown));
    EXPECT_EQ(Codes({408, 499}), spooled()) << "the third event is of a poll under way";
    pipeline->finish({});
    EXPECT_EQ(Codes({408, 499, 407}), spooled());
    EXPECT_LT(spool->snapshotMark(), spool->lastSequence());
}

// Killed after a poll that hung: its events were spooled, its snapshot was not.
TEST_F(PipelineTest, GivenEventsSpooledBeforeTheirSnapshotThenTheNextLifeDoesNotRecordThemAgain) {
    pipeline->pass(batchOf({}, 0, kFirstShown));
    pipeline->finish(batchOf({408, 499}, 0, ""));
    ASSERT_EQ(Codes({408, 499}), spooled());
    ASSERT_EQ(kFirstShown, spool->snapshot());
    open();
    pipeline->pass(batchOf({408, 499, 407}, 3, kSecondShown, true));
    EXPECT_EQ(Codes({408, 499, 407}), spooled());
    EXPECT_EQ(kSecondShown, spool->snapshot());
    open();
    pipeline->pass(batchOf({408, 499}, 2, kSecondShown, true));
    EXPECT_EQ(Codes({408, 499, 407, 408, 499}), spooled()) << "it happened once more";
}

// The poll broke off with an exception and the same process compares with the old snapshot again.
TEST_F(PipelineTest, GivenAPollThatBrokeOffThenItsEventsAreNotRecordedAgain) {
    pipeline->pass(batchOf({}, 0, kFirstShown));
    pipeline->finish(batchOf({408}, 0, "", false, 2));
    pipeline->pass(batchOf({408, 499}, 2, kSecondShown, true, 3));
    EXPECT_EQ(Codes({408, 499}), spooled());
}

// No file may grow any more: for the database that is a full disk.
class FullDisk {
public:
    explicit FullDisk(const std::string& file) {
        (void)std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit full{std::filesystem::file_size(file), before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before{};
};

TEST_F(PipelineTest, GivenAFullDiskThenNothingIsLostAndTheOrderStays) {
    pipeline->pass(batchOf({401}, 1, kFirstShown));
    {
        const FullDisk full(dir.file("spool.db-wal"));
        pipeline->pass(batchOf({408}, 1, kSecondShown));
        EXPECT_EQ(1u, pipeline->problems().count("spool"));
        EXPECT_TRUE(state()["daemon"]["problems"].contains("spool"));
        EXPECT_GE(state()["daemon"]["unspooled"].get<int>(), 1);
        EXPECT_EQ(kFirstShown, dir.read("QELVANTConfig.xml.safe")) << "it must not run ahead";
        EXPECT_EQ(Codes({401}), spooled());
    }
    pipeline->pass(batchOf({407}, 1, kFirstShown));
    EXPECT_EQ(Codes({401, 408, 407}), spooled());
    EXPECT_TRUE(pipeline->problems().empty());
    EXPECT_EQ(0, state()["daemon"]["unspooled"]);
    EXPECT_EQ(spool->lastSequence(), spool->snapshotMark());
    const std::vector<Record> records = spool->read(0, 100);
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(static_cast<std::int64_t>(i) + 1, records[i].sequence);
    }
}

TEST_F(PipelineTest, GivenAStateFileThatCannotBeWrittenThenRecordsAreKeptAllTheSame) {
    Pipeline other(*spool, *safe, settings, Pipeline::Places{dir.file("no/state.json"), ""},
                   nullptr);
    other.pass(batchOf({408}, 1, kFirstShown));
    EXPECT_EQ(Codes({408}), spooled());
    EXPECT_EQ(1u, other.problems().count("state"));
}

TEST_F(PipelineTest, GivenASnapshotThatCannotBeReadThenEventsAreKeptAndStayRecognisable) {
    pipeline->pass(batchOf({}, 0, kFirstShown));
    MonitorThread::Batch batch = batchOf({408}, 1, kSecondShown);
    auto report = std::make_shared<PollReport>(*batch.report);
    report->snapshot.clear();
    batch.report = report;
    pipeline->pass(std::move(batch));
    EXPECT_EQ(Codes({408}), spooled());
    EXPECT_EQ(kFirstShown, spool->snapshot());
    open();
    pipeline->pass(batchOf({408}, 1, kSecondShown, true));
    EXPECT_EQ(Codes({408}), spooled());
}

TEST_F(PipelineTest, ATestMakesAnEventAndANoticeForEachSink) {
    const Pipeline::Span all = pipeline->test({});
    EXPECT_EQ(all.first + 1, all.last);
    const Pipeline::Span two = pipeline->test({"a", "b"});
    EXPECT_EQ(two.first + 3, two.last);
    const std::vector<Record> records = spool->read(two.first - 1, 10);
    ASSERT_EQ(4u, records.size());
    EXPECT_EQ("sink:a", records[0].object);
    EXPECT_EQ(Record::Kind::kEvent, records[0].kind);
    EXPECT_EQ("sink:a", records[1].object);
    EXPECT_EQ(Notice::Kind::kTest, records[1].notice.kind);
    EXPECT_NE("", records[1].notice.subject);
    EXPECT_EQ("sink:b", records[3].object);
    for (const Record& record : records) EXPECT_EQ(Origin::kTest, record.origin);
}

TEST_F(PipelineTest, ATestIsNoReasonToDropARealEvent) {
    (void)pipeline->test({});
    open();
    QELEvent same = spool->read(0, 1).at(0).event;
    MonitorThread::Batch batch = batchOf({}, 1, kFirstShown, true);
    batch.events.push_back(same);
    batch.sources.push_back({true, 1});
    pipeline->pass(std::move(batch));
    EXPECT_EQ(2u, spooled().size());
}

TEST_F(PipelineTest, ADrillLeavesNoOpenIncidentAndItsNumbersAreNotGivenAgain) {
    const Pipeline::Span span = pipeline->drill("failed-drive", {eventOf(401), eventOf(499)});
    EXPECT_TRUE(spool->openIncidents().empty());
    const std::int64_t used = spool->lastIncident();
    EXPECT_GT(used, 0);
    bool resolved = false;
    for (const Record& record : spool->read(span.first - 1, 100)) {
        EXPECT_EQ(Origin::kDrill, record.origin);
        resolved = resolved || (record.kind == Record::Kind::kNotice &&
                                record.notice.kind == Notice::Kind::kResolved);
    }
    EXPECT_TRUE(resolved) << "who was alarmed by the drill must hear that it is over";
    pipeline->pass(batchOf({401}, 1, kFirstShown));
    ASSERT_EQ(1u, spool->openIncidents().size());
    EXPECT_GT(spool->openIncidents()[0].id, used);
}

TEST_F(PipelineTest, ChangesOfWhatIsNotThereAreRefused) {
    EXPECT_THROW(pipeline->acknowledge(7, "ann", "", 0), Failure);
    EXPECT_THROW(pipeline->unacknowledge(7), Failure);
    EXPECT_THROW(pipeline->removeSilence(7), Failure);
}

TEST_F(PipelineTest, AnAcknowledgementSurvivesARestart) {
    pipeline->pass(batchOf({401}, 1, kFirstShown));
    const std::vector<Incident> open1 = spool->openIncidents();
    ASSERT_EQ(1u, open1.size());
    EXPECT_EQ("on it", pipeline->acknowledge(open1[0].id, "ann", "on it", 0).ackComment);
    open();
    EXPECT_EQ("ann", spool->openIncidents().at(0).ackBy);
    EXPECT_EQ("", pipeline->unacknowledge(open1[0].id).ackBy);
    EXPECT_FALSE(spool->openIncidents().at(0).acknowledged());
}

}  // namespace
