// Storage that cannot be read for a long time: whoever cannot read it lives and says so; whoever
// hangs is started again.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "agent/EngineFolder.h"
#include "agent/MonitorThread.h"
#include "agent/daemon/PollReport.h"
#include "agent/daemon/WatchedLib.h"
#include "agent/state/StateJson.h"
#include "agent/state/Verdict.h"
#include "storlib/ConfigSource.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "tests/agent/DaemonRoom.h"
#include "tests/agent/support/QuickClock.h"

namespace {

using Json = nlohmann::ordered_json;
using std::chrono::milliseconds;

// One controller; a reading may fail, throw, or wait until it is let go.
class Machine : public ConfigSource {
public:
    Ret fill(System& system) override {
        ++readings;
        while (hangs) std::this_thread::sleep_for(milliseconds(1));
        if (throws) throw std::runtime_error("a cable is loose");
        if (fails) return Ret{Ret::kFailed, 0};
        auto* adapter = new VantAdapter;
        adapter->addr.controllerID = 0;
        system.addChild(adapter);
        return Ret{};
    }
    Ret tasks(const Addr&, ProgressCollection&) override { return Ret{}; }
    Ret events(unsigned int, long, std::string&) override { return Ret{}; }
    std::string lastError() const override { return fails ? "out of order" : ""; }

    std::atomic<bool> fails{false};
    std::atomic<bool> throws{false};
    std::atomic<bool> hangs{false};
    std::atomic<int> readings{0};
};

// The monitoring thread of a daemon, and what its host would make of each turn.
class UnreadableStorageTest : public testing::Test {
protected:
    UnreadableStorageTest() {
        auto owned = std::make_unique<Machine>();
        machine = owned.get();
        lib = std::make_unique<WatchedLib>(std::move(owned));
        settings.firstWait = milliseconds(1);
        settings.longestWait = milliseconds(2);
        settings.joinStep = milliseconds(5);
        settings.look = [this] {
            auto report = std::make_shared<PollReport>();
            report->unreadable = lib->trouble();
            return report;
        };
    }
    bool turnUntil(MonitorThread& monitor, const std::function<bool()>& done) {
        return DaemonRoom::waitFor([&] {
            turn(monitor);
            return done();
        });
    }
    void turn(MonitorThread& monitor) {
        const MonitorThread::Batch batch = monitor.take();
        ended += batch.ended;
        polls += batch.polls;
        if (batch.ended > 0) unreadable = batch.unreadable;
        notes.insert(notes.end(), batch.notes.begin(), batch.notes.end());
    }
    std::ptrdiff_t timesNoted(const std::string& part) const {
        return std::count_if(notes.begin(), notes.end(), [&](const std::string& line) {
            return line.find(part) != std::string::npos;
        });
    }

    QuickClock clock;
    TempDir dir;
    EngineFolder folder{dir.folder()};
    Machine* machine;
    std::unique_ptr<WatchedLib> lib;
    MonitorThread::Settings settings;
    int ended = 0;
    int polls = 0;
    std::string unreadable;
    std::vector<std::string> notes;
};

TEST_F(UnreadableStorageTest, GivenReadingsThatFailThenTheirPollsEndAndSayWhy) {
    MonitorThread monitor(*lib, folder, settings);
    ASSERT_TRUE(turnUntil(monitor, [&] { return polls > 3; }));
    EXPECT_EQ("", unreadable);
    machine->fails = true;
    ASSERT_TRUE(turnUntil(monitor, [&] { return unreadable == "out of order"; }));
    const int before = ended;
    ASSERT_TRUE(turnUntil(monitor, [&] { return ended > before + 20; }));
    EXPECT_EQ("out of order", unreadable) << "a poll that reads nothing does not end the trouble";
    machine->fails = false;
    EXPECT_TRUE(turnUntil(monitor, [&] { return unreadable.empty(); }));
}

TEST_F(UnreadableStorageTest, GivenReadingsThatThrowThenTheTriesCountAndAreToldOnce) {
    MonitorThread monitor(*lib, folder, settings);
    ASSERT_TRUE(turnUntil(monitor, [&] { return polls > 3; }));
    machine->throws = true;
    ASSERT_TRUE(turnUntil(monitor, [&] { return unreadable == "a cable is loose"; }));
    const int before = ended;
    ASSERT_TRUE(turnUntil(monitor, [&] { return ended > before + 50; }));
    EXPECT_LE(timesNoted("a cable is loose"), 2) << "once for the poll, once for the new start";
    machine->throws = false;
    EXPECT_TRUE(turnUntil(monitor, [&] { return unreadable.empty(); }));
    EXPECT_EQ(1, timesNoted("monitoring goes on"));
}

TEST_F(UnreadableStorageTest, GivenStorageThatWasNeverReadThenTheTriesCount) {
    machine->fails = true;
    MonitorThread monitor(*lib, folder, settings);
    ASSERT_TRUE(turnUntil(monitor, [&] { return ended > 20; }));
    EXPECT_EQ(0, polls);
    EXPECT_EQ("out of order", unreadable);
    EXPECT_EQ(1, timesNoted("the storage cannot be read"));
    machine->fails = false;
    EXPECT_TRUE(turnUntil(monitor, [&] { return polls > 0 && unreadable.empty(); }));
}

TEST_F(UnreadableStorageTest, GivenAReadingThatNeverAnswersThenNothingCounts) {
    MonitorThread monitor(*lib, folder, settings);
    ASSERT_TRUE(turnUntil(monitor, [&] { return polls > 3; }));
    machine->hangs = true;
    const int readings = machine->readings;
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return machine->readings > readings; }));
    turn(monitor);  // what ended before
    const int before = ended;
    std::this_thread::sleep_for(milliseconds(100));
    turn(monitor);
    EXPECT_EQ(before, ended) << "this is what starves the watchdog";
    machine->hangs = false;
    EXPECT_TRUE(turnUntil(monitor, [&] { return ended > before; }));
}

