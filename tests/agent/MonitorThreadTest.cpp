#include "agent/MonitorThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>

#include "agent/EngineFolder.h"
#include "agent/daemon/PollReport.h"
#include "events/QELEventCollection.h"
#include "storlib/Attributes.h"
#include "storlib/Channel.h"
#include "storlib/ConfigSource.h"
#include "storlib/HardDrive.h"
#include "storlib/ProgressCollection.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "storlib/VantLib.h"
#include "tests/agent/support/QuickClock.h"
#include "tests/support/TempDir.h"

namespace {

using std::chrono::milliseconds;

// A machine with one controller and one drive, changed from another thread.
class Machine : public ConfigSource {
public:
    Ret fill(System& system) override {
        ++readings;
        if (unreadable) return Ret{Ret::kFailed, 0};
        auto* adapter = new VantAdapter;
        adapter->addr.controllerID = 0;
        auto* channel = new Channel(adapter);
        channel->addr.channelID = 0;
        auto* drive = new HardDrive(adapter, channel);
        drive->addr.deviceID = 0;
        // The engine's own trimming cannot cope with a text of blanks: every check of it throws.
        setText(drive->vendor, blankVendor ? "  " : "KOVA-LMN");
        drive->state = driveState;
        channel->addChild(drive);
        adapter->addChild(channel);
        system.addChild(adapter);
        return Ret{};
    }
    Ret tasks(const Addr&, ProgressCollection&) override { return Ret{}; }
    Ret events(unsigned int, long, std::string&) override { return Ret{}; }
    std::string lastError() const override { return unreadable ? "out of order" : ""; }

    std::atomic<bool> unreadable{false};
    std::atomic<bool> blankVendor{false};
    std::atomic<int> driveState{kDriveMember};
    std::atomic<int> readings{0};
};

class MonitorThreadTest : public testing::Test {
protected:
    MonitorThreadTest() {
        auto owned = std::make_unique<Machine>();
        machine = owned.get();
        lib = std::make_unique<VantLib>(std::move(owned));
        settings.firstWait = milliseconds(2);
        settings.longestWait = milliseconds(10);
        settings.joinStep = milliseconds(20);
    }

    // Drains until `done` or ten seconds are over.
    bool drainUntil(MonitorThread& monitor, const std::function<bool()>& done) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < end) {
            collect(monitor);
            if (done()) return true;
            std::this_thread::sleep_for(milliseconds(1));
        }
        return false;
    }
    void collect(MonitorThread& monitor) {
        const MonitorThread::Batch batch = monitor.take();
        for (const QELEvent& event : batch.events) codes.push_back(event.eventCode);
        for (const std::string& line : batch.notes) notes.push_back(line);
    }
    bool sawCode(int code) const {
        return std::find(codes.begin(), codes.end(), code) != codes.end();
    }
    bool sawNote(const std::string& part) const {
        for (const std::string& line : notes) {
            if (line.find(part) != std::string::npos) return true;
        }
        return false;
    }
    // One run that leaves a snapshot of the healthy machine.
    void leaveSnapshot() {
        MonitorThread monitor(*lib, folder, settings);
        ASSERT_TRUE(drainUntil(monitor, [&] { return sawCode(207) && sawCode(499); }));
        monitor.stop();
        codes.clear();
        notes.clear();
        ASSERT_NE("", dir.read("QELVANTConfig.xml"));
    }

    QuickClock clock;
    TempDir dir;
    EngineFolder folder{dir.folder()};
    Machine* machine;
    std::unique_ptr<VantLib> lib;
    MonitorThread::Settings settings;
    std::vector<int> codes;
    std::vector<std::string> notes;
};

TEST_F(MonitorThreadTest, DeliversEventsAsTheyComeAndStops) {
    MonitorThread monitor(*lib, folder, settings);
    ASSERT_TRUE(drainUntil(monitor, [&] { return sawCode(207); }));
    EXPECT_FALSE(sawCode(401));
    machine->driveState = kDriveFailed;
    EXPECT_TRUE(drainUntil(monitor, [&] { return sawCode(401); }));
    monitor.stop();
    EXPECT_TRUE(monitor.ended());
    EXPECT_TRUE(notes.empty());
}

TEST_F(MonitorThreadTest, GivenAStopRightAfterConstructionThenEndsSoon) {
    for (int i = 0; i < 5; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        { const MonitorThread monitor(*lib, folder, settings); }
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    }
}

