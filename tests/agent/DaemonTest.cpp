// The real daemon as a process: how it starts when something is wrong, what signals do, and what
// other verbs can ask of it.
#include "agent/daemon/Daemon.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>

#include "agent/EngineFolder.h"
#include "agent/Failure.h"
#include "agent/daemon/Agent.h"
#include "agent/daemon/PidLock.h"
#include "tests/agent/DaemonRoom.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr key_t kLockKey = 54321;  // of the engine's machine-wide lock
constexpr int kAdapterAdded = 207;
constexpr int kDriveRemoved = 408;

class DaemonTest : public testing::Test {
protected:
    void startAndWait() {
        room.start();
        ASSERT_TRUE(DaemonRoom::waitFor([&] {
            return room.polled() && agent().isRunning() && room.isUp();
        })) << room.log();
    }
    Agent agent() const { return Agent(room.settings); }
    void pull(const std::string& drive) { room.machine.add("x /sys/block/" + drive); }
    std::string changeError(const Json& request) {
        try {
            (void)agent().change(request);
        } catch (const Failure& e) {
            return e.what();
        }
        return "";
    }

    DaemonRoom room;
};

TEST_F(DaemonTest, TellsWhatHappensAndEndsInOrder) {
    startAndWait();
    pull("sdb");
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kDriveRemoved); })) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
    EXPECT_FALSE(agent().isRunning());
    struct stat gone {};
    EXPECT_NE(0, stat(room.dir.file("run/read.sock").c_str(), &gone));
    EXPECT_NE(0, stat(room.dir.file("run/control.sock").c_str(), &gone));
}

TEST_F(DaemonTest, WhatHappenedWhileItWasAwayIsToldAsSuch) {
    startAndWait();
    ASSERT_EQ(0, room.stop(SIGINT));
    pull("sdc");
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kDriveRemoved); })) << room.log();
    for (const Json& record : room.told()) {
        const Json& data = record["data"];
        if (data.contains("event") && data["event"]["code"] == kDriveRemoved) {
            EXPECT_EQ("at-start", data["origin"]);
            EXPECT_EQ("drive:S2", data["object"]);
        }
    }
}

TEST_F(DaemonTest, GivenNoStorageAtAllThenStartsAndSaysSo) {
    room.machine.add("x /sys/devices\nx /sys/block\nx /sys/class\nd /sys/block");
    startAndWait();
    EXPECT_TRUE(room.state()["drives"].empty());
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
}

TEST_F(DaemonTest, GivenStorageThatCannotBeReadYetThenStartsAndWaits) {
    const TempDir empty;
    const std::string root = empty.file("root");
    std::filesystem::create_directories(root);
    room.settings.source = "linux:" + root;
    room.configure("");
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        return agent().isRunning() && room.logged("cannot be read");
    })) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
}

TEST_F(DaemonTest, GivenADamagedSnapshotThenStartsAndTells) {
    room.dir.write("engine/QELVANTConfig.xml", "<System><Controller x=1></Controller></System>");
    startAndWait();
    EXPECT_TRUE(room.toldCode(kAdapterAdded) ||
                DaemonRoom::waitFor([&] { return room.toldCode(kAdapterAdded); }));
    EXPECT_TRUE(room.logged("damaged")) << room.log();
}

TEST_F(DaemonTest, GivenADamagedSpoolThenSetsItAsideAndGoesOnFromTheCopy) {
    startAndWait();
    ASSERT_EQ(0, room.stop(SIGTERM));
    const std::size_t before = room.told().size();
    for (const char* side : {"-wal", "-shm"}) {
        std::filesystem::remove(room.dir.file(std::string("state/spool.db") + side));
    }
    room.dir.write("state/spool.db", "this is no database, and it is long enough to be looked at");
    pull("sdd");
    startAndWait();
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kDriveRemoved); })) << room.log();
    EXPECT_TRUE(room.logged("spool.db.damaged-")) << room.log();
    // The safe copy of the snapshot held: nothing is new but the drive that has gone.
    const auto told = room.told();
    for (std::size_t i = before; i < told.size(); ++i) {
        const Json& data = told[i]["data"];
        if (data.contains("event")) {
            EXPECT_NE(kAdapterAdded, data["event"]["code"]);
        }
    }
}

