#include "agent/sinks/SinkWorker.h"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/agent/SinkFixture.h"
#include "tests/support/TempDir.h"

namespace {

class SinkWorkerTest : public testing::Test {
protected:
    SinkWorkerTest() : spool(dir.file("spool.db")) { (void)spool.cursor("page"); }

    std::unique_ptr<SinkWorker> worker(std::chrono::milliseconds timeLimit) {
        auto pump = std::make_unique<SinkPump>(dir.file("spool.db"), sinkSettings("page"),
                                               std::make_unique<FakeSink>(talk), notes.keeper(),
                                               [] { return 0.5; });
        return std::make_unique<SinkWorker>("page", std::move(pump), timeLimit, notes.keeper());
    }

    TempDir dir;
    Spool spool;
    std::shared_ptr<FakeTalk> talk = std::make_shared<FakeTalk>();
    KeptNotes notes;
};

TEST_F(SinkWorkerTest, DeliversWhatWasThereAtItsStartAndWhatItIsNotifiedOf) {
    commitOne(spool, driveEvent());
    const auto running = worker(std::chrono::seconds(10));
    EXPECT_TRUE(talk->waitFor(1));
    commitOne(spool, driveEvent());
    running->notify();
    EXPECT_TRUE(talk->waitFor(2));
}

TEST_F(SinkWorkerTest, FindsRecordsWithinSecondsWhenNobodyNotifies) {
    const auto running = worker(std::chrono::seconds(10));
    commitOne(spool, driveEvent());
    EXPECT_TRUE(talk->waitFor(1));
}

TEST_F(SinkWorkerTest, StoppingIsPromptAndMayBeRepeated) {
    const auto running = worker(std::chrono::seconds(60));
    const auto before = std::chrono::steady_clock::now();
    running->askToStop();
    running->askToStop();
    EXPECT_TRUE(running->waitForEnd());
    EXPECT_TRUE(running->waitForEnd());
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    running->notify();  // too late, and harmless
}

TEST_F(SinkWorkerTest, StoppingWaitsForTheDeliveryThatIsCancelled) {
    commitOne(spool, driveEvent());
    talk->reply = [&](const Record&) {
        std::unique_lock<std::mutex> lock(talk->mutex);
        talk->changed.wait(lock, [&] { return talk->cancelled; });
        return Answer{Answer::Kind::kDelivered, "in the end"};
    };
    const auto running = worker(std::chrono::seconds(20));
    ASSERT_TRUE(talk->waitFor(1));
    running->askToStop();
    EXPECT_TRUE(running->waitForEnd());
    ASSERT_EQ(1u, spool.receipts(1).size());
    EXPECT_EQ("in the end", spool.receipts(1)[0].answer);
}

TEST_F(SinkWorkerTest, GivenASinkThatHangsThenItIsLeftBehindAfterItsTimeLimit) {
    struct Gate {
        std::mutex mutex;
        std::condition_variable changed;
        bool open = false;
        bool passed = false;
    };
    const auto gate = std::make_shared<Gate>();
    commitOne(spool, driveEvent());
    talk->reply = [gate](const Record&) {
        std::unique_lock<std::mutex> lock(gate->mutex);
        gate->changed.wait(lock, [&] { return gate->open; });
        gate->passed = true;
        gate->changed.notify_all();
        return Answer{Answer::Kind::kRetry, "late"};
    };
    auto running = worker(std::chrono::milliseconds(50));
    ASSERT_TRUE(talk->waitFor(1));
    running->askToStop();
    EXPECT_FALSE(running->waitForEnd());
    running.reset();
    EXPECT_EQ(std::vector<std::string>(
                  {"sink \"page\" does not return from a delivery; it is left behind"}),
              notes.all());

    // Its thread ends by itself; the sink goes with it, and gives up what it shares with the test.
    {
        std::unique_lock<std::mutex> lock(gate->mutex);
        gate->open = true;
        gate->changed.notify_all();
        EXPECT_TRUE(
            gate->changed.wait_for(lock, std::chrono::seconds(10), [&] { return gate->passed; }));
    }
    for (int i = 0; i < 1000 && talk.use_count() > 1; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(1, talk.use_count());
}

}  // namespace
