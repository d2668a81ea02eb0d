#include "agent/doctor/Doctor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/EngineFolder.h"
#include "agent/FastClock.h"
#include "agent/spool/Spool.h"
#include "agent/state/StateJson.h"
#include "tests/agent/CommandRun.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using Kind = Finding::Kind;

constexpr char kWholeSnapshot[] = "<System version=\"1\"></System>";

// A machine where all is well, until a test breaks something.
class Machine {
public:
    Machine() {
        dir.write("hook", "#!/bin/sh\nexit 0\n");
        EXPECT_EQ(0, chmod(dir.file("hook").c_str(), 0755));
        for (const char* folder : {"state", "run", "engine/qavelogs", "root/sys/class/rtc/rtc0"}) {
            fs::create_directories(dir.file(folder));
        }
        fs::create_symlink(EngineFolder::shippedCatalogue(), dir.file("engine/RaidNLS.properties"));
        dir.write("engine/QELConfig.conf", "qel.eventQueueSize=2000\n");
        dir.write("engine/QELVANTConfig.xml", kWholeSnapshot);
        dir.write("engine/QELVANTConfig.xml.safe", kWholeSnapshot);
        dir.write("root/sys/class/rtc/rtc0/since_epoch", std::to_string(std::time(nullptr)));
        configure("");
    }

    // `more` follows what every test needs.
    void configure(const std::string& more, const std::string& sinks = "") {
        const std::string hook = "[sink.hook]\ntype = \"exec\"\ncommand = [\"" + dir.file("hook") +
                                 "\"]\n[sink.journal]\nenabled = false\n";
        dir.write("raidwatch.toml", "[paths]\nstate = \"" + dir.file("state") + "\"\nrun = \"" +
                                        dir.file("run") + "\"\nengine = \"" + dir.file("engine") +
                                        "\"\n[monitor]\nsource = \"scenario:" QEL_SOURCE_DIR
                                        "/storlib/sources/scenarios/whole-story.json\"\n" +
                                        more + (sinks.empty() ? hook : sinks));
    }

    std::string file(const std::string& name) const { return dir.file(name); }

    Doctor doctor() const {
        return Doctor(checkConfig(SettingsReader(file("raidwatch.toml"), true)), file("root"));
    }

    // The first finding of the topic, worst first.
    Finding find(const std::string& topic) const {
        Finding best;
        best.text = "no finding about " + topic;
        bool any = false;
        for (const Finding& finding : doctor().examine()) {
            if (finding.topic != topic || (any && finding.kind <= best.kind)) continue;
            best = finding;
            any = true;
        }
        return best;
    }

    void expect(Kind kind, const std::string& topic, const std::string& text) const {
        const Finding found = find(topic);
        EXPECT_EQ(text, found.text);
        EXPECT_EQ(static_cast<int>(kind), static_cast<int>(found.kind)) << found.text;
        EXPECT_EQ(kind == Kind::kOk, found.cure.empty()) << found.cure;
    }

    TempDir dir;
};

TEST(Doctor, GivenAHashThatOthersCanReadThenItIsAnAdvice) {
    Machine machine;
    machine.configure("[http]\ntoken_hash = \"$5$salt$" + std::string(43, 'x') + "\"\n");
    ASSERT_EQ(0, chmod(machine.file("raidwatch.toml").c_str(), 0644));
    const Finding found = machine.find("configuration");
    EXPECT_EQ(Kind::kAdvice, found.kind);
    EXPECT_NE(std::string::npos, found.text.find("others can read token_hash")) << found.text;
    EXPECT_EQ("put [http] into a file of conf.d, chmod 600 it", found.cure);
    ASSERT_EQ(0, chmod(machine.file("raidwatch.toml").c_str(), 0600));
    EXPECT_EQ(Kind::kOk, machine.find("configuration").kind);
}