TEST_F(DaemonTest, GivenAStuckMachineWideLockThenFreesItAndSaysSo) {
    // A replay earlier in this process has left it in a namespace where the engine's lock would
    // have the identifier 0, which is no lock.
    if (unshare(CLONE_NEWIPC) == 0) (void)semget(IPC_PRIVATE, 1, 0600);
    startAndWait();
    ASSERT_EQ(0, room.stop(SIGTERM));
    const int lock = semget(kLockKey, 1, 0);
    ASSERT_GE(lock, 1) << "the engine made none";
    const pid_t child = fork();
    if (child == 0) {
        sembuf take{0, -1, 0};
        _exit(semop(lock, &take, 1) == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_EQ(0, status);
    std::filesystem::remove(room.dir.file("run/state.json"));
    startAndWait();
    EXPECT_TRUE(room.logged("lock")) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
}

TEST_F(DaemonTest, GivenNoConfigurationFileThenANamedOneIsMissed) {
    room.config = room.dir.file("missing.toml");
    room.start();
    EXPECT_EQ(2, room.waitForEnd()) << room.log();
    EXPECT_TRUE(room.logged("missing.toml")) << room.log();
}

// In a mount namespace of its own, where /run and /var/lib are empty. The program and the engine
// are copies, side by side as they are installed, so that the engine's files are its own.
TEST_F(DaemonTest, GivenNoConfigurationFileThenTheDefaultsHold) {
    if (std::system("unshare -m true 2>/dev/null") != 0) {
        GTEST_SKIP() << "NOT TESTED: may not make a mount namespace here";
    }
    const std::filesystem::path own = room.dir.file("lib");
    const std::filesystem::path program = room.dir.file("bin/raidwatch");
    std::filesystem::create_directories(own);
    std::filesystem::create_directories(program.parent_path());
    std::filesystem::copy(QEL_RAIDWATCH, program);
    for (const auto& entry : std::filesystem::directory_iterator(EngineFolder::libraryFolder())) {
        const std::string name = entry.path().filename().string();
        const bool wanted = name.find("libQEL.so") == 0 || name.find("libSTORVANT.so") == 0 ||
                            name == "RaidNLS.properties";
        if (wanted) std::filesystem::copy(entry.path(), own / name);
    }
    const std::string prepare =
        "mount -t tmpfs none /run && mount -t tmpfs none /var/lib && "
        "{ [ ! -d /etc/raidwatch ] || mount -t tmpfs none /etc/raidwatch; } && "
        "exec \"$@\"";
    room.pid =
        room.spawn({"/usr/bin/unshare", "-m", "--", "/bin/sh", "-c", prepare, "sh",
                    program.string(), "run", "--source", room.settings.source, "--pace", room.pace},
                   "log");
    const std::string root = "/proc/" + std::to_string(room.pid) + "/root";
    const auto state = [&root] {
        std::ifstream in(root + "/run/raidwatch/state.json", std::ios::binary);
        return Json::parse(std::string(std::istreambuf_iterator<char>(in), {}), nullptr, false);
    };
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        const Json seen = state();
        return seen.is_object() && seen.value("polledAt", 0LL) != 0;
    })) << room.log();
    EXPECT_EQ(4u, state()["drives"].size());
    Json problems = state()["daemon"]["problems"];
    problems.erase("http");  // a daemon of this machine may have the usual port
    EXPECT_EQ(Json::object(), problems);
    struct Mode {
        const char* file;
        mode_t mode;
    };
    const Mode modes[] = {
        {"/run/raidwatch/state.json", 0644},     {"/run/raidwatch/read.sock", 0666},
        {"/var/lib/raidwatch/spool.db", 0640},   {"/var/lib/raidwatch/spool.db-wal", 0640},
        {"/var/lib/raidwatch/machine-id", 0644},
    };
    for (const Mode& expected : modes) {
        struct stat info {};
        ASSERT_EQ(0, stat((root + expected.file).c_str(), &info)) << expected.file;
        EXPECT_EQ(expected.mode, info.st_mode & 07777u) << expected.file;
    }
    EXPECT_TRUE(room.dir.exists("lib/QELVANTConfig.xml")) << "beside the library";
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
}

// The spool is opened by somebody else for himself alone, so that the start takes its time.
TEST_F(DaemonTest, GivenAHangUpWhileItStartsThenItGoesOnStarting) {
    startAndWait();
    ASSERT_EQ(0, room.stop(SIGTERM)) << room.log();
    std::filesystem::remove(room.dir.file("run/state.json"));
    const int held = open(room.dir.file("state/spool.db.lock").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(held, 0);
    ASSERT_EQ(0, flock(held, LOCK_EX));
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.isUp(); })) << room.log();
    ASSERT_EQ(0, kill(room.pid, SIGHUP));
    ASSERT_EQ(0, flock(held, LOCK_UN));
    (void)close(held);
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.polled() && room.logged("read again"); }))
        << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
}

TEST_F(DaemonTest, GivenOneThatIsStartingThenNothingIsChangedBehindItsBack) {
    startAndWait();
    ASSERT_EQ(0, room.stop(SIGTERM)) << room.log();
    const PidLock starting(room.dir.file("run/raidwatch.pid"));
    EXPECT_EQ(
        "raidwatch is starting or stopping; try again in a moment",
        changeError(
            {{"do", "silence-add"}, {"object", ""}, {"until", 4000000000}, {"reason", "work"}}));
    EXPECT_TRUE(agent().ask({{"do", "silences"}}).empty());
}

