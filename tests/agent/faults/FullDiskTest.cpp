// The real daemon on a disk without room: spool, engine's snapshot and the file of a sink lie on
// it. What was acknowledged stays, the daemon lives and says so once, and goes on by itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "tests/agent/DaemonRoom.h"
#include "tests/agent/faults/SmallDisk.h"
#include "tests/agent/support/WebRoom.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kAdapterAdded = 207;
constexpr int kDriveRemoved = 408;
constexpr int kThings = 4;       // drives of the machine
constexpr int kShortKills = 12;  // unless RAIDWATCH_KILLS says otherwise

class FullDiskTest : public testing::Test {
protected:
    void SetUp() override {
        if (!disk.isThere()) GTEST_SKIP() << SmallDisk::kRefused;
        room.settings.stateFolder = disk.file("state");
        room.settings.engineFolder = disk.file("engine");
        room.configure("");
    }
    void startAndWait() {
        room.start();
        ASSERT_TRUE(DaemonRoom::waitFor([&] {
            return room.polled() && room.isUp() && hasPolledAnew();
        })) << room.log();
    }
    bool hasPolledAnew() const { return room.state()["daemon"].value("pid", 0) == room.pid; }
    void fill() {
        // What the daemon writes at the same time may free a block.
        ASSERT_TRUE(DaemonRoom::waitFor([&] { return disk.fill(); }));
    }
    void pull(int drive) {
        room.machine.add(std::string("x /sys/block/sd") + static_cast<char>('a' + drive));
    }
    bool hasProblem(const char* topic) const {
        const Json state = room.state();
        return state.is_object() && state["daemon"]["problems"].contains(topic);
    }
    // Removals that were told, by drive. Repeats under one id count once.
    std::map<std::string, int> removals() const {
        std::map<std::string, int> count;
        std::map<std::string, int> ids;
        for (const Json& record : room.told()) {
            const Json& data = record["data"];
            if (!data.contains("event") || data["event"]["code"] != kDriveRemoved) continue;
            if (++ids[record["id"].get<std::string>()] == 1) {
                ++count[data["object"].get<std::string>()];
            }
        }
        return count;
    }
    std::size_t timesLogged(const std::string& part) const {
        const std::string log = room.log();
        std::size_t count = 0;
        for (std::size_t at = log.find(part); at != std::string::npos; at = log.find(part, at + 1))
            ++count;
        return count;
    }

    SmallDisk disk;
    DaemonRoom room;
};

TEST_F(FullDiskTest, GivenADiskThatFillsUpThenItIsSaidOnceAndAllIsToldWhenThereIsRoom) {
    ASSERT_NO_FATAL_FAILURE(startAndWait());
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kAdapterAdded); })) << room.log();
    ASSERT_NO_FATAL_FAILURE(fill());
    pull(1);
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return hasProblem("spool"); })) << room.log();
    EXPECT_GE(room.state()["daemon"]["unspooled"].get<int>(), 1);
    EXPECT_TRUE(removals().empty()) << "nobody is told what is not on disk";
    const Json before = room.state();
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        return room.state().value("polls", 0LL) > before.value("polls", 0LL) + 20;
    })) << "it watches on";
    EXPECT_EQ(1u, timesLogged("raidwatch: spool: cannot write")) << room.log();

    disk.makeRoom();
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kDriveRemoved); })) << room.log();
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return !hasProblem("spool"); })) << room.log();
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.logged("spool: all is well again"); }));
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
    EXPECT_EQ((std::map<std::string, int>{{"drive:S1", 1}}), removals());
}

TEST_F(FullDiskTest, GivenNoRoomForASpoolThenItStartsWatchesAndTellsLater) {
    ASSERT_NO_FATAL_FAILURE(fill());
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.polled() && hasProblem("spool"); }))
        << room.log();
    EXPECT_EQ(4u, room.state()["drives"].size());
    EXPECT_EQ(1u, timesLogged("make room in")) << room.log();
    pull(2);
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.state()["drives"].size() == 3u; }));
    disk.makeRoom();
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kDriveRemoved); })) << room.log();
    EXPECT_TRUE(room.toldCode(kAdapterAdded));
    EXPECT_TRUE(room.logged("the spool is open now")) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
}

// Who asks the web server gets what is known, and where nothing is, why.
TEST_F(FullDiskTest, GivenNoRoomForASpoolThenThePageSaysSoAndTheRestIsAnswered) {
    room.listen = "[\"127.0.0.1:0\"]";
    room.configure("");
    ASSERT_NO_FATAL_FAILURE(fill());
    room.start();
    const auto page = [this] {
        const Json state = room.state();
        if (!state.is_object() || !hasProblem("spool") || !room.polled()) return std::string();
        const Json pages = state["daemon"].value("pages", Json::array());
        return pages.empty() ? std::string() : pages[0].get<std::string>();
    };
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return !page().empty(); })) << room.log();
    EXPECT_LE(0, room.state()["daemon"]["pollSeconds"].get<double>()) << "a poll has ended";
    httplib::Client client("127.0.0.1", web::Room::portOf(page()));
    const auto get = [&client](const char* path) {
        const httplib::Result result = client.Get(path);
        return result ? std::pair(result->status, result->body) : std::pair(0, std::string());
    };
    EXPECT_EQ(200, get("/healthz").first) << "it watches";
    const auto drives = get("/api/v1/drives");
    EXPECT_EQ(200, drives.first);
    EXPECT_EQ(4u, Json::parse(drives.second).size());
    for (const char* path : {"/", "/api/v1/status", "/api/v1/events", "/api/v1/stream"}) {
        const auto answer = get(path);
        EXPECT_EQ(503, answer.first) << path << answer.second;
        EXPECT_NE(std::string::npos, answer.second.find("spool.db")) << path << answer.second;
        EXPECT_NE(std::string::npos, answer.second.find("make room in")) << path << answer.second;
    }
    const auto metrics = get("/metrics");
    EXPECT_EQ(200, metrics.first);
    EXPECT_NE(std::string::npos, metrics.second.find("\nraidwatch_spool_readable 0\n"));
    EXPECT_EQ(std::string::npos, metrics.second.find("\nraidwatch_poll_duration_seconds -1"));

    disk.makeRoom();
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return get("/").first == 200; })) << room.log();
    EXPECT_EQ(200, get("/api/v1/status").first);
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
}

