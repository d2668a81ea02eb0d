// The spool is damaged while the daemon has it open: it is set aside at once, and what was known
// and what could be read goes on in a new one. And what a clock that jumps must not do to it.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "agent/Failure.h"
#include "agent/FastClock.h"
#include "agent/daemon/Door.h"
#include "agent/daemon/Pipeline.h"
#include "agent/daemon/PollReport.h"
#include "agent/sinks/SinkSet.h"
#include "agent/spool/SafeSnapshot.h"
#include "agent/spool/SqliteFile.h"
#include "agent/web/AgentSite.h"
#include "tests/agent/DaemonRoom.h"
#include "tests/agent/SinkFixture.h"

namespace {

constexpr char kShown[] = "<System>1</System>\n";
constexpr int kPage = 4096;
constexpr std::int64_t kDay = std::int64_t{86400} * 1000;

MonitorThread::Batch batchOf(int code, unsigned device, const std::string& shown) {
    MonitorThread::Batch batch;
    QELEvent event(code, kEventError, "text of " + std::to_string(code), "EVENT");
    event.objectType = QELEvent::kPhysicalDrive;
    event.location = Addr::ofDevice(1, 0, device);
    event.extra1 = "S" + std::to_string(device);
    batch.events.push_back(event);
    batch.sources.push_back({false, 1});
    batch.finished = 1;
    auto report = std::make_shared<PollReport>();
    report->state.polledAt = 1000000000;
    report->snapshot = shown;
    batch.report = report;
    batch.polls = batch.ended = 1;
    return batch;
}

// Two sinks: "quick" takes all; "slow" takes nothing until it is let.
class DamagedSpoolTest : public testing::Test {
protected:
    DamagedSpoolTest() {
        settings.sinks["quick"] = sinkSettings("quick");
        settings.sinks["slow"] = sinkSettings("slow");
        settings.sinks["slow"].firstRetry = settings.sinks["slow"].longestRetry = 1;
        for (const char* name : {"quick", "slow"}) talks[name] = std::make_shared<FakeTalk>();
        talks["slow"]->reply = [this](const Record& record) {
            if (!slowTakes) return Answer{Answer::Kind::kRetry, "not now"};
            return take("slow", record);
        };
        talks["quick"]->reply = [this](const Record& record) { return take("quick", record); };
        sinks.reload(settings.sinks);
        pipeline.keepSinksAwayBy([this](bool away) { return sinks.stayAway(away); });
    }
    ~DamagedSpoolTest() override { (void)sinks.stop(); }

    // Codes of events, and 0 for a notice.
    Answer take(const std::string& sink, const Record& record) {
        const std::lock_guard<std::mutex> lock(mutex);
        taken[sink].push_back(record.kind == Record::Kind::kEvent ? record.event.eventCode : 0);
        return {};
    }
    std::vector<int> takenBy(const std::string& sink) {
        const std::lock_guard<std::mutex> lock(mutex);
        return taken[sink];
    }
    bool waitForSink(const std::string& sink, const std::vector<int>& codes) {
        return DaemonRoom::waitFor([&] { return takenBy(sink) == codes; });
    }
    // All of its pages from `first` on, or only that one, as a disk might spoil them.
    void damage(std::int64_t first, bool onlyThat) {
        {
            SqliteFile(dir.file("spool.db"), SqliteFile::Mode::kWrite)
                .run("PRAGMA wal_checkpoint(TRUNCATE)");
        }
        const auto size =
            static_cast<std::int64_t>(std::filesystem::file_size(dir.file("spool.db")));
        std::fstream file(dir.file("spool.db"), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp((first - 1) * kPage);
        const std::int64_t bytes = onlyThat ? kPage : size - (first - 1) * kPage;
        file << std::string(static_cast<std::size_t>(bytes), '\xaa');
    }
    std::int64_t rootOf(const char* table) {
        return SqliteFile(dir.file("spool.db"), SqliteFile::Mode::kRead)
            .number(std::string("SELECT rootpage FROM sqlite_schema WHERE name = '") + table + "'");
    }
    bool passUntilWell() {
        return DaemonRoom::waitFor([&] {
            pipeline.pass({});
            for (const std::string& line : pipeline.takeNotes()) lines.push_back(line);
            return pipeline.problems().count("spool") == 0;
        });
    }
    bool noted(const std::string& part) const {
        return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.find(part) != std::string::npos;
        });
    }

