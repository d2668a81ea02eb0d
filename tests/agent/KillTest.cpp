// The daemon is killed at random moments, hundreds of times, while drives of its machine come and
// go, fail and are brought back, and arrays lose and regain their redundancy. Every change must
// reach the file sink: in order for each thing, none missing, none twice under another number, none
// invented.
//
// The machine is a folder outside the killed process; this test changes things in it and keeps the
// list of what must be told. It changes a thing again only after its last change was told, because
// what comes and goes while nobody looks cannot be known.
//
// scripts/kills does it ten thousand times.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <random>
#include <set>

#include "tests/agent/DaemonRoom.h"

namespace {

using Json = nlohmann::ordered_json;
using std::chrono::microseconds;

constexpr int kTests = 5;
constexpr int kTestsOfArrays = 2;
// For each test, unless RAIDWATCH_KILLS says otherwise. With a sanitizer a start takes longer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kKills = 20;
#else
constexpr int kKills = 100;
#endif
constexpr int kThings = 8;
constexpr microseconds kLatestKill{
    160000};  // after the start, on a machine with nothing else to do

// Something on the machine that has two states.
struct Thing {
    std::string file;   // of the tree
    std::string aside;  // what stands there in the other state; need not exist
    int away;           // the code for leaving the first state
    int back;           // and for coming back to it
    const char* place;  // member of the event's location, and its value
    int number;
};

std::optional<int> numberIn(const char* variable) {
    const char* const text = std::getenv(variable);
    return text == nullptr ? std::nullopt : std::optional<int>(std::atoi(text));
}

// RAIDWATCH_KILLS_SECONDS: after so long a test kills no more, however many were wanted.
bool isTimeLeft(std::chrono::steady_clock::time_point begin) {
    const std::optional<int> most = numberIn("RAIDWATCH_KILLS_SECONDS");
    return !most || std::chrono::steady_clock::now() - begin < std::chrono::seconds(*most);
}

std::string driveName(int target) { return std::string("sd") + static_cast<char>('a' + target); }

std::string drives(int count) {
    std::string text = LinuxMachine::host() +
                       "f /proc/mdstat Personalities :\nf /proc/sys/kernel/osrelease 6.1.0\n";
    for (int i = 0; i < count; ++i) text += LinuxMachine::drive(driveName(i), i);
    return text;
}

std::vector<Thing> drivesThatComeAndGo() {
    std::vector<Thing> things;
    for (int i = 0; i < kThings; ++i) {
        things.push_back(
            {"/sys/block/" + driveName(i), "/aside-" + std::to_string(i), 408, 407, "deviceID", i});
    }
    return things;
}

// Mirrors of two drives. Of the first four the kernel's count of missing drives changes, of the
// others the state of a member.
std::string arrays() {
    std::string text = drives(2 * kThings);
    for (int i = 0; i < kThings; ++i) {
        const std::string name = "md" + std::to_string(i);
        text += LinuxMachine::array(name, "raid1", 2, "idle") +
                LinuxMachine::member(name, driveName(2 * i), 2 * i, "in_sync", 0) +
                LinuxMachine::member(name, driveName(2 * i + 1), 2 * i + 1, "in_sync", 1) +
                "f /aside-" + std::to_string(i) + (i < kThings / 2 ? " 1\n" : " faulty\n");
    }
    return text;
}

std::vector<Thing> arraysThatFail() {
    std::vector<Thing> things;
    for (int i = 0; i < kThings; ++i) {
        const std::string folder = LinuxMachine::folder("md" + std::to_string(i));
        const std::string aside = "/aside-" + std::to_string(i);
        if (i < kThings / 2) {
            things.push_back({folder + "/degraded", aside, 301, 345, "logicalDriveID", i});
        } else {
            things.push_back({folder + "/dev-" + driveName(2 * i) + "/state", aside, 401, 403,
                              "deviceID", 2 * i});
        }
    }
    return things;
}

class KillTest : public testing::TestWithParam<int> {
protected:
    KillTest(const std::string& tree, std::vector<Thing> thingsIN)
        : room(tree), things(std::move(thingsIN)) {}
    KillTest() : KillTest(drives(kThings), drivesThatComeAndGo()) {}