// A reload that fails is remembered until there is a spool, and longer.
TEST_F(FullDiskTest, GivenNoRoomForASpoolThenReloadsWorkAllTheSame) {
    ASSERT_NO_FATAL_FAILURE(fill());
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return hasProblem("spool") && room.isUp(); }))
        << room.log();
    room.configure("[sink.out]\n");
    ASSERT_EQ(0, kill(room.pid, SIGHUP));
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return hasProblem("settings"); })) << room.log();
    disk.makeRoom();
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        return room.logged("the spool is open now") && !hasProblem("spool");
    })) << room.log();
    EXPECT_TRUE(hasProblem("settings")) << room.readFile("run/state.json");
    room.configure("");
    ASSERT_EQ(0, kill(room.pid, SIGHUP));
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return !hasProblem("settings"); })) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
}

// The engine's own snapshot was cut short by the full disk as well.
TEST_F(FullDiskTest, GivenAFullDiskAtTheStartThenWhatHappenedMeanwhileIsFoundAndToldOnce) {
    ASSERT_NO_FATAL_FAILURE(startAndWait());
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kAdapterAdded); })) << room.log();
    ASSERT_NO_FATAL_FAILURE(fill());
    pull(1);
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return hasProblem("spool"); })) << room.log();
    ASSERT_EQ(-SIGKILL, room.stop(SIGKILL));
    std::filesystem::resize_file(disk.file("engine/QELVANTConfig.xml"), 20);
    ASSERT_NO_FATAL_FAILURE(fill());
    std::filesystem::remove(room.dir.file("run/state.json"));
    // The last of the journal may still fit, so whether it is told now or later is open.
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.polled() && room.isUp(); })) << room.log();
    disk.makeRoom();
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kDriveRemoved); })) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
    EXPECT_EQ((std::map<std::string, int>{{"drive:S1", 1}}), removals());
    std::set<std::string> adapters;  // by their ids: a kill may make a sink take one twice
    for (const Json& record : room.told()) {
        const Json& data = record["data"];
        if (data.contains("event") && data["event"]["code"] == kAdapterAdded) {
            adapters.insert(record["id"].get<std::string>());
        }
    }
    EXPECT_EQ(2u, adapters.size()) << "both controllers were new in the first run only";
}

TEST_F(FullDiskTest, GivenAFullDiskUnderTheSinksFileThenItsRecordsAreWrittenLater) {
    room.configure("[sink.second]\ntype = \"file\"\nsend = \"both\"\npath = \"" +
                   disk.file("second.jsonl") + "\"\n");
    ASSERT_NO_FATAL_FAILURE(startAndWait());
    ASSERT_NO_FATAL_FAILURE(fill());
    pull(0);
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return hasProblem("spool"); })) << room.log();
    disk.makeRoom();
    const auto lines = [this](const std::string& name) {
        std::ifstream in(name, std::ios::binary);
        std::map<std::string, int> ids;
        std::string line;
        while (std::getline(in, line)) {
            const Json record = Json::parse(line, nullptr, false);
            if (record.is_object()) ++ids[record["id"].get<std::string>()];
        }
        return ids.size();
    };
    EXPECT_TRUE(DaemonRoom::waitFor([&] {
        return room.toldCode(kDriveRemoved) &&
               lines(disk.file("second.jsonl")) == lines(room.dir.file("out.jsonl"));
    })) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
}

// Each drive is pulled once, at some moment between the kills; the disk has room now and then.
TEST_F(FullDiskTest, GivenKillsWhileTheDiskIsFullThenEachChangeIsToldOnce) {
    std::mt19937 random(7);
    ASSERT_NO_FATAL_FAILURE(startAndWait());
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kAdapterAdded); })) << room.log();
    ASSERT_EQ(0, room.stop(SIGTERM)) << room.log();
    int pulled = 0;
    const char* const wanted = std::getenv("RAIDWATCH_KILLS");
    const int kills = wanted == nullptr ? kShortKills : std::atoi(wanted);
    for (int i = 0; i < kills; ++i) {
        if (i % 4 == 3) disk.makeRoom();
        if (i % 4 == 0) {
            ASSERT_NO_FATAL_FAILURE(fill());
        }
        room.start();
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 120));
        if (i % 3 == 1 && pulled < kThings) pull(pulled++);
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 80));
        ASSERT_EQ(-SIGKILL, room.stop(SIGKILL)) << "it ended by itself: " << room.log();
    }
    disk.makeRoom();
    room.start();
    std::map<std::string, int> expected;
    for (int i = 0; i < pulled; ++i) expected["drive:S" + std::to_string(i)] = 1;
    EXPECT_TRUE(DaemonRoom::waitFor([&] {
        return removals().size() == expected.size() && room.isUp() && hasPolledAnew();
    })) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
    EXPECT_EQ(expected, removals());
    EXPECT_EQ(4, pulled);
}

}  // namespace
