#include "agent/sinks/SinkPump.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>

#include "agent/sinks/SinkRule.h"
#include "tests/agent/SinkFixture.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

namespace {

using Sequences = std::vector<std::int64_t>;

constexpr double kNoJitter = 0.5;  // 0.75 + 0.5 * 0.5

Answer retry(const std::string& text) { return {Answer::Kind::kRetry, text}; }
Answer refused(const std::string& text) { return {Answer::Kind::kRefused, text}; }

class SinkPumpTest : public testing::Test {
protected:
    SinkPumpTest() : spool(dir.file("spool.db")), settings(sinkSettings("page")) {
        (void)spool.cursor("page");  // its place, before the first record
    }

    SinkPump& pump() {
        if (made == nullptr) {
            made = std::make_unique<SinkPump>(dir.file("spool.db"), settings,
                                              std::make_unique<FakeSink>(talk), notes.keeper(),
                                              [] { return kNoJitter; });
        }
        return *made;
    }
    // As after a restart of the agent.
    void renew() { made.reset(); }

    Receipt receiptOf(std::int64_t sequence) {
        for (const Receipt& receipt : spool.receipts(sequence)) {
            if (receipt.sink == "page") return receipt;
        }
        Receipt none;
        none.answer = "(no receipt)";
        return none;
    }
    SinkStatus status() { return spool.sinkStatus().at(0); }