TEST_F(MonitorThreadTest, GivenEventsNobodyTookWhenStoppedThenTheyCanStillBeTaken) {
    MonitorThread monitor(*lib, folder, settings);
    while (machine->readings < 3) std::this_thread::sleep_for(milliseconds(1));
    monitor.stop();
    collect(monitor);
    EXPECT_TRUE(sawCode(207));
}

TEST_F(MonitorThreadTest, GivenTheFirstReadingsFailThenTheStoredSnapshotIsKeptAndCompared) {
    leaveSnapshot();
    const std::string stored = dir.read("QELVANTConfig.xml");
    machine->unreadable = true;
    machine->readings = 0;
    MonitorThread monitor(*lib, folder, settings);
    ASSERT_TRUE(drainUntil(monitor, [&] { return machine->readings > 3; }));
    EXPECT_TRUE(sawNote("out of order"));
    EXPECT_EQ(stored, dir.read("QELVANTConfig.xml"));

    machine->driveState = kDriveFailed;
    machine->unreadable = false;
    EXPECT_TRUE(drainUntil(monitor, [&] { return sawCode(401); }));
    EXPECT_FALSE(sawCode(207)) << "the controller is not new";
    EXPECT_FALSE(sawCode(201));
    EXPECT_TRUE(sawNote("can be read now"));
}

TEST_F(MonitorThreadTest, GivenADamagedSnapshotThenItIsSetAsideAndMonitoringBegins) {
    dir.write("QELVANTConfig.xml", "<System><Controller x=1></Controller></System>");
    MonitorThread monitor(*lib, folder, settings);
    EXPECT_TRUE(drainUntil(monitor, [&] { return sawCode(207); }));
    ASSERT_EQ(1u, notes.size());
    const std::string::size_type at = notes[0].find("QELVANTConfig.xml.damaged-");
    ASSERT_NE(std::string::npos, at) << notes[0];
    const std::string aside = notes[0].substr(at, notes[0].find(',', at) - at);
    EXPECT_EQ("<System><Controller x=1></Controller></System>", dir.read(aside));
}

TEST_F(MonitorThreadTest, GivenAPollThatThrowsThenGoesOnWhenTheCauseIsGone) {
    leaveSnapshot();
    MonitorThread monitor(*lib, folder, settings);
    machine->readings = 0;
    ASSERT_TRUE(drainUntil(monitor, [&] { return machine->readings > 3; }));
    machine->blankVendor = true;
    ASSERT_TRUE(drainUntil(monitor, [&] { return sawNote("interrupted"); }));
    machine->driveState = kDriveFailed;
    machine->blankVendor = false;
    EXPECT_TRUE(drainUntil(monitor, [&] { return sawCode(401); }));
    EXPECT_FALSE(sawCode(202));
    EXPECT_FALSE(monitor.ended());
}

TEST_F(MonitorThreadTest, GivenAPollThatKeepsThrowingWhenStoppedThenEnds) {
    machine->blankVendor = true;
    MonitorThread monitor(*lib, folder, settings);
    ASSERT_TRUE(drainUntil(monitor, [&] { return notes.size() > 2; }));
    monitor.stop();
    EXPECT_TRUE(monitor.ended());
}

TEST_F(MonitorThreadTest, GivenALogFolderThenTheLogsAreThere) {
    settings.logFolder = dir.file("logs");
    std::filesystem::create_directory(settings.logFolder);
    MonitorThread monitor(*lib, folder, settings);
    ASSERT_TRUE(drainUntil(monitor, [&] { return sawCode(207); }));
    EXPECT_TRUE(dir.exists("logs/QELVANTDebug.log"));
}

// --- for a host that keeps what it takes ---

class WatchedMonitorTest : public MonitorThreadTest {
protected:
    WatchedMonitorTest() {
        settings.look = [this] {
            auto report = std::make_shared<PollReport>();
            report->snapshot = dir.read("QELVANTConfig.xml");
            return report;
        };
        settings.wake = [this] { ++woken; };
    }
    // Takes until an event of that code has come; all batches are kept.
    bool takeUntil(MonitorThread& monitor, int code) {
        return drainWith(monitor, [&] {
            for (const MonitorThread::Batch& batch : batches) {
                for (const QELEvent& event : batch.events) {
                    if (event.eventCode == code) return true;
                }
            }
            return false;
        });
    }
    bool drainWith(MonitorThread& monitor, const std::function<bool()>& done) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < end) {
            batches.push_back(monitor.take());
            if (done()) return true;
            std::this_thread::sleep_for(milliseconds(1));
        }
        return false;
    }

    std::vector<MonitorThread::Batch> batches;
    std::atomic<int> woken{0};
};