    TempDir dir;
    AgentSettings settings;
    std::mutex mutex;
    std::map<std::string, std::vector<int>> taken;
    std::atomic<bool> slowTakes{false};
    std::map<std::string, std::shared_ptr<FakeTalk>> talks;
    KeptNotes notes;
    Spool spool{dir.file("spool.db")};
    SafeSnapshot safe{dir.file("QELVANTConfig.xml")};
    SinkSet sinks{dir.file("spool.db"), notes.keeper(), [this](const SinkSettings& sink) {
                      return std::make_unique<FakeSink>(talks[sink.name]);
                  }};
    Pipeline pipeline{spool, safe, settings, Pipeline::Places{dir.file("state.json"), ""},
                      [this] { sinks.notify(); }};
    std::vector<std::string> lines;
};

TEST_F(DamagedSpoolTest, GivenADamagedIndexThenAllThatCanBeReadGoesOnInANewSpool) {
    // The settings were filled in after the pipeline was made.
    pipeline.use(settings);
    Silence silence;
    silence.object = "drive:S9";
    silence.until = 4000000000;
    (void)pipeline.addSilence(silence);
    pipeline.pass(batchOf(401, 3, kShown));
    ASSERT_TRUE(waitForSink("quick", {401, 0}));
    const std::int64_t before = spool.lastSequence();
    damage(rootOf("records_by_object"), true);
    pipeline.pass(batchOf(418, 4, "<System>2</System>\n"));
    ASSERT_TRUE(passUntilWell()) << pipeline.problems().at("spool");

    EXPECT_TRUE(noted("it is now " + dir.file("spool.db.damaged-")));
    EXPECT_TRUE(noted("2 records that some sink had not yet taken go on in the new spool, 0 "));
    EXPECT_GT(spool.lastSequence(), before) << "no number is given again";
    EXPECT_EQ("<System>2</System>\n", spool.snapshot());
    EXPECT_EQ(2u, spool.openIncidents().size()) << "the failed drive and the bad block";
    ASSERT_EQ(1u, spool.silences().size());
    EXPECT_EQ("drive:S9", spool.silences()[0].object);
    EXPECT_EQ(1u, spool.watchSpans(0).size());
    EXPECT_TRUE(waitForSink("quick", {401, 0, 418, 0})) << "nothing twice";
    slowTakes = true;
    EXPECT_TRUE(waitForSink("slow", {401, 0, 418, 0})) << "nothing lost";

    pipeline.pass(batchOf(408, 5, kShown));
    EXPECT_TRUE(waitForSink("slow", {401, 0, 418, 0, 408, 0}));
    EXPECT_TRUE(Spool(dir.file("spool.db")).openingNote().empty());
}

TEST_F(DamagedSpoolTest, GivenNothingCanBeReadThenWhatIsKnownGoesOnInANewSpool) {
    pipeline.use(settings);
    pipeline.pass(batchOf(401, 3, kShown));
    ASSERT_TRUE(waitForSink("quick", {401, 0}));
    damage(2, false);
    pipeline.pass(batchOf(418, 4, "<System>2</System>\n"));
    ASSERT_TRUE(passUntilWell()) << pipeline.problems().at("spool");
    EXPECT_TRUE(noted("it is now " + dir.file("spool.db.damaged-")));
    EXPECT_EQ(2u, spool.openIncidents().size());
    EXPECT_EQ("<System>2</System>\n", spool.snapshot());
    EXPECT_TRUE(waitForSink("quick", {401, 0, 418, 0}));
}

// Whoever only reads holds no lock, and must not go on with the file that was set aside.
TEST_F(DamagedSpoolTest, GivenASpoolThatWasSetAsideThenADoorAsksTheNewOne) {
    pipeline.use(settings);
    pipeline.pass(batchOf(401, 3, kShown));
    Door door({dir.file("spool.db"), dir.file("state.json"), nullptr});
    EXPECT_NE(std::string::npos, door.answer("{\"do\":\"events\"}", 0).find("\"code\":401"));
    damage(rootOf("records_by_object"), true);
    pipeline.pass(batchOf(418, 4, kShown));
    ASSERT_TRUE(passUntilWell());
    EXPECT_NE(std::string::npos, door.answer("{\"do\":\"events\"}", 0).find("\"code\":418"));
}

