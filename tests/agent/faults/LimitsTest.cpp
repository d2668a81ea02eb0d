// The real daemon without descriptors, and without memory: it lives, or ends with one line and exit
// code 1; the spool is sound, and the next run tells what happened, once.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <set>

#include "agent/spool/Spool.h"
#include "tests/agent/DaemonRoom.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kDriveRemoved = 408;
constexpr int kCompanion = 499;  // of the events of a drive

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

class LimitsTest : public testing::Test {
protected:
    void startLimited(const std::string& limit) {
        room.pid = room.spawn({"/usr/bin/prlimit", limit, "--", QEL_RAIDWATCH, "run", "--config",
                               room.config, "--pace", room.pace},
                              "log");
    }
    bool hasEnded() {
        siginfo_t info{};
        return waitid(P_PID, static_cast<id_t>(room.pid), &info, WEXITED | WNOWAIT | WNOHANG) ==
                   0 &&
               info.si_pid == room.pid;
    }
    int removals(const std::string& drive) const {
        int count = 0;
        for (const Json& record : room.told()) {
            const Json& data = record["data"];
            count += data.contains("event") && data["event"]["code"] == kDriveRemoved &&
                             data["object"] == drive
                         ? 1
                         : 0;
        }
        return count;
    }
    int allRemovals() const {
        int count = 0;
        for (const Json& record : room.told()) {
            const Json& data = record["data"];
            count += data.contains("event") && data["event"]["code"] == kDriveRemoved ? 1 : 0;
        }
        return count;
    }
    // A run without limits tells the removal of sdb, and it is told once.
    void expectSoundAndTold() {
        EXPECT_EQ("", Spool(room.dir.file("state/spool.db")).openingNote());
        room.start();
        EXPECT_TRUE(DaemonRoom::waitFor([&] { return removals("drive:S1") > 0 && room.isUp(); }))
            << room.log();
        EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
        EXPECT_EQ(1, removals("drive:S1"));
        EXPECT_EQ(1, allRemovals()) << "no drive that is there was told to be gone";
    }
    bool saysOneOf(std::size_t from, const std::vector<std::string>& reasons) const {
        const std::string log = room.log();
        return std::any_of(reasons.begin(), reasons.end(), [&](const std::string& reason) {
            return log.find(reason, from) != std::string::npos;
        });
    }
    void leaveASpool() {
        room.start();
        ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(207) && room.isUp(); }))
            << room.log();
        ASSERT_EQ(0, room.stop(SIGTERM)) << room.log();
    }

    DaemonRoom room;
};

TEST_F(LimitsTest, GivenFewDescriptorsThenItStartsOrSaysWhyNot) {
    if (access("/usr/bin/prlimit", X_OK) != 0) GTEST_SKIP() << "NOT TESTED: no prlimit here";
    leaveASpool();
    room.machine.add("x /sys/block/sdb");
    for (int most = 4; most <= 24; ++most) {
        SCOPED_TRACE(most);
        const std::size_t logged = room.log().size();
        std::filesystem::remove(room.dir.file("run/state.json"));
        startLimited("--nofile=" + std::to_string(most));
        const auto saysSo = [&] {
            return room.log().find("cannot be read", logged) != std::string::npos;
        };
        ASSERT_TRUE(DaemonRoom::waitFor([&] {
            return hasEnded() || (room.isUp() && (room.polled() || saysSo()));
        })) << room.log();
        if (!hasEnded()) (void)kill(room.pid, SIGTERM);
        const int code = room.waitForEnd();
        EXPECT_TRUE(code == 0 || code == 1 || code == 127) << code << room.log();
        if (code != 0) {
            // The second is the loader's. A sanitizer may speak first, in its own words; it takes
            // memory for unreadable when it has no descriptor to look at it.
            const bool said = saysOneOf(logged, {"Too many open files", "shared object"});
            const bool sanitizerSaid =
                kSanitized && saysOneOf(logged, {"Sanitizer", "has invalid vptr"});
            EXPECT_TRUE(said || sanitizerSaid) << room.log();
        }
    }
    expectSoundAndTold();
}

// They run out while it runs: somebody else's leak, or a limit that is set too late.
TEST_F(LimitsTest, GivenDescriptorsRunOutThenItLivesAndGoesOnWhenThereAreSome) {
    if (kSanitized) GTEST_SKIP() << "NOT TESTED: sanitizers need descriptors to look at memory";
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(207) && room.isUp(); }))
        << room.log();
    rlimit before{};
    ASSERT_EQ(0, prlimit(room.pid, RLIMIT_NOFILE, nullptr, &before));
    const rlimit none{3, before.rlim_max};
    ASSERT_EQ(0, prlimit(room.pid, RLIMIT_NOFILE, &none, nullptr));
    room.machine.add("x /sys/block/sdb");
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.logged("Too many open files"); }))
        << room.log();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    ASSERT_FALSE(hasEnded()) << room.log();
    ASSERT_EQ(0, prlimit(room.pid, RLIMIT_NOFILE, &before, nullptr));
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return removals("drive:S1") == 1; })) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
    expectSoundAndTold();
}