    static std::set<int> codesOf(const std::vector<Thing>& things) {
        std::set<int> codes;
        for (const Thing& thing : things) codes.insert({thing.away, thing.back});
        return codes;
    }
    // One call of the system, so that no poll sees half of it.
    void move(int number) {
        const Thing& thing = things[static_cast<std::size_t>(number)];
        const std::string file = room.machine.file(thing.file);
        const std::string aside = room.machine.file(thing.aside);
        const bool isFirst = expected[number].size() % 2 == 0;
        if (renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, aside.c_str(), RENAME_EXCHANGE) != 0) {
            ASSERT_EQ(ENOENT, errno) << thing.file;
            ASSERT_EQ(0, isFirst ? rename(file.c_str(), aside.c_str())
                                 : rename(aside.c_str(), file.c_str()))
                << thing.file;
        }
        expected[number].push_back(isFirst ? thing.away : thing.back);
    }
    // -1 for an event that is not about a change of ours.
    int thingOf(const Json& event) const {
        for (int i = 0; i < kThings; ++i) {
            const Thing& thing = things[static_cast<std::size_t>(i)];
            const bool ours = event["code"] == thing.away || event["code"] == thing.back;
            if (ours && event["location"].value(thing.place, -1) == thing.number) return i;
        }
        return -1;
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
            if (!record.is_object()) {
                // A kill may cut a line short. The next run ends it, and sends the record again.
                ASSERT_LE(++cut, killed) << line;
                continue;
            }
            if (!ids.insert(record["id"].get<std::string>()).second) {
                ++repeats;
                continue;
            }
            if (!record["data"].contains("event")) continue;
            const Json& event = record["data"]["event"];
            const int thing = thingOf(event);
            if (thing >= 0) {
                told[thing].push_back(event["code"]);
            } else {
                EXPECT_EQ(0u, moving.count(event["code"])) << "of nothing that was moved: " << line;
            }
        }
    }
    bool isSettled(int thing) { return told[thing].size() >= expected[thing].size(); }
    bool allSettled() {
        for (int i = 0; i < kThings; ++i) {
            if (!isSettled(i)) return false;
        }
        return true;
    }
    void waitAtMost(microseconds most) {
        std::this_thread::sleep_for(
            microseconds(std::uniform_int_distribution<std::int64_t>(0, most.count())(random)));
    }
    // Some kills must come after a change was told, however slow the machine and the build are: up
    // to twice the time that an undisturbed run takes from its start to the message.
    microseconds findLatestKill() {
        microseconds slowest{0};
        for (int round = 0; round < 3; ++round) {
            move(0);
            const auto begin = std::chrono::steady_clock::now();
            settle();
            slowest =
                std::max(slowest, std::chrono::duration_cast<microseconds>(toldAllAt - begin));
        }
        return std::max(kLatestKill, 2 * slowest);
    }
    // Some of the things whose last change was told.
    void moveSome() {
        readTold();
        for (int i = 0; i < kThings; ++i) {
            if (isSettled(i) && random() % 3 == 0) {
                ASSERT_NO_FATAL_FAILURE(move(i));
            }
        }
    }
    // A run that nobody disturbs, until all is told.
    void settle() {
        room.start();
        EXPECT_TRUE(DaemonRoom::waitFor(
            [this] {
                readTold();
                return allSettled() && room.isUp();
            },
            std::chrono::seconds(40)))
            << room.log();
        toldAllAt = std::chrono::steady_clock::now();
        EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
        readTold();
    }

    void killAtRandomMoments();

    DaemonRoom room;
    const std::vector<Thing> things;
    std::set<int> moving = codesOf(things);  // all codes that our changes have
    std::mt19937 random;
    std::map<int, std::vector<int>> expected;
    std::map<int, std::vector<int>> told;
    std::set<std::string> ids;
    std::size_t readSoFar = 0;
    int repeats = 0;
    int killed = 0;
    int cut = 0;  // lines
    std::chrono::steady_clock::time_point toldAllAt;
};

void KillTest::killAtRandomMoments() {
    random.seed(static_cast<unsigned>(GetParam()));
    // The first look ever: everything is new, and nothing of that is counted.
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([this] { return room.toldCode(207) && room.isUp(); }))
        << room.log();
    ASSERT_EQ(0, room.stop(SIGTERM)) << room.log();
    readTold();
    told.clear();
    const microseconds latestKill = findLatestKill();
    const int wanted = numberIn("RAIDWATCH_KILLS").value_or(kKills);
    const auto begin = std::chrono::steady_clock::now();

    while (killed < wanted && isTimeLeft(begin)) {
        ASSERT_NO_FATAL_FAILURE(moveSome());
        room.start();
        waitAtMost(latestKill);
        if (random() % 2 == 0) {
            ASSERT_NO_FATAL_FAILURE(moveSome());
            waitAtMost(latestKill / 4);
        }
        ASSERT_EQ(-SIGKILL, room.stop(SIGKILL)) << "it ended by itself: " << room.log();
        ++killed;
    }
    ASSERT_NO_FATAL_FAILURE(settle());

    std::size_t moves = 0;
    for (int i = 0; i < kThings; ++i) {
        EXPECT_EQ(expected[i], told[i]) << things[static_cast<std::size_t>(i)].file;
        moves += expected[i].size();
    }
    EXPECT_GT(moves, static_cast<std::size_t>(killed) / 2) << "too little happened";
    RecordProperty("moves", static_cast<int>(moves));
    RecordProperty("repeats", repeats);
    std::printf(
        "%d kills, %zu changes told, %d repeats under the same id, %d lines cut short, latest kill "
        "%lld us\n",
        killed, moves, repeats, cut, static_cast<long long>(latestKill.count()));
}

class ArrayKillTest : public KillTest {
protected:
    ArrayKillTest() : KillTest(arrays(), arraysThatFail()) {}
};

TEST_P(KillTest, GivenKillsAtRandomMomentsThenEveryChangeIsToldOnceAndInOrder) {
    killAtRandomMoments();
}

TEST_P(ArrayKillTest, GivenKillsAtRandomMomentsThenEveryChangeIsToldOnceAndInOrder) {
    killAtRandomMoments();
}

INSTANTIATE_TEST_SUITE_P(Seeds, KillTest, testing::Range(0, kTests));
INSTANTIATE_TEST_SUITE_P(Seeds, ArrayKillTest, testing::Range(0, kTestsOfArrays));

}  // namespace