// What the daemon itself never reads: only a sink can find it.
TEST_F(DamagedSpoolTest, GivenDamageThatOnlyASinkMeetsThenTheSpoolIsReplacedAllTheSame) {
    pipeline.use(settings);
    pipeline.pass(batchOf(401, 3, kShown));
    ASSERT_TRUE(waitForSink("quick", {401, 0}));
    damage(rootOf("receipts"), true);
    pipeline.pass(batchOf(418, 4, "<System>2</System>\n"));
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return sinks.takeDamage(); }));
    pipeline.distrustSpool();
    EXPECT_NE(std::string::npos, pipeline.problems().at("spool").find("a sink has found it"));
    ASSERT_TRUE(passUntilWell()) << pipeline.problems().at("spool");
    EXPECT_TRUE(noted("it is now " + dir.file("spool.db.damaged-")));
    slowTakes = true;
    EXPECT_TRUE(waitForSink("slow", {401, 0, 418, 0}));
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        const std::vector<int> codes = takenBy("quick");
        return codes.size() >= 4 && codes.back() == 0;
    }));
    std::vector<int> quick = takenBy("quick");
    // Its receipt could not be written: then it comes once more.
    if (quick.size() == 5) quick.erase(quick.begin() + 2);
    EXPECT_EQ((std::vector<int>{401, 0, 418, 0}), quick);
}

TEST_F(DamagedSpoolTest, GivenASinkThatWasWrongThenTheSpoolIsExaminedAndKept) {
    pipeline.use(settings);
    pipeline.pass(batchOf(401, 3, kShown));
    ASSERT_TRUE(waitForSink("quick", {401, 0}));
    const std::int64_t before = spool.lastSequence();
    pipeline.distrustSpool();
    pipeline.pass(batchOf(418, 4, "<System>2</System>\n"));
    ASSERT_TRUE(passUntilWell()) << pipeline.problems().at("spool");
    EXPECT_EQ(before + 2, spool.lastSequence()) << "it is the same";
    EXPECT_TRUE(lines.empty());
    slowTakes = true;
    EXPECT_TRUE(waitForSink("slow", {401, 0, 418, 0})) << "the sinks came back";
}

// By hand, or by something that tidies up.
TEST_F(DamagedSpoolTest, GivenTheFileIsRemovedThenAllThatIsKnownGoesOnInANewOne) {
    pipeline.use(settings);
    pipeline.pass(batchOf(401, 3, kShown));
    ASSERT_TRUE(waitForSink("quick", {401, 0}));
    const std::int64_t before = spool.lastSequence();
    for (const char* side : {"", "-wal", "-shm"}) {
        std::filesystem::remove(dir.file("spool.db") + side);
    }
    pipeline.pass(batchOf(418, 4, "<System>2</System>\n"));
    ASSERT_TRUE(passUntilWell()) << pipeline.problems().at("spool");
    EXPECT_TRUE(spool.isCurrent());
    EXPECT_GT(spool.lastSequence(), before) << "no number is given again";
    EXPECT_EQ(2u, Spool(dir.file("spool.db")).openIncidents().size());
    EXPECT_EQ("<System>2</System>\n", spool.snapshot());
    slowTakes = true;
    EXPECT_TRUE(waitForSink("slow", {401, 0, 418, 0})) << "nothing lost";
    EXPECT_TRUE(waitForSink("quick", {401, 0, 418, 0})) << "nothing twice";
}

// The new one cannot be made: what is known waits, and each pass tries again.
TEST_F(DamagedSpoolTest, GivenNoNewSpoolCanBeMadeThenItIsTriedUntilThatWorks) {
    pipeline.use(settings);
    pipeline.pass(batchOf(401, 3, kShown));
    ASSERT_TRUE(waitForSink("quick", {401, 0}));
    ASSERT_TRUE(sinks.stop());  // nobody has the lock when it becomes another one
    damage(rootOf("records_by_object"), true);
    std::filesystem::remove(dir.file("spool.db.lock"));
    std::filesystem::create_directory(dir.file("spool.db.lock"));
    pipeline.pass(batchOf(418, 4, "<System>2</System>\n"));
    for (int i = 0; i < 5; ++i) pipeline.pass({});
    EXPECT_NE(std::string::npos, pipeline.problems().at("spool").find("cannot open the spool"));
    EXPECT_THROW((void)spool.lastSequence(), SpoolError) << "closed";
    EXPECT_THROW((void)pipeline.test({}), Failure) << "it could not be stored";
    std::filesystem::remove(dir.file("spool.db.lock"));
    ASSERT_TRUE(passUntilWell());
    std::vector<int> codes;
    for (const Record& record : spool.read(0, 0)) {
        codes.push_back(record.kind == Record::Kind::kEvent ? record.event.eventCode : 0);
    }
    EXPECT_EQ((std::vector<int>{401, 0, 418, 0, 299, 0}), codes);
    EXPECT_EQ((std::map<std::string, std::int64_t>{{"quick", spool.lastSequence() - 4},
                                                   {"slow", spool.lastSequence() - 6}}),
              spool.cursors());
}