// A daemon as others see it: its lock, its sockets, its state.
class PretendedDaemon {
public:
    PretendedDaemon(const Machine& machine, std::int64_t polledAt,
                    const std::string& pageProblem = "")
        : lock(
              open(machine.file("run/raidwatch.pid").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
        EXPECT_EQ(0, flock(lock, LOCK_EX | LOCK_NB));
        for (const char* name : {"run/read.sock", "run/control.sock"}) {
            fs::remove(machine.file(name));  // of one that was there before
            sockets.push_back(listenAt(machine.file(name)));
        }
        MachineState state;
        state.polledAt = polledAt;
        nlohmann::ordered_json json = stateJson(state);
        json["daemon"] = {{"pages", {"http://127.0.0.1:8627/", "/run/http.sock"}},
                          {"problems", nlohmann::ordered_json::object()}};
        if (!pageProblem.empty()) json["daemon"]["problems"]["http"] = pageProblem;
        machine.dir.write("run/state.json", json.dump());
    }
    ~PretendedDaemon() {
        for (const int fd : sockets) close(fd);
        close(lock);
    }

    static int listenAt(const std::string& file) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, file.c_str(), file.size() + 1);
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(0, bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        EXPECT_EQ(0, listen(fd, 4));
        return fd;
    }

private:
    int lock;
    std::vector<int> sockets;
};

TEST(Doctor, GivenAllIsInPlaceThenNothingNeedsWork) {
    const Machine machine;
    const PretendedDaemon daemon(machine, std::time(nullptr));
    { const Spool spool(machine.file("state/spool.db")); }
    std::vector<std::string> topics;
    for (const Finding& finding : machine.doctor().examine()) {
        EXPECT_NE(Kind::kProblem, finding.kind) << finding.topic << ": " << finding.text;
        topics.push_back(finding.topic);
    }
    EXPECT_EQ((std::vector<std::string>{
                  "configuration", "daemon", "page", "who is told", "sink hook", "storage",
                  "machine lock", "spool", "engine folder", "snapshot", "engine settings",
                  "message texts", "engine logs", "run folder", "free space", "clock", "tools"}),
              topics);
    machine.expect(Kind::kOk, "who is told", "hook");
    machine.expect(Kind::kOk, "snapshot", "complete, and so is its safe copy");
    machine.expect(Kind::kOk, "engine settings", "2000 events can wait");
    machine.expect(Kind::kOk, "spool",
                   machine.file("state/spool.db") + " is sound; records 0 to 0");
    machine.expect(Kind::kOk, "run folder", machine.file("run") + " with both sockets");
}

TEST(Doctor, SaysWhereThePageIsAndWhatKeepsItFromBeingThere) {
    Machine machine;
    {
        const PretendedDaemon daemon(machine, std::time(nullptr));
        machine.expect(Kind::kOk, "page", "http://127.0.0.1:8627/, /run/http.sock");
    }
    {
        const PretendedDaemon daemon(machine, std::time(nullptr), "cannot listen on x");
        machine.expect(Kind::kProblem, "page", "cannot listen on x");
    }
    machine.expect(Kind::kOk, "page", "no finding about page");
    machine.configure("[http]\nlisten = []\n");
    machine.expect(Kind::kOk, "page", "switched off, listen in [http]");
}

TEST(Doctor, GivenAWrongConfigurationThenEachProblemIsAFinding) {
    Machine machine;
    machine.configure("[spool]\nkep = 1\n");
    machine.expect(
        Kind::kProblem, "configuration",
        machine.file("raidwatch.toml") + ":8: [spool] has no key kep; did you mean keep?");
    Doctor doctor = machine.doctor();
    EXPECT_EQ(
        std::vector<std::string>{"nothing is repaired while the configuration is not in order"},
        doctor.repair());
}