    ManualClock clock;
    TempDir dir;
    Spool spool;
    SinkSettings settings;
    std::shared_ptr<FakeTalk> talk = std::make_shared<FakeTalk>();
    KeptNotes notes;
    std::unique_ptr<SinkPump> made;
};

TEST_F(SinkPumpTest, DeliversInOrderWithIdsAndReceipts) {
    commitOne(spool, driveEvent());
    commitOne(spool, arrayNotice());
    talk->answers = {{Answer::Kind::kDelivered, "250 Ok: queued\x1b[2J"}};
    pump().step();

    EXPECT_EQ(Sequences({1, 2}), talk->told);
    EXPECT_EQ(spool.machineId() + ":1", talk->ids.at(0));
    EXPECT_EQ(2, spool.cursor("page"));
    EXPECT_EQ(Receipt::Outcome::kDelivered, receiptOf(1).outcome);
    EXPECT_EQ("250 Ok: queued\\x1b[2J", receiptOf(1).answer);
    EXPECT_EQ(1, receiptOf(1).tries);
    EXPECT_EQ(clock.now() * 1000, receiptOf(1).at);
    EXPECT_TRUE(status().ok);
    EXPECT_TRUE(notes.all().empty());
}

TEST_F(SinkPumpTest, MoreRecordsThanOneReadAreDeliveredInOneStep) {
    Spool::Batch batch;
    for (int i = 0; i < 250; ++i) batch.records.push_back(driveEvent());
    spool.commit(batch);
    pump().step();
    ASSERT_EQ(250u, talk->told.size());
    for (int i = 0; i < 250; ++i) EXPECT_EQ(i + 1, talk->told[static_cast<std::size_t>(i)]);
}

TEST_F(SinkPumpTest, ASinkThatWasNeverSeenIsNotToldOldNews) {
    settings.name = "new";
    commitOne(spool, driveEvent());
    pump().step();
    commitOne(spool, driveEvent());
    pump().step();
    EXPECT_EQ(Sequences({2}), talk->told);
}

TEST_F(SinkPumpTest, WhatTheSinkOrItsFilterDoesNotWantIsSkippedWithoutAReceipt) {
    settings.filter.leastSeverity = kEventWarning;
    talk->wants = [](const Record& record) { return record.kind == Record::Kind::kEvent; };
    commitOne(spool, driveEvent(407, kEventInformation));
    commitOne(spool, arrayNotice());
    commitOne(spool, driveEvent(401, kEventError));
    commitOne(spool, driveEvent(407, kEventInformation));
    pump().step();
    EXPECT_EQ(Sequences({3}), talk->told);
    EXPECT_EQ(4, spool.cursor("page"));
    EXPECT_EQ("(no receipt)", receiptOf(1).answer);
}

TEST_F(SinkPumpTest, GivenAFailureThenItWaitsTwiceAsLongEachTimeAndLosesNothing) {
    settings.firstRetry = 5;
    settings.longestRetry = 12;
    commitOne(spool, driveEvent());
    commitOne(spool, driveEvent());
    talk->answers = {retry("away"), retry("still away"), retry("away"), retry("away")};

    pump().step();
    EXPECT_EQ(Sequences({1}), talk->told);
    EXPECT_EQ(0, spool.cursor("page"));
    EXPECT_EQ(Receipt::Outcome::kFailed, receiptOf(1).outcome);
    EXPECT_EQ("away", receiptOf(1).answer);
    EXPECT_FALSE(status().ok);
    EXPECT_EQ(2, status().waiting);

    struct {
        std::int64_t wait;
        int tries;
    } steps[] = {{5, 2}, {10, 3}, {12, 4}, {12, 5}};
    for (const auto& s : steps) {
        clock.advance(s.wait - 1);
        pump().step();
        EXPECT_EQ(static_cast<std::size_t>(s.tries - 1), talk->told.size()) << "too early";
        clock.advance(1);
        pump().step();
    }
    EXPECT_EQ(Sequences({1, 1, 1, 1, 1, 2}), talk->told);
    EXPECT_EQ(talk->ids[0], talk->ids[4]);
    EXPECT_EQ(5, receiptOf(1).tries);
    EXPECT_EQ(1, receiptOf(2).tries);
    EXPECT_EQ(std::vector<std::string>(
                  {"sink \"page\" cannot deliver: away", "sink \"page\" delivers again"}),
              notes.all());
}

TEST_F(SinkPumpTest, GivenAClockThatIsSetBackThenItDoesNotWaitUntilItIsAsLateAgain) {
    commitOne(spool, driveEvent());
    talk->answers = {retry("away")};
    pump().step();
    clock.advance(-86400);
    pump().step();
    EXPECT_EQ(Sequences({1, 1}), talk->told);
}

TEST_F(SinkPumpTest, ARefusedRecordIsGivenUpAndTheNextOneFollows) {
    commitOne(spool, driveEvent());
    commitOne(spool, driveEvent());
    talk->answers = {refused("550 no such user")};
    pump().step();
    EXPECT_EQ(Sequences({1, 2}), talk->told);
    EXPECT_EQ(Receipt::Outcome::kDead, receiptOf(1).outcome);
    EXPECT_EQ("550 no such user", receiptOf(1).answer);
    EXPECT_EQ(Receipt::Outcome::kDelivered, receiptOf(2).outcome);
    EXPECT_EQ(1, status().dead);
    EXPECT_EQ(std::vector<std::string>({"sink \"page\" gave up on record 1: 550 no such user"}),
              notes.all());
}

TEST_F(SinkPumpTest, ARecordIsGivenUpOnlyWhenItIsTooOldAndWasTried) {
    settings.giveUpAfter = 86400;
    commitOne(spool, driveEvent());
    clock.advance(86400);
    commitOne(spool, driveEvent());
    talk->answers = {retry("away")};
    pump().step();
    EXPECT_EQ(Receipt::Outcome::kFailed, receiptOf(1).outcome);  // just not too old

    clock.advance(10);
    talk->answers = {retry("away")};
    pump().step();
    EXPECT_EQ(Receipt::Outcome::kDead, receiptOf(1).outcome);
    EXPECT_EQ("given up, it is too old; last answer: away", receiptOf(1).answer);
    EXPECT_EQ(2, receiptOf(1).tries);
    EXPECT_EQ(Receipt::Outcome::kDelivered, receiptOf(2).outcome);
}

TEST_F(SinkPumpTest, GivenGiveUpAfterZeroThenNothingIsEverTooOld) {
    settings.giveUpAfter = 0;
    commitOne(spool, driveEvent());
    clock.advance(std::int64_t{400} * 86400);
    talk->answers = {retry("away")};
    pump().step();
    EXPECT_EQ(Receipt::Outcome::kFailed, receiptOf(1).outcome);
}

TEST_F(SinkPumpTest, AfterARestartItGoesOnAtItsCursorAndTriesAtOnce) {
    commitOne(spool, driveEvent());
    commitOne(spool, driveEvent());
    talk->answers = {{Answer::Kind::kDelivered, ""}, retry("away")};
    pump().step();
    renew();
    pump().step();
    EXPECT_EQ(Sequences({1, 2, 2}), talk->told);
}

TEST_F(SinkPumpTest, ATestNoticePassesEveryFilterButReachesOnlyTheSinkItNames) {
    settings.filter.leastSeverity = kEventError;
    settings.filter.objects = {"md*"};
    settings.filter.codes = {401};
    talk->wants = [](const Record&) { return false; };
    commitOne(spool, testNotice());
    commitOne(spool, testNotice(testObject("page")));
    commitOne(spool, testNotice(testObject("other")));
    pump().step();
    EXPECT_EQ(Sequences({1, 2}), talk->told);
    EXPECT_EQ(3, spool.cursor("page"));
}

TEST_F(SinkPumpTest, TheEndOfAnIncidentIsToldToWhomItsBeginningWasTold) {
    settings.filter.leastSeverity = kEventError;
    commitOne(spool, arrayNotice(Notice::Kind::kOpened, kEventError, 7));
    commitOne(spool, arrayNotice(Notice::Kind::kOpened, kEventWarning, 8));
    commitOne(spool, arrayNotice(Notice::Kind::kResolved, kEventInformation, 8));
    commitOne(spool, arrayNotice(Notice::Kind::kResolved, kEventInformation, 7));
    commitOne(spool, arrayNotice(Notice::Kind::kResolved, kEventInformation, 9));
    pump().step();
    EXPECT_EQ(Sequences({1, 4}), talk->told);
}

TEST_F(SinkPumpTest, GivenAWindowThenWhatIsDeliveredBehindAFailureIsNotDeliveredAgain) {
    talk->window = 3;
    bool firstWorks = false;
    talk->reply = [&](const Record& record) {
        return record.sequence == 1 && !firstWorks ? retry("away")
                                                   : Answer{Answer::Kind::kDelivered, "ok"};
    };
    for (int i = 0; i < 5; ++i) commitOne(spool, driveEvent());
    pump().step();
    EXPECT_EQ(Sequences({1, 2, 3}), talk->told);
    EXPECT_EQ(0, spool.cursor("page"));

    firstWorks = true;
    clock.advance(5);
    pump().step();
    EXPECT_EQ(Sequences({1, 2, 3, 1, 4, 5}), talk->told);
    EXPECT_EQ(5, spool.cursor("page"));
    EXPECT_EQ(2, receiptOf(1).tries);
    EXPECT_EQ(1, receiptOf(3).tries);
}

TEST_F(SinkPumpTest, OpenIncidentsAreGivenAtTheStartWhenToldAndAllOfThemEachMinute) {
    Spool::Batch batch;
    batch.incidents = {arrayNotice().notice.incident, arrayNotice().notice.incident};
    batch.incidents[1].id = 8;
    batch.incidents[1].object = "array:0:126";
    batch.incidents[1].reminders = Incident::kUntold;  // a silence keeps it from everybody
    spool.commit(batch);
    pump().step();
    EXPECT_EQ(Sequences({7}), talk->known);
    batch.incidents[1].open = false;
    spool.commit(batch);
    clock.advance(59);
    pump().step();
    clock.advance(1);
    pump().step();
    EXPECT_EQ((std::vector<Sequences>{{7, 8}, {7}}), talk->stillOpen);
}

TEST_F(SinkPumpTest, TheSinkTicksAtEachStepAlsoWithoutRecords) {
    EXPECT_EQ(1, pump().step());
    pump().step();
    EXPECT_EQ(2, talk->ticks);
}

TEST_F(SinkPumpTest, GivenAStopThenTheDeliveryIsCancelledAndNothingElseHappens) {
    commitOne(spool, driveEvent());
    talk->reply = [&](const Record&) {
        made->stop();
        return retry("cut short");
    };
    pump().step();
    pump().step();
    EXPECT_EQ(Sequences({1}), talk->told);
    EXPECT_TRUE(talk->cancelled);
    EXPECT_EQ("(no receipt)", receiptOf(1).answer) << "it is no failure of the other side";
    EXPECT_TRUE(notes.all().empty());
}

TEST_F(SinkPumpTest, GivenAStopWhatWasDeliveredAllTheSameIsNotedDown) {
    commitOne(spool, driveEvent());
    talk->reply = [&](const Record&) {
        made->stop();
        return Answer{Answer::Kind::kDelivered, "just in time"};
    };
    pump().step();
    EXPECT_EQ("just in time", receiptOf(1).answer);
    EXPECT_EQ(1, spool.cursor("page"));
}

// No file may grow beyond its size now, so every write fails as on a full disk.
class FullDisk {
public:
    FullDisk() {
        before = signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &limit);
        rlimit none = limit;
        none.rlim_cur = 1;
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &limit);
        signal(SIGXFSZ, before);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit limit{};
    void (*before)(int);
};

