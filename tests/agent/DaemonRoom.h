// DaemonRoom: the real `raidwatch run` as a process of its own, over a machine that is a folder,
// with every folder of its own and a file sink.
//
//   DaemonRoom room;
//   room.start();
//   room.machine.add("x /sys/block/sdb");            // somebody pulls a drive
//   ASSERT_TRUE(room.waitFor([&] { return room.told().size() == 3; }));
//   EXPECT_EQ(0, room.stop(SIGTERM));
#ifndef TESTS_AGENT_DAEMONROOM_H
#define TESTS_AGENT_DAEMONROOM_H

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/settings/AgentSettings.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/SysTree.h"
#include "tests/support/TempDir.h"

class DaemonRoom {
public:
    using Json = nlohmann::ordered_json;

    explicit DaemonRoom(const std::string& tree = LinuxMachine::drives()) : machine(tree) {
        settings.stateFolder = dir.file("state");
        settings.runFolder = dir.file("run");
        settings.engineFolder = dir.file("engine");
        settings.controlGroup = "";
        settings.source = "linux:" + machine.folder();
        configure("");
    }
    ~DaemonRoom() {
        if (pid > 0) (void)stop(SIGKILL);
    }
    DaemonRoom(const DaemonRoom&) = delete;
    DaemonRoom& operator=(const DaemonRoom&) = delete;

    // The configuration of all tests, and `more`.
    void configure(const std::string& more) {
        config = dir.write(
            "raidwatch.toml",
            "[monitor]\nsource = \"" + settings.source + "\"\n[paths]\nstate = \"" +
                settings.stateFolder + "\"\nrun = \"" + settings.runFolder + "\"\nengine = \"" +
                settings.engineFolder +
                "\"\n[sink.journal]\nenabled = false\n[sink.out]\ntype = "
                "\"file\"\npath = \"" +
                dir.file("out.jsonl") +
                "\"\nmax_size = \"1T\"\nsend = \"both\"\n[http]\nlisten = " + listen + "\n" + more);
        (void)chmod(config.c_str(), 0600);
    }

    void start(const std::vector<std::string>& more = {}) {
        std::vector<std::string> words = {QEL_RAIDWATCH, "run", "--config", config, "--pace", pace};
        words.insert(words.end(), more.begin(), more.end());
        pid = spawn(words, "log");
    }

    // Any program; what it prints goes to the end of a file of the room.
    pid_t spawn(std::vector<std::string> words, const std::string& output) const {
        std::vector<char*> argv;
        for (std::string& word : words) argv.push_back(word.data());
        argv.push_back(nullptr);
        const std::string log = dir.file(output);
        const pid_t child = fork();
        if (child != 0) return child;
        // Only calls that are safe after fork() of a program with threads.
        sigset_t none;
        sigemptyset(&none);
        (void)sigprocmask(SIG_SETMASK, &none, nullptr);
        const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        (void)dup2(out, STDOUT_FILENO);
        (void)dup2(out, STDERR_FILENO);
        (void)execv(argv[0], argv.data());
        _exit(127);
    }

    // Sends the signal and waits for the end: the exit code, or -signal.
    int stop(int signal) {
        (void)kill(pid, signal);
        return waitForEnd();
    }
    int waitForEnd() { return waitForEndOf(std::exchange(pid, -1)); }
    static int waitForEndOf(pid_t process) {
        int status = 0;
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    static bool waitFor(const std::function<bool()>& done,
                        std::chrono::seconds limit = std::chrono::seconds(30)) {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!done()) {
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    // What the file sink has, whole lines only.
    std::vector<Json> told() const {
        std::vector<Json> records;
        std::istringstream lines(readFile("out.jsonl"));
        std::string line;
        while (std::getline(lines, line) && !lines.eof()) {
            records.push_back(Json::parse(line, nullptr, false));
        }
        return records;
    }
    bool toldCode(int code) const {
        for (const Json& record : told()) {
            if (record["data"].contains("event") && record["data"]["event"]["code"] == code) {
                return true;
            }
        }
        return false;
    }
    Json state() const { return Json::parse(readFile("run/state.json"), nullptr, false); }
    // The process has the lock, and therefore takes signals.
    bool isUp() const { return readFile("run/raidwatch.pid") == std::to_string(pid) + "\n"; }
    std::string log() const { return readFile("log"); }
    bool logged(const std::string& part) const { return log().find(part) != std::string::npos; }
    bool polled() const {
        const Json seen = state();
        return seen.is_object() && seen.value("polledAt", 0LL) != 0;
    }

    std::string readFile(const std::string& name) const {
        std::ifstream in(dir.file(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    TempDir dir;
    SysTree machine;
    AgentSettings settings;
    std::string config;
    std::string pace = "0.002";
    std::string listen = "[]";  // of the web server
    pid_t pid = -1;
};

#endif  // TESTS_AGENT_DAEMONROOM_H