TEST(Doctor, GivenOnlyTheJournalThenNobodyWillBeTold) {
    Machine machine;
    machine.configure("", "\n");
    machine.expect(Kind::kProblem, "who is told",
                   "nobody will be told: events only go where people have to look");
    machine.configure("", "[sink.journal]\nenabled = false\n");
    machine.expect(Kind::kProblem, "who is told", "nobody will be told: there is no sink at all");
}

TEST(Doctor, GivenASinkThatCannotDeliverThenSaysWhy) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: others than root get advice instead";
    const Machine machine;
    ASSERT_EQ(0, chmod(machine.file("hook").c_str(), 0757));
    const Finding found = machine.find("configuration");
    const Finding sink = machine.find("sink hook");
    EXPECT_EQ(Kind::kProblem, std::max(found.kind, sink.kind)) << sink.text;
}

TEST(Doctor, GivenDeliveriesThatFailedThenSaysHowManyWaitAndTheLastAnswer) {
    const Machine machine;
    Spool spool(machine.file("state/spool.db"));
    (void)spool.cursor("hook");
    Spool::Batch batch;
    batch.records.resize(2);
    EXPECT_EQ(2, spool.commit(batch));
    Receipt receipt;
    receipt.sink = "hook";
    receipt.sequence = 1;
    receipt.outcome = Receipt::Outcome::kFailed;
    receipt.tries = 3;
    receipt.answer = "connection refused";
    spool.failed("hook", 1, receipt);
    machine.expect(Kind::kProblem, "sink hook",
                   "2 records wait; the last of 3 tries: connection refused");
}

TEST(Doctor, LooksAtTheDaemonAndTheAgeOfItsLastPoll) {
    const Machine machine;
    machine.expect(Kind::kProblem, "daemon", "it does not run: nobody watches");
    {
        const PretendedDaemon daemon(machine, std::time(nullptr) - 1000);
        const Finding found = machine.find("daemon");
        EXPECT_EQ(Kind::kProblem, found.kind);
        EXPECT_EQ(0u, found.text.find("it runs, but its last completed look is 16 min 4"))
            << found.text;
        fs::remove(machine.file("run/read.sock"));
        machine.expect(Kind::kProblem, "daemon", "it has its lock, but does not answer");
        machine.expect(Kind::kProblem, "run folder",
                       machine.file("run/read.sock") + " is missing although the daemon runs");
    }
    fs::remove(machine.file("run/control.sock"));
    const PretendedDaemon starting(machine, 0);
    machine.expect(Kind::kAdvice, "daemon",
                   "it runs, but has not completed a look at the storage yet");
    machine.dir.write("run/state.json", "{");
    EXPECT_EQ(Kind::kProblem, machine.find("daemon").kind);
}

TEST(Doctor, LooksAtTheFilesOfTheEngine) {
    Machine machine;
    machine.dir.write("engine/QELVANTConfig.xml", "<System><Ad");
    machine.expect(Kind::kAdvice, "snapshot",
                   machine.file("engine/QELVANTConfig.xml") + " is not complete");
    machine.dir.write("engine/QELVANTConfig.xml.safe", "<System>");
    machine.expect(
        Kind::kProblem, "snapshot",
        machine.file("engine/QELVANTConfig.xml") + " is not complete, and there is no safe copy");
    fs::remove(machine.file("engine/QELVANTConfig.xml.safe"));
    fs::remove(machine.file("engine/QELVANTConfig.xml"));
    machine.expect(Kind::kOk, "snapshot", "none yet; the first look at the storage makes it");
    machine.dir.write("engine/QELConfig.conf", "");
    machine.expect(Kind::kAdvice, "engine settings",
                   "only 200 events can wait in " + machine.file("engine/QELConfig.conf"));
    machine.dir.write("engine/QELConfig.conf", "agent.alarm");
    EXPECT_NE(Kind::kOk, machine.find("engine settings").kind);
    fs::remove(machine.file("engine/RaidNLS.properties"));
    machine.dir.write("engine/RaidNLS.properties", "agentEventInfAddAdapter=only this\n");
    const Finding texts = machine.find("message texts");
    EXPECT_EQ(Kind::kProblem, texts.kind);
    EXPECT_EQ(0u, texts.text.find(machine.file("engine/RaidNLS.properties") + " lacks texts"))
        << texts.text;
}

