// Many machines send to one server while the server is killed, stays away for longer than it
// recognises repeats, runs out of room, and while agents are killed. Afterwards the stream and the
// spools are compared: every record of every spool is in the stream, as it was recorded; nothing
// else is; repeats have the id of the record that they repeat.
//
// The bounded form has 20 machines. scripts/fleet-proof runs it with 1,000 and prints what it
// measured:
//
//   RAIDWATCH_FLEET=1000 scripts/fleet-proof build/x64
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <thread>
#include <unordered_map>

#include <nlohmann/json.hpp>

#include "agent/fleet/FleetModule.h"
#include "agent/fleet/FleetNames.h"
#include "agent/spool/RecordJson.h"
#include "agent/spool/Spool.h"
#include "tests/agent/CommandRun.h"
#include "tests/agent/support/NatsServer.h"
#include "tests/agent/support/NetFixture.h"

namespace {

using Json = nlohmann::ordered_json;
using SteadyClock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kBounded = 20;
constexpr int kWindow = 2;  // seconds in which the server recognises a repeat
constexpr int kPerProcess = 125;

int numberOf(const char* name, int otherwise) {
    const char* const wanted = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    return wanted == nullptr ? otherwise : std::atoi(wanted);
}

std::int64_t kilobytes(pid_t pid, const std::string& field) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, field.size() + 1, field + ":") == 0) {
            return std::atoll(line.c_str() + field.size() + 1);
        }
    }
    return 0;
}

double secondsSince(SteadyClock::time_point start) {
    return std::chrono::duration<double>(SteadyClock::now() - start).count();
}

// One process of fleet_agents; its words come on a pipe, and it ends when our side is closed.
class Agents {
public:
    explicit Agents(std::vector<std::string> argumentsIN) : arguments(std::move(argumentsIN)) {
        arguments.insert(arguments.begin(), QEL_BINARY_DIR "/bin/fleet_agents");
    }
    ~Agents() { kill(); }
    Agents(const Agents&) = delete;
    Agents& operator=(const Agents&) = delete;

    void start(const std::vector<std::string>& more) {
        int in[2];
        int out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        std::vector<std::string> words = arguments;
        words.insert(words.end(), more.begin(), more.end());
        std::vector<char*> argv;
        for (std::string& word : words) argv.push_back(word.data());
        argv.push_back(nullptr);
        pid = fork();
        if (pid < 0) throw std::runtime_error("no process");
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(in[0], 0);
            dup2(out[1], 1);
            execv(argv.front(), argv.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        toThem = in[1];
        fromThem = out[0];
        fcntl(fromThem, F_SETFL, O_NONBLOCK);
        said.clear();
    }
    void go() const { ASSERT_EQ(1, write(toThem, "\n", 1)); }
    bool hasSaid(const std::string& line) {
        char bytes[256];
        for (ssize_t size = 0; (size = read(fromThem, bytes, sizeof bytes)) > 0;) {
            said.append(bytes, static_cast<std::size_t>(size));
        }
        return said.find(line + "\n") != std::string::npos;
    }
    void kill() {
        if (pid <= 0) return;
        ::kill(pid, SIGKILL);
        while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
        close(toThem);
        close(fromThem);
        pid = 0;
    }
    pid_t process() const { return pid; }

private:
    std::vector<std::string> arguments;
    pid_t pid = 0;
    int toThem = -1;
    int fromThem = -1;
    std::string said;
};

class FleetProofTest : public testing::Test {
protected:
    void SetUp() override {
        if (!NatsServer::isInstalled()) GTEST_SKIP() << NatsServer::whyNot();
    }