// A page or a scrape that had the old file open must not go on with it.
TEST_F(DamagedSpoolTest, GivenASpoolThatWasSetAsideThenPageAndMetricsShowTheNewOne) {
    pipeline.use(settings);
    pipeline.pass(batchOf(401, 3, kShown));
    const WebKnowledge::Parts files{dir.file("spool.db"), dir.file("state.json"), 300, ""};
    AgentSite site(files, {});
    const auto get = [&site](const std::string& path) {
        WebRequest request;
        request.method = "GET";
        request.path = path;
        request.headers.emplace_back("host", "localhost");
        return site.answer(request);
    };
    const std::int64_t before = spool.lastSequence();
    std::int64_t after = before;
    EXPECT_NE(std::string::npos, get("/api/v1/events").body.find("\"code\":401"));
    EXPECT_NE(std::string::npos, get("/metrics").body.find("raidwatch_spool_readable 1\n"));
    EXPECT_EQ("", site.recordedAfter(after)) << "a stream that has had all";
    damage(rootOf("records_by_object"), true);
    pipeline.pass(batchOf(418, 4, kShown));
    ASSERT_TRUE(passUntilWell());
    EXPECT_EQ(200, get("/").status);
    EXPECT_NE(std::string::npos, get("/api/v1/events").body.find("\"code\":418"));
    EXPECT_NE(std::string::npos, get("/metrics").body.find("code=\"418\""));
    EXPECT_NE(std::string::npos, site.recordedAfter(after).find("\"code\":418"));
    EXPECT_EQ(spool.lastSequence(), after);
}

// Somebody else has it open for writing and does not let go: it is told, and nothing is lost.
TEST_F(DamagedSpoolTest, GivenSomebodyElseHoldsItThenItWaitsInMemory) {
    pipeline.use(settings);
    pipeline.pass(batchOf(401, 3, kShown));
    ASSERT_TRUE(waitForSink("quick", {401, 0}));
    auto other = std::make_unique<Spool>(dir.file("spool.db"));
    damage(rootOf("records_by_object"), true);
    pipeline.pass(batchOf(418, 4, kShown));
    for (int i = 0; i < 20; ++i) pipeline.pass({});
    EXPECT_EQ(1u, pipeline.problems().count("spool"));
    EXPECT_NE(std::string::npos, pipeline.problems().at("spool").find("sets it aside"));
    other.reset();
    ASSERT_TRUE(passUntilWell());
    EXPECT_TRUE(waitForSink("quick", {401, 0, 418, 0}));
}

// --- clocks that jump ---

class PruneTest : public testing::Test {
protected:
    static constexpr std::int64_t kKeep = 90 * kDay;

    // One record each day for a hundred days, all of them delivered.
    PruneTest() {
        (void)spool.cursor("page");
        Spool::Batch batch;
        for (int day = 0; day < 100; ++day) {
            Record record = driveEvent();
            record.at = kStart + day * kDay;
            batch.records.push_back(record);
        }
        spool.commit(batch);
        spool.skip("page", 100);
    }
    void add(const std::vector<std::int64_t>& times) {
        Spool::Batch batch;
        for (const std::int64_t at : times) {
            batch.records.push_back(driveEvent());
            batch.records.back().at = at;
        }
        spool.skip("page", spool.commit(batch));
    }
    // As the daemon does, each hour.
    std::int64_t pruneAt(std::int64_t now) {
        const FastClock clock(now / 1000);
        return spool.prune(now - kKeep);
    }
    std::int64_t pruneHours(std::int64_t now, int hours) {
        std::int64_t dropped = 0;
        for (int i = 0; i < hours; ++i) dropped += pruneAt(now + i * 3600000);
        return dropped;
    }

    static constexpr std::int64_t kStart = std::int64_t{1700000000} * 1000;
    static constexpr std::int64_t kNow = kStart + 100 * kDay;
    TempDir dir;
    Spool spool{dir.file("spool.db")};
};