TEST_F(SinkPumpTest, GivenAFullDiskThenItSaysSoOnceAndNotesTheDeliveryDownLater) {
    commitOne(spool, driveEvent());
    pump().step();
    commitOne(spool, driveEvent());
    {
        const FullDisk full;
        pump().step();
        pump().step();
    }
    EXPECT_EQ(Sequences({1, 2}), talk->told);
    EXPECT_EQ(1, spool.cursor("page"));
    ASSERT_EQ(1u, notes.all().size());
    EXPECT_NE(std::string::npos, notes.all()[0].find("spool.db")) << notes.all()[0];

    pump().step();
    EXPECT_EQ(Sequences({1, 2}), talk->told) << "delivered twice";
    EXPECT_EQ(2, spool.cursor("page"));
    EXPECT_EQ("ok", receiptOf(2).answer);
    EXPECT_EQ("sink \"page\" can use the spool again", notes.all().back());
}

TEST_F(SinkPumpTest, GivenNoUsableSpoolThenItSaysSoOnceAndGoesOnWhenThereIsOne) {
    const std::string place = dir.file("later");
    std::filesystem::create_directories(place + "/spool.db");
    SinkPump lost(place + "/spool.db", settings, std::make_unique<FakeSink>(talk), notes.keeper(),
                  [] { return kNoJitter; });
    lost.step();
    lost.step();
    ASSERT_EQ(1u, notes.all().size()) << notes.all().back();

    std::filesystem::remove_all(place + "/spool.db");
    Spool now(place + "/spool.db");
    lost.step();
    EXPECT_EQ("sink \"page\" can use the spool again", notes.all().back());
    const std::int64_t sequence = commitOne(now, driveEvent());
    lost.step();
    EXPECT_EQ(Sequences({sequence}), talk->told);
}

TEST(BackOff, DoublesUpToTheLongestAndVariesByAQuarter) {
    struct {
        double random;
        int tries;
        std::int64_t wait;
    } cases[] = {
        {0.5, 1, 8}, {0.5, 2, 16},  {0.5, 3, 32}, {0.5, 4, 60},  {0.5, 1000, 60},
        {0.0, 1, 6}, {0.99, 1, 10}, {0.0, 4, 45}, {0.99, 4, 75},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.wait, BackOff(8, 60, [&] { return c.random; }).wait(c.tries)) << c.tries;
    }
}

TEST(BackOff, IsNeverLessThanASecondNorLessThanTheFirst) {
    const auto none = [] { return 0.0; };
    EXPECT_EQ(1, BackOff(0, 0, none).wait(1));
    EXPECT_EQ(1, BackOff(-5, -7, none).wait(50));
    EXPECT_EQ(75, BackOff(100, 10, none).wait(3));
}

}  // namespace