    // What the engine raises in the shipped story of a failed drive, played by the real program.
    std::string events() const {
        const std::string file = dir.file("events.jsonl");
        const std::string text = net::outputOf(
            std::string(QEL_RAIDWATCH) + " scenario play --json " + QEL_SOURCE_DIR +
            "/storlib/sources/scenarios/drive-fails-hot-spare-takes-over.json 2>/dev/null");
        (void)dir.write("events.jsonl", text);
        EXPECT_GT(std::count(text.begin(), text.end(), '\n'), 5);
        return file;
    }
    void makeAgents(int rounds) {
        agents.clear();
        const std::string file = events();
        const int parts = std::max(2, (machines + kPerProcess - 1) / kPerProcess);
        for (int part = 0; part < parts; ++part) {
            const int first = machines * part / parts;
            const int count = machines * (part + 1) / parts - first;
            agents.push_back(std::make_unique<Agents>(std::vector<std::string>{
                dir.file("fleet"), file, std::to_string(first), std::to_string(count), server.url(),
                std::to_string(rounds), "--window", std::to_string(kWindow), "--threads", "4",
                "--beat", "5", "--exposed", "97"}));
        }
    }
    bool waitForAll(const std::string& line, int seconds) {
        const auto end = SteadyClock::now() + std::chrono::seconds(seconds);
        while (SteadyClock::now() < end) {
            if (std::all_of(agents.begin(), agents.end(),
                            [&](const auto& each) { return each->hasSaid(line); })) {
                return true;
            }
            std::this_thread::sleep_for(milliseconds(20));
        }
        return false;
    }
    static void wait(int ms) { std::this_thread::sleep_for(milliseconds(ms)); }
    void say(const std::string& line) const {
        if (machines != kBounded) std::printf("%s\n", line.c_str());
        (void)std::fflush(stdout);
    }
    void sayMemory(const char* when) const {
        std::int64_t ours = 0;
        for (const auto& each : agents) ours += kilobytes(each->process(), "VmRSS");
        std::ostringstream line;
        line << when << ": server " << kilobytes(server.process(), "VmRSS") / 1024
             << " MB (highest " << kilobytes(server.process(), "VmHWM") / 1024 << " MB), agents "
             << ours / 1024 << " MB in " << agents.size() << " processes, " << ours / machines
             << " KB for each machine";
        say(line.str());
    }
    std::uintmax_t storeSize() const {
        std::uintmax_t size = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(
                 dir.file("store"), std::filesystem::directory_options::skip_permission_denied)) {
            std::error_code gone;
            if (entry.is_regular_file(gone)) size += entry.file_size(gone);
        }
        return size;
    }

    void prefillAndDrain(int rounds);
    void faults(int rounds);
    void killServer(int away);
    void compare();

    const int machines = numberOf("RAIDWATCH_FLEET", kBounded);
    const bool big = machines != kBounded;
    TempDir dir;
    NatsServer server{dir.folder()};
    std::vector<std::unique_ptr<Agents>> agents;
};

void FleetProofTest::killServer(int away) {
    server.kill();
    wait(away);
    ASSERT_TRUE(server.start()) << server.log();
}

// All records wait in the spools; how fast do they get into the stream?
void FleetProofTest::prefillAndDrain(int rounds) {
    makeAgents(rounds);
    for (const auto& each : agents) each->start({"--prefill"});
    ASSERT_TRUE(waitForAll("filled", 1200));
    sayMemory("before a connection");
    const auto start = SteadyClock::now();
    for (const auto& each : agents) each->go();
    ASSERT_TRUE(waitForAll("sent", 1800)) << server.log();
    const double seconds = secondsSince(start);
    std::int64_t count = 0;
    for (int i = 0; i < machines; ++i) {
        count +=
            Spool(dir.file("fleet/m" + std::to_string(i) + "/spool.db"), Spool::Access::kReadOnly)
                .lastSequence();
    }
    std::ostringstream line;
    line << "drained " << count << " records of " << machines << " machines in " << seconds
         << " s: " << std::lround(static_cast<double>(count) / seconds) << " per second";
    say(line.str());
    sayMemory("all connected");
}