TEST_F(PruneTest, GivenAGoodClockThenWhatIsTooOldGoesWithinADay) {
    EXPECT_EQ(1, pruneAt(kNow)) << "a day's worth at once";
    EXPECT_EQ(10, pruneHours(kNow, 23));
    EXPECT_EQ(12, spool.firstSequence());
    EXPECT_EQ(0, pruneHours(kNow, 10));
    EXPECT_EQ(1, pruneHours(kNow + kDay, 10));
}

TEST_F(PruneTest, GivenAClockFarAheadForAnHourThenADayOfHistoryIsAllItCosts) {
    (void)pruneHours(kNow, 24);
    ASSERT_EQ(12, spool.firstSequence());
    EXPECT_EQ(1, pruneAt(kNow + 50 * 365 * kDay));
    EXPECT_EQ(13, spool.firstSequence());
    EXPECT_EQ(0, pruneHours(kNow, 24)) << "and nothing more when it is right again";
}

TEST_F(PruneTest, GivenAClockFarBackThenNothingGoes) {
    EXPECT_EQ(0, pruneHours(kDay, 5));
    EXPECT_EQ(1, spool.firstSequence());
    EXPECT_EQ(11, pruneHours(kNow, 24)) << "and all is as ever when it is right again";
}

// A battery that is empty: what happens in that hour is stamped so, too.
TEST_F(PruneTest, GivenARecordOfAClockFarBackThenNothingThatStandsBeforeItGoes) {
    add({kDay, kDay + 1000});
    EXPECT_EQ(0, pruneHours(kDay + 2000, 5));
    EXPECT_EQ(1, spool.firstSequence());
    EXPECT_EQ(11, pruneHours(kNow, 24)) << "nor when it is right again";
    EXPECT_EQ(91u, spool.read(0, 0).size());
}

TEST_F(PruneTest, GivenTheFirstRecordsAreFromAClockFarBackThenTheyGoFirstAndTheRestFollows) {
    TempDir other;
    Spool young(other.file("spool.db"));
    Spool::Batch batch;
    for (const std::int64_t at :
         {std::int64_t{1000}, std::int64_t{2000}, kStart, kStart + kDay, kStart + 2 * kDay}) {
        batch.records.push_back(driveEvent());
        batch.records.back().at = at;
    }
    young.commit(batch);
    const FastClock clock((kStart + kKeep + 2 * kDay) / 1000);
    const std::int64_t wanted = kStart + 2 * kDay;
    EXPECT_EQ(2, young.prune(wanted));
    EXPECT_EQ(1, young.prune(wanted));
    EXPECT_EQ(1, young.prune(wanted));
    EXPECT_EQ(0, young.prune(wanted));
    EXPECT_EQ(5, young.firstSequence());
}

// What a silence or an incident has left goes with the time, also where nothing else happens.
TEST_F(PruneTest, GivenNoRecordThatIsTooOldThenWhatHasEndedGoesAtOnce) {
    TempDir other;
    Spool quiet(other.file("spool.db"));
    Silence silence;
    silence.object = "drive:S9";
    silence.until = kStart / 1000;
    (void)quiet.addSilence(silence);
    EXPECT_EQ(0, quiet.prune(kStart));
    EXPECT_EQ(1u, quiet.silences().size());
    EXPECT_EQ(0, quiet.prune(kStart + 1000));
    EXPECT_TRUE(quiet.silences().empty());
}

TEST_F(PruneTest, GivenAClockFarAheadForDaysThenWhatNobodyWasToldStays) {
    (void)spool.cursor("slow");  // behind the last record
    spool.forgetSink("page");
    Spool::Batch batch;
    batch.records.push_back(driveEvent());
    batch.records.back().at = kNow;
    spool.commit(batch);
    EXPECT_EQ(100, pruneHours(kNow + 50 * 365 * kDay, 110)) << "a day's worth each";
    EXPECT_EQ(101, spool.firstSequence());
    EXPECT_EQ(1u, spool.read(0, 10).size());
}

// Stamped by a clock that was wrong, far ahead or far back; what stands around it tells its age.
TEST_F(PruneTest, GivenRecordsWithTimesOfAnotherAgeThenTheyGoWithTheirNeighbours) {
    add({kNow + 50 * 365 * kDay, 1000, kNow + kDay});
    (void)pruneHours(kNow + kDay, 48);
    EXPECT_EQ(14, spool.firstSequence());
    EXPECT_EQ(90u, spool.read(0, 0).size());
    (void)pruneHours(kNow + 92 * kDay, 100);
    EXPECT_EQ(0, spool.firstSequence()) << "when all of them are old";
}

}  // namespace