TEST_F(WatchedMonitorTest, EventsComeWithTheirSourceAndTheReportOfTheirPoll) {
    MonitorThread monitor(*lib, folder, settings);
    ASSERT_TRUE(takeUntil(monitor, 207));
    machine->driveState = kDriveFailed;
    ASSERT_TRUE(takeUntil(monitor, 401));
    ASSERT_TRUE(drainWith(monitor, [&] { return batches.back().report != nullptr; }));
    monitor.stop();
    EXPECT_GT(woken, 1);
    int reports = 0;
    for (const MonitorThread::Batch& batch : batches) {
        ASSERT_EQ(batch.events.size(), batch.sources.size());
        ASSERT_LE(batch.finished, batch.events.size());
        EXPECT_EQ(batch.report != nullptr, batch.polls > 0);
        if (batch.report != nullptr) {
            ++reports;
            EXPECT_NE("", batch.report->snapshot);
        }
        for (std::size_t i = 0; i < batch.events.size(); ++i) {
            const int code = batch.events[i].eventCode;
            if (code == 207 || code == 401) {
                EXPECT_EQ(code == 207, batch.sources[i].atStart) << code;
            }
        }
    }
    EXPECT_GT(reports, 1);
}

// Nobody takes for many polls. The first ones fill what the host may keep; the rest stays with the
// engine, whose queue is bounded.
TEST_F(WatchedMonitorTest, GivenAHostThatTakesNothingThenWhatWaitsForItIsBounded) {
    settings.mostWaiting = 1;
    std::atomic<int> looks{0};
    settings.look = [&looks] {
        ++looks;
        return std::make_shared<PollReport>();
    };
    MonitorThread monitor(*lib, folder, settings);
    const auto waitForLooks = [&looks](int more) {
        const int wanted = looks + more;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (looks < wanted && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(milliseconds(1));
        }
        return looks >= wanted;
    };
    ASSERT_TRUE(waitForLooks(2)) << "the first poll has filled it";
    machine->driveState = kDriveFailed;
    ASSERT_TRUE(waitForLooks(3));
    monitor.stop();
    const MonitorThread::Batch batch = monitor.take();
    const auto failed = std::find_if(batch.events.begin(), batch.events.end(),
                                     [](const QELEvent& one) { return one.eventCode == 401; });
    ASSERT_NE(batch.events.end(), failed) << "it waited in the engine's queue";
    EXPECT_LE(batch.finished, static_cast<std::size_t>(failed - batch.events.begin()))
        << "it was not taken when its poll ended";
}

// The queue's member, as any class derived from the engine's could reach it.
struct QueueOf : BaseRaidMonitor {
    static auto member() { return &QueueOf::eventCollection; }
};

TEST_F(WatchedMonitorTest, TheQueueHoldsTwoThousandUnlessTheSettingsNameASize) {
    struct Case {
        const char* settings;
        int size;
    };
    const Case cases[] = {
        {"", 2000},
        {"qel.eventQueueSize=0\n", 2000},
        {"qel.eventQueueSize=200\n", 2000},
        {"qel.eventQueueSize=500\n", 500},
        {"qel.eventQueueSize=3000\n", 3000},
    };
    struct Nobody : WatchedMonitor::Watcher {
        void pollBegins(bool) override {}
        void pollEnded() override {}
    } nobody;
    for (const Case& c : cases) {
        dir.write("QELConfig.conf", c.settings);
        WatchedMonitor monitor(lib.get(), nobody);
        QELEventCollection& queue = *(monitor.*QueueOf::member());
        const QELEvent event(499, kEventError, "x", "X");
        for (int i = 0; i < c.size; ++i) queue.addEvent(event);
        EXPECT_EQ(c.size, queue.getNumberOfEvents()) << c.settings;
        queue.addEvent(event);
        EXPECT_EQ(QELEventCollection::kOverloadCode, queue.getEvents(1).at(0).eventCode)
            << c.settings;
    }
}

TEST_F(WatchedMonitorTest, GivenAPollThatThrowsThenTheHostIsAskedBeforeTheComparison) {
    std::atomic<int> asked{0};
    settings.beforeResuming = [&] { ++asked; };
    MonitorThread monitor(*lib, folder, settings);
    ASSERT_TRUE(takeUntil(monitor, 207));
    machine->blankVendor = true;
    ASSERT_TRUE(drainWith(monitor, [&] { return asked > 0; }));
    machine->blankVendor = false;
    machine->driveState = kDriveFailed;
    EXPECT_TRUE(takeUntil(monitor, 401));
}

}  // namespace