// While the machines go on recording.
void FleetProofTest::faults(int rounds) {
    const int scale = big ? 3 : 1;
    makeAgents(rounds);  // the ones before are killed as they stand
    for (const auto& each : agents) each->start({"--pause", big ? "2000" : "100"});
    wait(300 * scale);
    for (int i = 0; i < 3; ++i) {
        ASSERT_NO_FATAL_FAILURE(killServer(100));
        wait(400 * scale);
    }
    agents.front()->kill();
    agents.front()->start({"--pause", "50"});
    wait(200 * scale);
    ASSERT_NO_FATAL_FAILURE(killServer((kWindow + 2) * 1000));  // repeats are stored now
    agents.back()->kill();
    wait(300 * scale);
    agents.back()->start({"--pause", "50"});
    // No room: what the store has now and a little. Then room again.
    server.kill();
    ASSERT_TRUE(server.start("  max_file_store: " + std::to_string(storeSize() + 65536) + "\n"))
        << server.log();
    wait(2000 * scale);
    EXPECT_FALSE(waitForAll("sent", 1)) << "there was room enough";
    ASSERT_NO_FATAL_FAILURE(killServer(100));
    ASSERT_TRUE(waitForAll("sent", 1800)) << server.log();
}

void FleetProofTest::compare() {
    FleetLink::Settings settings;
    settings.urls = {server.url()};
    settings.timeoutMs = 60000;
    const auto link = openFleetLink(settings);
    ASSERT_EQ("", link->connect());
    std::unordered_map<std::string, std::vector<std::string>> stored;  // bodies by id
    std::size_t messages = 0;
    const auto start = SteadyClock::now();
    ASSERT_EQ("", link->readStream("RAIDWATCH", "raidwatch.v1.>", 0, false, [&](const auto* sent) {
        if (sent == nullptr) return true;
        ++messages;
        stored[sent->id].push_back(sent->body);
        return true;
    }));
    const double seconds = secondsSince(start);

    std::size_t records = 0;
    std::size_t missing = 0;
    std::size_t different = 0;
    std::map<std::string, int> sample;
    for (int i = 0; i < machines; ++i) {
        const Spool spool(dir.file("fleet/m" + std::to_string(i) + "/spool.db"),
                          Spool::Access::kReadOnly);
        for (std::int64_t after = 0;;) {
            const std::vector<Record> page = spool.read(after, 1000);
            if (page.empty()) break;
            after = page.back().sequence;
            for (const Record& record : page) {
                ++records;
                const std::string id = spool.idOf(record.sequence);
                const auto found = stored.find(id);
                if (found == stored.end()) {
                    if (++missing <= 5) ADD_FAILURE() << "not in the stream: " << id;
                    continue;
                }
                const Json expected = recordObject(record, id);
                for (const std::string& body : found->second) {
                    Json json = Json::parse(body);
                    json["data"].erase("host");
                    json["data"].erase("drive");
                    if (json != expected && ++different <= 5) {
                        ADD_FAILURE() << body << "\nis not " << expected;
                    }
                }
            }
        }
    }
    EXPECT_EQ(0u, missing);
    EXPECT_EQ(0u, different);
    EXPECT_EQ(records, stored.size()) << "the stream has records that no spool has";
    EXPECT_GT(records, static_cast<std::size_t>(machines) * 10);
    std::ostringstream line;
    line << "compared: " << records << " records in the spools, " << messages
         << " messages in the stream, " << messages - stored.size() << " repeats, " << missing
         << " missing; read in " << seconds << " s";
    say(line.str());
}

TEST_F(FleetProofTest, GivenKillsOutagesAndNoRoomThenEveryRecordOfEverySpoolIsInTheStream) {
    ASSERT_TRUE(server.start()) << server.log();
    const int first = big ? 10 : 3;
    ASSERT_NO_FATAL_FAILURE(prefillAndDrain(first));
    ASSERT_NO_FATAL_FAILURE(faults(first + (big ? 30 : 40)));
    ASSERT_NO_FATAL_FAILURE(compare());
    sayMemory("at the end");
    // Everybody is heard, and the exposed ones come first.
    CommandRun status;
    const auto end = SteadyClock::now() + std::chrono::seconds(60);
    do {
        status = runCommand({"fleet", "status", "--server", server.url(), "--limit", "8"});
    } while (status.out.find("silent") != std::string::npos && SteadyClock::now() < end);
    EXPECT_EQ(2, status.exit) << status.failure;
    EXPECT_NE(std::string::npos,
              status.out.find("CRITICAL: " + std::to_string(machines) + " machines: "))
        << status.out;
    say(status.out);
    say(runCommand({"fleet", "top", "--server", server.url(), "--limit", "5"}).out);
}

}  // namespace