// A service manager that counts what feeds its watchdog. It reads all the time, as a real one: the
// sender waits where its few places are taken.
class ServiceRoom {
public:
    explicit ServiceRoom(const std::string& name) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        EXPECT_LT(name.size(), sizeof address.sun_path);
        std::memcpy(address.sun_path, name.c_str(), name.size() + 1);
        fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(0, bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        setenv("WATCHDOG_USEC", "20000", 1);
        unsetenv("WATCHDOG_PID");
        reader = std::thread([this] { readOn(); });
    }
    ~ServiceRoom() {
        over = true;
        reader.join();
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
        (void)close(fd);
    }
    ServiceRoom(const ServiceRoom&) = delete;
    ServiceRoom& operator=(const ServiceRoom&) = delete;

    // So often fed since the last call.
    int feedings() const { return fed.exchange(0); }

private:
    void readOn() {
        char text[4096];
        while (!over) {
            pollfd state{fd, POLLIN, 0};
            if (poll(&state, 1, 20) <= 0) continue;
            const ssize_t size = recv(fd, text, sizeof text, MSG_DONTWAIT);
            if (size < 0) continue;
            if (std::string(text, static_cast<std::size_t>(size)) == "WATCHDOG=1") ++fed;
        }
    }

    int fd = -1;
    mutable std::atomic<int> fed{0};
    std::atomic<bool> over{false};
    std::thread reader;
};

int noticesOf(const DaemonRoom& room, const std::string& word) {
    int count = 0;
    for (const Json& record : room.told()) {
        const Json& data = record["data"];
        if (!data.contains("notice")) continue;
        count += data["object"] == "storage" && data["notice"]["notice"] == word ? 1 : 0;
    }
    return count;
}

TEST(UnreadableStorageDaemon, GivenItStaysUnreadableThenItIsToldOnceAndTheWatchdogIsFed) {
    DaemonRoom room;
    const ServiceRoom service(room.dir.file("notify"));
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.polled() && room.isUp(); })) << room.log();
    const std::string root = room.machine.folder();
    // Only the contents go, so that the folder of the test can still be removed.
    for (const char* part : {"sys", "proc"}) {
        std::filesystem::rename(root + "/" + part, root + "/no-" + part);
    }
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return noticesOf(room, "opened") == 1; })) << room.log();
    EXPECT_TRUE(room.state()["daemon"]["problems"].contains("storage"));
    const std::int64_t seen = room.state()["polledAt"];
    (void)service.feedings();
    int fed = 0;
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return (fed += service.feedings()) > 3; }))
        << "a daemon that tells what is wrong is alive";
    const Json state = room.state();
    EXPECT_EQ(seen, state["polledAt"].get<std::int64_t>()) << "nothing was seen meanwhile";
    EXPECT_EQ(Verdict::kUnknown, verdict(stateFromJson(state), {}, seen + 301, 300).level);
    EXPECT_EQ(1, noticesOf(room, "opened"));

    for (const char* part : {"sys", "proc"}) {
        std::filesystem::rename(root + "/no-" + part, root + "/" + part);
    }
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return noticesOf(room, "resolved") == 1; }))
        << room.log();
    EXPECT_FALSE(room.state()["daemon"]["problems"].contains("storage"));
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
    EXPECT_EQ(1, noticesOf(room, "opened"));
}

// The second reading takes ten minutes.
TEST(UnreadableStorageDaemon, GivenAReadingThatHangsThenTheWatchdogIsNotFed) {
    DaemonRoom room;
    room.dir.write("slow.json", R"({"scenario": 1, "title": "t", "controllers": [
        {"id": "c", "vendor": "Acme", "name": "RX", "serial": "SN1", "channels": [{"id": "ch",
        "drives": [{"id": "d", "device": 0, "vendor": "KOVA", "serial": "S0"}]}]}],
        "steps": [{"name": "it hangs", "after": 4, "changes": [{"slow": 600000},
        {"record": {"code": 1, "category": 0, "status": 0, "about": "d"}}]}]})");
    room.settings.source = "scenario:" + room.dir.file("slow.json");
    room.configure("");
    const ServiceRoom service(room.dir.file("notify"));
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.polled(); })) << room.log();
    // From some moment on nothing feeds it any more, though the daemon takes two turns and more.
    std::int64_t polls = -1;
    EXPECT_TRUE(DaemonRoom::waitFor([&] {
        (void)service.feedings();
        polls = room.state()["polls"];
        std::this_thread::sleep_for(milliseconds(2500));
        return service.feedings() == 0;
    })) << room.log();
    EXPECT_EQ(polls, room.state()["polls"].get<std::int64_t>());
    EXPECT_EQ(-SIGKILL, room.stop(SIGKILL));
}

}  // namespace
