// A sink that breaks its promise to return, and comes back when its agent has gone.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "agent/sinks/SinkSet.h"
#include "tests/agent/SinkFixture.h"
#include "tests/support/TempDir.h"

namespace {

struct Gate {
    std::mutex mutex;
    std::condition_variable changed;
    bool inside = false;
    bool open = false;
    std::atomic<bool> gone{false};  // the sink
};

// Its refusal makes the pump write a note.
class HangingSink : public Sink {
public:
    explicit HangingSink(std::shared_ptr<Gate> gateIN) : gate(std::move(gateIN)) {}
    ~HangingSink() override { gate->gone = true; }

    bool wants(const Record&) const override { return true; }
    Answer deliver(const Record&, const std::string&) override {
        std::unique_lock<std::mutex> lock(gate->mutex);
        gate->inside = true;
        gate->changed.notify_all();
        gate->changed.wait(lock, [this] { return gate->open; });
        return {Answer::Kind::kRefused, "too late"};
    }

private:
    std::shared_ptr<Gate> gate;
};

// The host is gone when the sink comes back: its notes, its locks, all that `note` has captured.
TEST(HangingSink, GivenItComesBackAfterItsHostHasGoneThenItsNoteReachesNobody) {
    const TempDir dir;
    const auto gate = std::make_shared<Gate>();
    std::vector<std::string> heard;
    {
        Spool spool(dir.file("spool.db"));
        auto host = std::make_unique<KeptNotes>();
        auto sinks = std::make_unique<SinkSet>(
            dir.file("spool.db"), host->keeper(),
            [&gate](const SinkSettings&) { return std::make_unique<HangingSink>(gate); });
        SinkSettings settings = sinkSettings("stuck");
        settings.timeout = 0;
        sinks->reload({{"stuck", settings}});
        commitOne(spool, driveEvent());
        sinks->notify();
        {
            std::unique_lock<std::mutex> lock(gate->mutex);
            ASSERT_TRUE(gate->changed.wait_for(lock, std::chrono::seconds(10),
                                               [&] { return gate->inside; }));
        }
        EXPECT_FALSE(sinks->stop()) << "a thread is still there";
        heard = host->all();
        sinks.reset();
        host.reset();
    }
    EXPECT_EQ(std::vector<std::string>(
                  {"sink \"stuck\" does not return from a delivery; it is left behind"}),
              heard);
    {
        const std::lock_guard<std::mutex> lock(gate->mutex);
        gate->open = true;
        gate->changed.notify_all();
    }
    for (int i = 0; i < 3000 && !gate->gone; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(gate->gone) << "its thread ends by itself, and takes the sink with it";
}

// The pump notes while stop() closes the way: whoever is first, nothing is called afterwards.
TEST(HangingSink, GivenNotesWhileTheHostStopsThenNoneComesAfterwards) {
    const TempDir dir;
    for (int round = 0; round < 10; ++round) {
        Spool spool(dir.file("spool" + std::to_string(round) + ".db"));
        auto gate = std::make_shared<Gate>();
        gate->open = true;
        auto host = std::make_unique<KeptNotes>();
        SinkSet sinks(dir.file("spool" + std::to_string(round) + ".db"), host->keeper(),
                      [&gate](const SinkSettings&) { return std::make_unique<HangingSink>(gate); });
        sinks.reload({{"a", sinkSettings("a")}, {"b", sinkSettings("b")}});
        for (int i = 0; i < 5; ++i) commitOne(spool, driveEvent());
        sinks.notify();
        EXPECT_TRUE(sinks.stop());
        host.reset();
    }
}

}  // namespace