TEST(Doctor, LooksAtTheSpool) {
    const Machine machine;
    machine.expect(Kind::kOk, "spool", "none yet; the daemon makes it");
    machine.dir.write("state/spool.db", "this is no database, whatever its name says");
    EXPECT_NE(Kind::kOk, machine.find("spool").kind);
    EXPECT_EQ("this is no database, whatever its name says", machine.dir.read("state/spool.db"))
        << "looking changes nothing";
}

TEST(Doctor, LooksAtTheClock) {
    const Machine machine;
    {
        const FastClock clock(1000000000);
        machine.expect(Kind::kProblem, "clock",
                       "it says Sun Sep  9 01:46:40 2001: times in messages will be wrong");
    }
    machine.dir.write("root/sys/class/rtc/rtc0/since_epoch",
                      std::to_string(std::time(nullptr) - 3 * 86400));
    EXPECT_EQ(Kind::kAdvice, machine.find("clock").kind);
    fs::remove_all(machine.file("root/sys"));
    EXPECT_EQ(Kind::kOk, machine.find("clock").kind);
    Spool spool(machine.file("state/spool.db"));
    Spool::Batch batch;
    batch.records.resize(1);
    (void)spool.commit(batch);
    const FastClock earlier(std::time(nullptr) - 2 * 86400);
    const Finding found = machine.find("clock");
    EXPECT_EQ(Kind::kProblem, found.kind) << found.text;
}

TEST(Doctor, LooksAtTheSource) {
    Machine machine;
    EXPECT_EQ(Kind::kOk, machine.find("storage").kind) << machine.find("storage").text;
    Doctor elsewhere(
        [&] {
            ConfigCheck check = checkConfig(SettingsReader(machine.file("raidwatch.toml"), true));
            check.settings.source = "replay:" + machine.file("nowhere");
            return check;
        }(),
        machine.file("root"));
    bool found = false;
    for (const Finding& finding : elsewhere.examine()) {
        found = found || (finding.topic == "storage" && finding.kind == Kind::kProblem);
    }
    EXPECT_TRUE(found);
}

TEST(Doctor, RepairMakesMissingFoldersAndSaysSo) {
    const Machine machine;
    for (const char* folder : {"state", "run", "engine"}) fs::remove_all(machine.file(folder));
    machine.expect(Kind::kProblem, "spool", "the folder " + machine.file("state") + " is missing");
    machine.expect(Kind::kProblem, "engine folder", machine.file("engine") + "/ is missing");
    machine.expect(Kind::kProblem, "run folder", machine.file("run") + " is missing");
    Doctor doctor = machine.doctor();
    EXPECT_EQ((std::vector<std::string>{"made the folder " + machine.file("state"),
                                        "made the folder " + machine.file("engine"),
                                        "made the folder " + machine.file("run")}),
              doctor.repair());
    EXPECT_EQ(std::vector<std::string>(), doctor.repair()) << "once is enough";
    struct stat info {};
    ASSERT_EQ(0, stat(machine.file("state").c_str(), &info));
    EXPECT_EQ(0750u, info.st_mode & 07777u);
}