// Clients that ask much and read nothing, at both sockets, for as long as they like.
TEST_F(DaemonTest, GivenSlowClientsThenNobodyElseWaitsForThem) {
    startAndWait();
    std::vector<int> slow;
    for (const std::string& name : {std::string("read.sock"), std::string("control.sock")}) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string file = room.dir.file("run/" + name);
        ASSERT_LT(file.size(), sizeof address.sun_path);
        std::memcpy(address.sun_path, file.c_str(), file.size() + 1);
        slow.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(
            0, connect(slow.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
        std::string asked;
        for (int i = 0; i < 1000; ++i) asked += "{\"do\":\"state\"}\n";
        ASSERT_EQ(static_cast<ssize_t>(asked.size()),
                  send(slow.back(), asked.data(), asked.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
        ASSERT_EQ(4, send(slow.back(), "{\"do", 4, MSG_NOSIGNAL | MSG_DONTWAIT));
    }
    pull("sdb");
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kDriveRemoved); })) << room.log();
    EXPECT_TRUE(agent().ask({{"do", "state"}}).is_object());
    EXPECT_EQ(1u, agent().change({{"do", "reload"}})["files"].size());
    EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
    for (const int fd : slow) (void)close(fd);
}

TEST_F(DaemonTest, GivenAConfigurationWithErrorsThenNamesAllOfThem) {
    room.configure("[sink.bad]\ntype = \"pigeon\"\n[monitor2]\nx = 1\n");
    room.start();
    EXPECT_EQ(2, room.waitForEnd());
    EXPECT_TRUE(room.logged("pigeon")) << room.log();
    EXPECT_TRUE(room.logged("monitor2")) << room.log();
}

TEST_F(DaemonTest, GivenASecondOneThenItNamesTheFirstAndEnds) {
    startAndWait();
    const pid_t first = room.pid;
    room.start();
    EXPECT_EQ(1, room.waitForEnd());
    EXPECT_TRUE(room.logged("raidwatch runs already as process " + std::to_string(first)))
        << room.log();
    room.pid = first;
    EXPECT_TRUE(agent().isRunning()) << "the second one took nothing away";
}

TEST_F(DaemonTest, GivenSocketsOfAKilledOneThenReplacesThem) {
    startAndWait();
    ASSERT_EQ(-SIGKILL, room.stop(SIGKILL));
    startAndWait();
    struct stat info {};
    ASSERT_EQ(0, stat(room.dir.file("run/read.sock").c_str(), &info));
    EXPECT_EQ(0666u, info.st_mode & 0777u);
    ASSERT_EQ(0, stat(room.dir.file("run/control.sock").c_str(), &info));
    EXPECT_EQ(0u, info.st_mode & 0007u) << "not for everybody";
}

TEST_F(DaemonTest, GivenAHangUpThenANewSinkIsTold) {
    startAndWait();
    room.configure("[sink.second]\ntype = \"file\"\npath = \"" + room.dir.file("second.jsonl") +
                   "\"\n");
    ASSERT_EQ(0, kill(room.pid, SIGHUP));
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.logged("read again"); })) << room.log();
    pull("sdb");
    EXPECT_TRUE(DaemonRoom::waitFor([&] {
        return room.readFile("second.jsonl").find("EVENT_") != std::string::npos;
    })) << room.log();
}

TEST_F(DaemonTest, GivenAHangUpAndAConfigurationWithErrorsThenTheOldOneStays) {
    startAndWait();
    room.configure("[sink.second]\ntype = \"pigeon\"\n");
    ASSERT_EQ(0, kill(room.pid, SIGHUP));
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        return room.state()["daemon"]["problems"].contains("settings");
    })) << room.log();
    EXPECT_TRUE(room.logged("the old one stays in force")) << room.log();
    EXPECT_TRUE(room.logged("pigeon")) << room.log();
    pull("sdb");
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(kDriveRemoved); }));
    room.configure("");
    EXPECT_EQ(0u, agent().change({{"do", "reload"}})["files"].size() - 1);
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.state()["daemon"]["problems"].empty(); }));
}

TEST_F(DaemonTest, ATestGoesThroughTheWholeRoad) {
    startAndWait();
    const Json span = agent().change({{"do", "test"}, {"sinks", {"out"}}});
    EXPECT_EQ(span["sequence"].get<int>() + 1, span["last"].get<int>()) << "an event and a notice";
    EXPECT_EQ(Json({"out"}), span["sinks"]);
    const auto isThere = [&] {
        for (const Json& record : room.told()) {
            const Json& data = record["data"];
            if (data["origin"] == "test" && data.contains("notice")) {
                return data["notice"]["notice"] == "test";
            }
        }
        return false;
    };
    EXPECT_TRUE(DaemonRoom::waitFor(isThere)) << room.readFile("out.jsonl");
    EXPECT_NE(std::string::npos,
              changeError({{"do", "test"}, {"sinks", {"nobody"}}}).find("configured are: out"));
}

