// The daemon is killed at random moments, hundreds of times, while drives of its machine come and
// go. Every change must reach the file sink: in order for each drive, none missing, none twice
// under another number, none invented.
//
// The machine is a folder outside the killed process; this test moves drives in it and keeps the
// list of what must be told. It moves a drive again only after the last move was told, because
// what comes and goes while nobody looks cannot be known.
//
//   RAIDWATCH_KILLS=10000 scripts/in-test-room build/x64/bin/agent_tests --gtest_filter='*KillTest*'
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>
#include <set>

#include "tests/agent/DaemonRoom.h"

namespace {

using Json = nlohmann::ordered_json;
using std::chrono::microseconds;

constexpr int kTests = 5;
constexpr int kKillsInAll = 500;  // unless RAIDWATCH_KILLS says otherwise
constexpr int kDrives = 8;
constexpr int kLatestKill = 160000;  // microseconds after the start
constexpr int kRemoved = 408;
constexpr int kAdded = 407;

int killsPerTest() {
    const char* const wanted = std::getenv("RAIDWATCH_KILLS");
    return (wanted == nullptr ? kKillsInAll : std::atoi(wanted)) / kTests;
}

std::string machine() {
    std::string text = LinuxMachine::host() +
                       "f /proc/mdstat Personalities :\nf /proc/sys/kernel/osrelease 6.1.0\n";
    for (int i = 0; i < kDrives; ++i) {
        text += LinuxMachine::drive(std::string("sd") + static_cast<char>('a' + i), i);
    }
    return text;
}

class KillTest : public testing::TestWithParam<int> {
protected:
    // One call of the system, so that no poll sees half of it.
    void move(int drive) {
        const std::string name = std::string("/sys/block/sd") + static_cast<char>('a' + drive);
        const std::string aside = room.machine.file("/aside-" + std::to_string(drive));
        const bool there = expected[drive].size() % 2 == 0;
        ASSERT_EQ(0, there ? rename(room.machine.file(name).c_str(), aside.c_str())
                           : rename(aside.c_str(), room.machine.file(name).c_str()))
            << name;
        expected[drive].push_back(there ? kRemoved : kAdded);
    }

    // Reads on where the last call ended. Repeats under the same id are dropped, as any receiver
    // would.
    void readTold() {
        std::ifstream in(room.dir.file("out.jsonl"), std::ios::binary);
        in.seekg(static_cast<std::streamoff>(readSoFar));
        std::string line;
        while (std::getline(in, line) && !in.eof()) {
            readSoFar += line.size() + 1;
            const Json record = Json::parse(line, nullptr, false);
            ASSERT_TRUE(record.is_object()) << line;
            if (!ids.insert(record["id"].get<std::string>()).second) {
                ++repeats;
                continue;
            }
            if (!record["data"].contains("event")) continue;
            const Json& event = record["data"]["event"];
            const int code = event["code"];
            if (code != kRemoved && code != kAdded) continue;
            const int drive = event["location"].value("deviceID", -1);
            ASSERT_TRUE(drive >= 0 && drive < kDrives) << line;
            told[drive].push_back(code);
        }
    }
    bool isSettled(int drive) { return told[drive].size() >= expected[drive].size(); }
    bool allSettled() {
        for (int i = 0; i < kDrives; ++i) {
            if (!isSettled(i)) return false;
        }
        return true;
    }
    void waitMicroseconds(int most) {
        std::this_thread::sleep_for(
            microseconds(std::uniform_int_distribution<int>(0, most)(random)));
    }
    // Some of the drives whose last move was told.
    void moveSome() {
        readTold();
        for (int i = 0; i < kDrives; ++i) {
            if (isSettled(i) && random() % 3 == 0) ASSERT_NO_FATAL_FAILURE(move(i));
        }
    }
    // A run that nobody disturbs, until all is told.
    void settle() {
        room.start();
        EXPECT_TRUE(DaemonRoom::waitFor(
            [this] {
                readTold();
                return allSettled();
            },
            std::chrono::seconds(40)))
            << room.log();
        EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
        readTold();
    }

    DaemonRoom room{machine()};
    std::mt19937 random;
    std::map<int, std::vector<int>> expected;
    std::map<int, std::vector<int>> told;
    std::set<std::string> ids;
    std::size_t readSoFar = 0;
    int repeats = 0;
};

TEST_P(KillTest, GivenKillsAtRandomMomentsThenEveryChangeIsToldOnceAndInOrder) {
    random.seed(static_cast<unsigned>(GetParam()));
    // The first look ever: all drives are new, and nothing of that is counted.
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([this] { return room.toldCode(207) && room.polled(); }))
        << room.log();
    ASSERT_EQ(0, room.stop(SIGTERM)) << room.log();
    readTold();
    told.clear();

    for (int kills = 0; kills < killsPerTest(); ++kills) {
        ASSERT_NO_FATAL_FAILURE(moveSome());
        room.start();
        waitMicroseconds(kLatestKill);
        if (random() % 2 == 0) {
            ASSERT_NO_FATAL_FAILURE(moveSome());
            waitMicroseconds(kLatestKill / 4);
        }
        ASSERT_EQ(-SIGKILL, room.stop(SIGKILL)) << "it ended by itself: " << room.log();
    }
    ASSERT_NO_FATAL_FAILURE(settle());

    std::size_t moves = 0;
    for (int i = 0; i < kDrives; ++i) {
        EXPECT_EQ(expected[i], told[i]) << "drive " << i;
        moves += expected[i].size();
    }
    EXPECT_GT(moves, static_cast<std::size_t>(killsPerTest()) / 2) << "too little happened";
    RecordProperty("moves", static_cast<int>(moves));
    RecordProperty("repeats", repeats);
    std::printf("%d kills, %zu changes told, %d repeats under the same id\n", killsPerTest(), moves,
                repeats);
}

INSTANTIATE_TEST_SUITE_P(Seeds, KillTest, testing::Range(0, kTests));

}  // namespace