TEST(Doctor, RepairClearsAwayWhatADaemonLeftButNothingOfARunningOne) {
    const Machine machine;
    const std::string socket = machine.file("run/read.sock");
    const std::string pid = machine.file("run/raidwatch.pid");
    {
        const PretendedDaemon daemon(machine, 1);
        Doctor doctor = machine.doctor();
        EXPECT_EQ(std::vector<std::string>(), doctor.repair());
        EXPECT_TRUE(fs::exists(socket));
    }
    machine.dir.write("run/raidwatch.pid", "4711\n");
    machine.expect(Kind::kAdvice, "run folder",
                   machine.file("run/control.sock") + " is left over from a daemon that is gone");
    Doctor doctor = machine.doctor();
    EXPECT_EQ(
        (std::vector<std::string>{
            "removed the socket " + machine.file("run/control.sock") + " of a daemon that is gone",
            "removed the socket " + socket + " of a daemon that is gone",
            "emptied " + pid + ", which named a daemon that is gone"}),
        doctor.repair());
    EXPECT_FALSE(fs::exists(socket));
    EXPECT_TRUE(fs::exists(pid));
}

// In a process with semaphores of its own, so that no monitor of this machine is in the way.
TEST(Doctor, RepairFreesAStuckMachineLockOnlyWhileNoDaemonRuns) {
    std::fflush(nullptr);
    const pid_t room = fork();
    ASSERT_NE(-1, room);
    if (room == 0) {
        if (unshare(CLONE_NEWIPC) != 0) _exit(77);
        (void)semget(IPC_PRIVATE, 1, 0600);
        const int set = semget(54321, 1, IPC_CREAT | 0777);
        union {
            int val;
            void* unused;
        } one{};
        one.val = 1;
        (void)semctl(set, 0, SETVAL, one);
        const pid_t holder = fork();
        if (holder == 0) {
            sembuf step{0, -1, 0};
            (void)semop(set, &step, 1);
            (void)raise(SIGKILL);
        }
        int ended = 0;
        (void)waitpid(holder, &ended, 0);

        const Machine machine;
        EXPECT_EQ(Kind::kProblem, machine.find("machine lock").kind);
        {
            const PretendedDaemon daemon(machine, 1);
            Doctor doctor = machine.doctor();
            EXPECT_EQ(std::vector<std::string>{"a daemon runs, so the machine-wide lock is left "
                                               "alone; stop it first"},
                      doctor.repair());
            EXPECT_EQ(0, semctl(set, 0, GETVAL));
        }
        Doctor doctor = machine.doctor();
        const std::vector<std::string> done = doctor.repair();
        EXPECT_EQ("the machine-wide lock was left taken by process " + std::to_string(holder) +
                      ", which is gone; it is free again",
                  done.empty() ? "" : done.back());
        EXPECT_EQ(1, semctl(set, 0, GETVAL));
        EXPECT_EQ(Kind::kOk, machine.find("machine lock").kind);
        fs::remove_all(machine.dir.folder());
        std::fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(room, waitpid(room, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "NOT TESTED: no IPC namespace of its own here";
    EXPECT_EQ(0, WEXITSTATUS(status)) << "failed in the room, see above";
}

TEST(DoctorVerb, SaysTheVerdictFirstAndEndsAccordingly) {
    const Machine machine;
    const std::string config = machine.file("raidwatch.toml");
    const CommandRun bad = runCommand({"doctor", "--config", config});
    EXPECT_EQ(1, bad.exit);
    EXPECT_EQ(0u, bad.out.find("1 thing needs work")) << bad.out;
    EXPECT_NE(std::string::npos, bad.out.find("problem  daemon           it does not run: nobody "
                                              "watches\n" +
                                              std::string(26, ' ') + "-> systemctl start"))
        << bad.out;

    const PretendedDaemon daemon(machine, std::time(nullptr));
    const CommandRun good = runCommand({"doctor", "--fix", "--config", config});
    EXPECT_EQ(0, good.exit) << good.out;
    EXPECT_EQ(0u, good.out.find("did: nothing, there was nothing to repair\nall is well"))
        << good.out;
    const auto json =
        nlohmann::json::parse(runCommand({"doctor", "--json", "--config", config}).out);
    EXPECT_TRUE(json["ok"].get<bool>());
    EXPECT_EQ("configuration", json["findings"][0]["topic"]);
    EXPECT_EQ(2, runCommand({"doctor", "--now"}).exit);
}

}  // namespace