TEST_F(DaemonTest, ADrillIsMarkedAndTouchesNoRealIncident) {
    startAndWait();
    const Json before = agent().ask({{"do", "incidents"}});
    const Json event{{"code", 401},
                     {"severity", 1},
                     {"eventId", "EVENT_TORVEX_PD_STATE_FAILED"},
                     {"text", "Drive failed"},
                     {"objectType", "physicalDrive"},
                     {"location", {{"controllerID", 1}, {"channelID", 0}, {"deviceID", 2}}},
                     {"extra1", "S2"}};
    const Json span = agent().change({{"do", "drill"}, {"name", "n"}, {"events", {event}}});
    EXPECT_LT(span["sequence"], span["last"]);
    EXPECT_EQ(before, agent().ask({{"do", "incidents"}}));
    const Json records =
        agent().ask({{"do", "events"}, {"after", span["sequence"].get<int>() - 1}});
    ASSERT_FALSE(records.empty());
    for (const Json& record : records) EXPECT_EQ("drill", record["data"]["origin"]) << record;
    EXPECT_NE("", changeError({{"do", "drill"}, {"name", "n"}}));
}

TEST_F(DaemonTest, AcknowledgementsAndSilencesAreSignedByWhoAsked) {
    startAndWait();
    pull("sdb");
    Json incidents;
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        incidents = agent().ask({{"do", "incidents"}});
        return !incidents.empty();
    })) << room.log();
    const int id = incidents[0]["id"];
    (void)agent().change({{"do", "ack"}, {"id", id}, {"comment", "on it"}});
    EXPECT_NE(std::string::npos, agent().ask({{"do", "incidents"}})[0].dump().find("on it"));
    (void)agent().change({{"do", "unack"}, {"id", id}});
    EXPECT_EQ(std::string::npos, agent().ask({{"do", "incidents"}})[0].dump().find("on it"));
    EXPECT_NE(std::string::npos,
              changeError({{"do", "ack"}, {"id", 4711}}).find("no open incident 4711"));
    const Json silence = agent().change(
        {{"do", "silence-add"}, {"object", "drive:S1"}, {"until", 4000000000}, {"reason", "work"}});
    EXPECT_EQ(1u, agent().ask({{"do", "silences"}}).size());
    (void)agent().change({{"do", "silence-rm"}, {"id", silence["id"]}});
    EXPECT_TRUE(agent().ask({{"do", "silences"}}).empty());
    EXPECT_NE("", changeError({{"do", "silence-rm"}, {"id", silence["id"]}}));
    EXPECT_NE("", changeError({{"do", "no-such-thing"}}));
}

TEST_F(DaemonTest, GivenNoDaemonThenTheSpoolIsAskedAndTheRestIsRefused) {
    startAndWait();
    pull("sdb");
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return !agent().ask({{"do", "incidents"}}).empty(); }));
    ASSERT_EQ(0, room.stop(SIGTERM));
    const Json incidents = agent().ask({{"do", "incidents"}});
    ASSERT_FALSE(incidents.empty());
    (void)agent().change({{"do", "ack"}, {"id", incidents[0]["id"]}, {"comment", "offline"}});
    EXPECT_NE(std::string::npos, agent().ask({{"do", "incidents"}})[0].dump().find("offline"));
    EXPECT_NE(std::string::npos, changeError({{"do", "test"}}).find("raidwatch is not running"));
}

TEST_F(DaemonTest, OnceComparesTellsAndEnds) {
    room.start({"--once", "--wait", "30"});
    ASSERT_EQ(0, room.waitForEnd()) << room.log();
    EXPECT_TRUE(room.toldCode(kAdapterAdded));
    pull("sda");
    room.start({"--once", "--wait", "30"});
    ASSERT_EQ(0, room.waitForEnd()) << room.log();
    EXPECT_TRUE(room.toldCode(kDriveRemoved)) << "told before it ended";
}

TEST_F(DaemonTest, GivenASinkThatCannotDeliverThenOnceSaysWhoWasNotTold) {
    room.configure("[sink.away]\ntype = \"file\"\npath = \"/proc/nowhere/out.jsonl\"\n");
    room.start({"--once", "--wait", "1"});
    EXPECT_EQ(1, room.waitForEnd());
    EXPECT_TRUE(room.logged("not yet told: away")) << room.log();
    EXPECT_TRUE(room.toldCode(kAdapterAdded)) << "the other sink is not held up";
}

}  // namespace