// The limit under which exactly so many descriptors can still be had.
rlim_t limitThatLeaves(int spare, pid_t process) {
    std::set<rlim_t> used;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd")) {
        used.insert(std::stoul(entry.path().filename().string()));
    }
    rlim_t limit = 0;
    for (int free = 0; free < spare || used.count(limit) != 0; ++limit) {
        if (used.count(limit) == 0) ++free;
    }
    return limit;
}

// A few are left, so that something can be opened, but not all that a reading of the machine needs.
TEST_F(LimitsTest, GivenFewDescriptorsWhileItRunsThenNothingIsToldThatDidNotHappen) {
    if (kSanitized) GTEST_SKIP() << "NOT TESTED: sanitizers need descriptors to look at memory";
    room.machine.add(LinuxMachine::array("md0", "raid5", 3, "idle") +
                     LinuxMachine::set("md0", "degraded", "1") +
                     LinuxMachine::member("md0", "sda", 0, "in_sync", 0) +
                     LinuxMachine::member("md0", "sdc", 2, "in_sync", 1));
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        return room.toldCode(207) && room.isUp() && room.polled() &&
               room.state().value("polls", 0) > 100;
    })) << room.log();
    const std::size_t before = room.told().size();
    rlimit usual{};
    ASSERT_EQ(0, prlimit(room.pid, RLIMIT_NOFILE, nullptr, &usual));
    for (int spare = 0; spare <= 12; ++spare) {
        const rlimit few{limitThatLeaves(spare, room.pid), usual.rlim_max};
        ASSERT_EQ(0, prlimit(room.pid, RLIMIT_NOFILE, &few, nullptr));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));  // some polls and a refresh
        ASSERT_FALSE(hasEnded()) << room.log();
    }
    ASSERT_EQ(0, prlimit(room.pid, RLIMIT_NOFILE, &usual, nullptr));
    room.machine.add("x /sys/block/sdb");
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return removals("drive:S1") == 1; })) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
    expectSoundAndTold();
    const std::vector<Json> told = room.told();
    for (std::size_t i = before; i < told.size(); ++i) {
        if (!told[i]["data"].contains("event")) continue;
        const int code = told[i]["data"]["event"]["code"];
        EXPECT_TRUE(code == kDriveRemoved || code == kCompanion) << told[i];
    }
}

TEST_F(LimitsTest, GivenLittleMemoryThenItStartsOrSaysWhyNot) {
    if (kSanitized) GTEST_SKIP() << "NOT TESTED: sanitizers need all addresses";
    if (access("/usr/bin/prlimit", X_OK) != 0) GTEST_SKIP() << "NOT TESTED: no prlimit here";
    leaveASpool();
    room.machine.add("x /sys/block/sdb");
    for (const int megabytes : {8, 16, 24, 32, 40, 48, 64, 96, 128}) {
        SCOPED_TRACE(megabytes);
        const std::size_t logged = room.log().size();
        std::filesystem::remove(room.dir.file("run/state.json"));
        startLimited("--as=" + std::to_string(megabytes * 1024 * 1024));
        ASSERT_TRUE(DaemonRoom::waitFor([&] { return hasEnded() || room.polled(); })) << room.log();
        if (!hasEnded()) (void)kill(room.pid, SIGTERM);
        const int code = room.waitForEnd();
        EXPECT_TRUE(code == 0 || code == 1 || code == 127 || code == -SIGABRT)
            << code << room.log();
        if (code != 0) {
            EXPECT_TRUE(saysOneOf(logged, {"emory", "shared object", "bad_alloc"})) << room.log();
        }
    }
    expectSoundAndTold();
}

// It has what it needs at rest, and gets work that needs more.
TEST_F(LimitsTest, GivenMemoryRunsOutThenTheSpoolIsSoundWhateverBecomesOfIt) {
    if (kSanitized) GTEST_SKIP() << "NOT TESTED: sanitizers need all addresses";
    leaveASpool();
    std::filesystem::remove(room.dir.file("run/state.json"));
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.polled() && room.isUp(); })) << room.log();
    const rlimit little{1, RLIM_INFINITY};
    ASSERT_EQ(0, prlimit(room.pid, RLIMIT_AS, &little, nullptr));
    room.machine.add("x /sys/block/sdb");
    // It may find room in what it has; 32 MB of names do not fit there.
    for (int i = 0; i < 200 && !hasEnded(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (!hasEnded()) (void)kill(room.pid, SIGTERM);
    const int code = room.waitForEnd();
    EXPECT_TRUE(code == 0 || code == 1 || code == -SIGABRT) << code << room.log();
    expectSoundAndTold();
}

}  // namespace
