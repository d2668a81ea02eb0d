// Many machines send to one server while the server is killed, stays away for longer than it
// recognises repeats, runs out of room, and while agents are killed. Afterwards the stream and the
// spools are compared: every record of every spool is in the stream, as it was recorded; nothing
// else is; repeats have the id of the record that they repeat.
//
// And a real Prometheus server reads the metrics of all machines, with the shipped rules, and tells
// a real Alertmanager.
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
#include <functional>
#include <memory>
#include <sstream>
#include <thread>
#include <unordered_map>

#include <nlohmann/json.hpp>

#include "agent/fleet/FleetBeat.h"
#include "agent/fleet/FleetModule.h"
#include "agent/fleet/FleetNames.h"
#include "agent/fleet/FleetSummary.h"
#include "agent/spool/RecordJson.h"
#include "agent/spool/Spool.h"
#include "tests/agent/CommandRun.h"
#include "tests/agent/support/NatsServer.h"
#include "tests/agent/support/NetFixture.h"
#include "tests/agent/support/PrometheusServer.h"

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
        listen();
        return said.find(line + "\n") != std::string::npos;
    }
    // What follows `word` in its line; "" when it was not said yet.
    std::string saidAfter(const std::string& word) {
        listen();
        const std::size_t at = said.find(word);
        const std::size_t end = at == std::string::npos ? at : said.find('\n', at);
        if (end == std::string::npos) return std::string();
        return said.substr(at + word.size(), end - at - word.size());
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
    void listen() {
        char bytes[256];
        for (ssize_t size = 0; (size = read(fromThem, bytes, sizeof bytes)) > 0;) {
            said.append(bytes, static_cast<std::size_t>(size));
        }
    }

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
    int parts() const { return std::max(2, (machines + kPerProcess - 1) / kPerProcess); }
    int firstOf(int part) const { return machines * part / parts(); }
    void makeAgents(int rounds) {
        agents.clear();
        const std::string file = events();
        for (int part = 0; part < parts(); ++part) {
            const int first = firstOf(part);
            const int count = firstOf(part + 1) - first;
            agents.push_back(std::make_unique<Agents>(std::vector<std::string>{
                dir.file("fleet"), file, std::to_string(first), std::to_string(count), server.url(),
                std::to_string(rounds), "--window", std::to_string(kWindow), "--threads", "4",
                "--beat", "5", "--exposed", std::to_string(exposedEvery)}));
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
    void killBeforeAcknowledgement();
    using Stored = std::unordered_map<std::string, std::vector<std::string>>;
    struct Difference {
        std::size_t records = 0;
        std::size_t missing = 0;
        std::size_t different = 0;
    };
    void readStream(Stored& stored) const;
    static void compareWith(const Stored& stored, const Spool& spool, std::int64_t end,
                            Difference& all);
    void sayUnknown(const Stored& stored) const;
    static std::int64_t cursorOf(const Spool& spool) {
        for (const SinkStatus& sink : spool.sinkStatus()) {
            if (sink.sink == "fleet") return sink.cursor;
        }
        return -1;
    }
    std::string spoolOf(int machine) const {
        return dir.file("fleet/m" + std::to_string(machine) + "/spool.db");
    }
    void compare();
    void sayStatus();

    const int machines = numberOf("RAIDWATCH_FLEET", kBounded);
    const bool big = machines != kBounded;
    const int exposedEvery = machines >= 500 ? 97 : 7;
    TempDir dir;
    NatsServer server{dir.folder()};
    std::vector<std::unique_ptr<Agents>> agents;
};

void FleetProofTest::killServer(int away) {
    server.kill();
    wait(away);
    ASSERT_TRUE(server.start()) << server.log();
}

// Killed while it works on what all machines have sent meanwhile: some of it is stored, and nobody
// was told. It comes back when it no longer knows the ids, so that is stored twice.
void FleetProofTest::killBeforeAcknowledgement() {
    ASSERT_EQ(0, ::kill(server.process(), SIGSTOP));
    wait(big ? 3000 : 500);
    ASSERT_EQ(0, ::kill(server.process(), SIGCONT));
    wait(big ? 50 : 3);
    ASSERT_NO_FATAL_FAILURE(killServer((kWindow + 2) * 1000));
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
        count += Spool(spoolOf(i), Spool::Access::kReadOnly).lastSequence();
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
    for (int i = 0; i < (big ? 4 : 1); ++i) ASSERT_NO_FATAL_FAILURE(killBeforeAcknowledgement());
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

// Bodies by id. The stream keeps all, so its positions have no gap.
void FleetProofTest::readStream(Stored& stored) const {
    FleetLink::Settings settings;
    settings.urls = {server.url()};
    settings.timeoutMs = 60000;
    const auto link = openFleetLink(settings);
    ASSERT_EQ("", link->connect());
    std::uint64_t last = 0;
    const auto take = [&](const FleetLink::StreamMessage* sent) {
        if (sent == nullptr) return true;
        stored[sent->id].push_back(sent->body);
        if (sent->position != last + 1) {
            ADD_FAILURE() << "position " << sent->position << " behind " << last;
        }
        last = sent->position;
        return true;
    };
    ASSERT_EQ("", link->readStream("RAIDWATCH", "raidwatch.v1.>", 0, false, take));
    say("the last position is " + std::to_string(last));
}

void FleetProofTest::compareWith(const Stored& stored, const Spool& spool, std::int64_t end,
                                 Difference& all) {
    for (std::int64_t after = 0; after < end;) {
        const std::vector<Record> page = spool.read(after, 1000);
        if (page.empty()) return;
        after = page.back().sequence;
        for (const Record& record : page) {
            if (record.sequence > end) return;
            ++all.records;
            const std::string id = spool.idOf(record.sequence);
            const auto found = stored.find(id);
            if (found == stored.end()) {
                if (++all.missing > 5) continue;
                ADD_FAILURE() << "not in the stream: " << id;
                for (const Receipt& receipt : spool.receipts(record.sequence)) {
                    ADD_FAILURE() << receipt.sink << " after " << receipt.tries
                                  << " tries: " << receipt.answer;
                }
                continue;
            }
            const Json expected = recordObject(record, id);
            for (const std::string& body : found->second) {
                Json json = Json::parse(body);
                json["data"].erase("host");
                json["data"].erase("drive");
                if (json == expected) continue;
                if (++all.different <= 5) ADD_FAILURE() << body << "\nis not " << expected;
            }
        }
    }
}

// Ids that no spool has given: said apart (NatsSink), or of nobody.
void FleetProofTest::sayUnknown(const Stored& stored) const {
    std::unordered_map<std::string, std::int64_t> lasts;
    for (int i = 0; i < machines; ++i) {
        const Spool spool(spoolOf(i), Spool::Access::kReadOnly);
        lasts[spool.machineId()] = spool.lastSequence();
    }
    int unknown = 0;
    for (const auto& [id, bodies] : stored) {
        const std::size_t colon = id.find(':');
        const auto machine = lasts.find(id.substr(0, colon));
        const bool isOurs = machine != lasts.end() && id.rfind(':') == colon &&
                            std::atoll(id.c_str() + colon + 1) <= machine->second;
        if (!isOurs && ++unknown <= 5)
            ADD_FAILURE() << "nobody's: " << id << "\n" << bodies.front();
    }
    EXPECT_EQ(0, unknown);
}

// What a machine records while the stream is read, or later, is not in what was read.
void FleetProofTest::compare() {
    std::vector<std::int64_t> ends;
    for (int i = 0; i < machines; ++i) {
        const Spool spool(spoolOf(i), Spool::Access::kReadOnly);
        ends.push_back(spool.lastSequence());
        EXPECT_EQ(ends.back(), cursorOf(spool)) << "machine " << i << " has not sent all";
    }
    Stored stored;
    const auto start = SteadyClock::now();
    ASSERT_NO_FATAL_FAILURE(readStream(stored));
    const double seconds = secondsSince(start);
    std::size_t messages = 0;
    for (const auto& [id, bodies] : stored) messages += bodies.size();

    Difference all;
    for (int i = 0; i < machines; ++i) {
        compareWith(stored, Spool(spoolOf(i), Spool::Access::kReadOnly),
                    ends[static_cast<std::size_t>(i)], all);
    }
    sayUnknown(stored);
    EXPECT_EQ(0u, all.missing);
    EXPECT_EQ(0u, all.different);
    EXPECT_LE(all.records, stored.size());
    EXPECT_GT(all.records, static_cast<std::size_t>(machines) * 10);
    if (big) {
        EXPECT_GT(messages, stored.size()) << "no kill came between storing and telling";
    }
    std::ostringstream line;
    line << "compared: " << all.records << " records in the spools, " << messages
         << " messages in the stream, " << messages - stored.size() << " repeats, " << all.missing
         << " missing; read in " << seconds << " s; the store has " << storeSize() / 1000000
         << " MB";
    say(line.str());
}

// Everybody is heard, and the exposed ones come first.
void FleetProofTest::sayStatus() {
    CommandRun status;
    double seconds = 0;
    const auto end = SteadyClock::now() + std::chrono::seconds(60);
    do {
        const auto start = SteadyClock::now();
        status = runCommand({"fleet", "status", "--server", server.url(), "--limit", "4"});
        seconds = secondsSince(start);
    } while (status.out.find("silent") != std::string::npos && SteadyClock::now() < end);
    EXPECT_EQ(2, status.exit) << status.failure;
    const std::string all = std::to_string(machines) + " machines: ";
    EXPECT_EQ(0u, status.out.find("CRITICAL: " + all)) << status.out;
    EXPECT_EQ(std::string::npos, status.out.find("silent")) << status.out;
    EXPECT_EQ(std::string::npos, status.out.find("used twice")) << status.out;
    say("fleet status, in " + std::to_string(seconds) + " s:\n" + status.out);
    const CommandRun top = runCommand({"fleet", "top", "--server", server.url(), "--limit", "5"});
    EXPECT_EQ(0, top.exit) << top.failure;
    EXPECT_NE(std::string::npos, top.out.find("md0")) << top.out << top.failure;
    say(top.out);
}

TEST_F(FleetProofTest, GivenKillsOutagesAndNoRoomThenEveryRecordOfEverySpoolIsInTheStream) {
    ASSERT_TRUE(server.start()) << server.log();
    const int first = big ? 10 : 3;
    ASSERT_NO_FATAL_FAILURE(prefillAndDrain(first));
    ASSERT_NO_FATAL_FAILURE(faults(first + (big ? 30 : 40)));
    ASSERT_NO_FATAL_FAILURE(compare());
    sayMemory("at the end");
    ASSERT_NO_FATAL_FAILURE(sayStatus());
}

// --- who reads ---

// A fleet that is larger than what this machine could simulate: what its machines would have
// written is written for them, and the real program reads it.
class FleetReaderTest : public FleetProofTest {
protected:
    struct Reading {
        int exit = -1;
        double seconds = 0;
        std::int64_t kilobytes = 0;  // of memory, the most
        std::string out;
    };

    static constexpr int kErrors = 3;  // of each machine

    static std::string idOf(int number) {
        char id[40];
        std::snprintf(id, sizeof id, "%08x-0000-4000-8000-1234567890ab", number);
        return id;
    }
    FleetLink::Message stateOf(int number) const {
        FleetSummary summary;
        summary.host = "stor-" + std::to_string(number);
        summary.level = number % 100 == 0 ? Verdict::kCritical : Verdict::kOk;
        summary.sentence = "1 array degraded: md0 survives no further drive failure";
        for (int i = 0; i < 3; ++i) {
            FleetSummary::Array array;
            array.name = "md" + std::to_string(i);
            array.level = "RAID 6";
            array.state = "degraded";
            array.devices = 8;
            array.fullSurvives = 2;
            array.exposedSince = number % 100 == 0 ? std::time(nullptr) - number : 0;
            summary.arrays.push_back(array);
        }
        summary.drives = 24;
        for (const char* firmware : {"A7", "B1"}) {
            summary.models.push_back({"KOVA", "PQ K500", firmware, 12});
        }
        return {"$KV.RAIDWATCH_STATE." + idOf(number), "", {}, summary.json()};
    }
    FleetLink::Message beatOf(int number) const {
        FleetBeat beat;
        beat.machine = idOf(number);
        beat.instance = "one";
        beat.host = "stor-" + std::to_string(number);
        beat.polledAt = std::time(nullptr);
        return {"$KV.RAIDWATCH_ALIVE." + idOf(number) + ".alive", "", {}, beat.json()};
    }
    FleetLink::Message errorOf(int number, int sequence) const {
        const FleetNames names(FleetNames::kDefaultStream, FleetNames::kDefaultSubject);
        Record record = net::eventRecord();
        record.sequence = sequence;
        record.event.timeStamp = std::time(nullptr);
        const std::string id = idOf(number) + ":" + std::to_string(sequence);
        Json json = recordObject(record, id);
        json["data"]["host"] = "stor-" + std::to_string(number);
        json["data"]["drive"] = {
            {"vendor", "KOVA"},
            {"model", "PQ K500"},
            {"firmware", "A7"},
            {"serial", "S" + std::to_string(number) + "-" + std::to_string(sequence)}};
        return {names.subject(idOf(number), record), id, {}, json.dump()};
    }
    void fill(int count) const {
        FleetLink::Settings settings;
        settings.urls = {server.url()};
        const auto link = openFleetLink(settings);
        FleetLink::Plan plan;
        plan.stream = "RAIDWATCH";
        plan.subjects = {"raidwatch.v1.>"};
        ASSERT_EQ("", link->makeStream(plan));
        for (const char* bucket : {"RAIDWATCH_STATE", "RAIDWATCH_ALIVE"}) {
            plan.stream = bucket;
            ASSERT_EQ("", link->makeBucket(plan));
        }
        std::vector<FleetLink::Message> messages;
        for (int i = 0; i < count; ++i) {
            messages.push_back(stateOf(i));
            messages.push_back(beatOf(i));
            for (int n = 1; n <= kErrors; ++n) messages.push_back(errorOf(i, n));
            if (messages.size() < 500 && i + 1 < count) continue;
            for (const FleetLink::Answer& answer : link->publish(messages)) {
                ASSERT_EQ(FleetLink::Answer::Kind::kStored, answer.kind) << answer.text;
            }
            messages.clear();
        }
    }
    // Runs the program itself: its memory is its own.
    Reading read(std::vector<std::string> words) const {
        words.insert(words.begin(), {QEL_RAIDWATCH, "fleet"});
        words.insert(words.end(), {"--server", server.url()});
        std::vector<char*> argv;
        for (std::string& word : words) argv.push_back(word.data());
        argv.push_back(nullptr);
        const std::string file = dir.file("out");
        Reading reading;
        const auto start = SteadyClock::now();
        const pid_t pid = fork();
        if (pid == 0) {
            const int out = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            (void)dup2(out, STDOUT_FILENO);
            (void)execv(argv[0], argv.data());
            _exit(127);
        }
        // What the kernel counts for us in the end would begin with our own memory, before exec.
        int status = 0;
        while (waitpid(pid, &status, WNOHANG) == 0) {
            const std::int64_t now = kilobytes(pid, "VmHWM");
            if (now != 0) reading.kilobytes = now;
            wait(1);
        }
        reading.exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        reading.seconds = secondsSince(start);
        reading.out = dir.read("out");
        return reading;
    }
    void sayReading(const std::string& words, int count, const Reading& reading) const {
        std::ostringstream line;
        line << "fleet " << words << " of " << count << " machines: " << reading.seconds << " s, "
             << reading.kilobytes / 1024 << " MB";
        say(line.str());
    }
};

TEST_F(FleetReaderTest, GivenALargeFleetThenTheReaderStaysSmall) {
    ASSERT_TRUE(server.start()) << server.log();
    const int count = machines * 10;
    ASSERT_NO_FATAL_FAILURE(fill(count));
    const std::string all = std::to_string(count);
    const Reading status = read({"status", "--limit", "1"});
    EXPECT_EQ(2, status.exit);
    EXPECT_EQ(0u, status.out.find("CRITICAL: " + all + " machines: " + std::to_string(count / 100) +
                                  " critical"))
        << status.out;
    EXPECT_NE(std::string::npos,
              status.out.find(std::to_string(kErrors * count) + " failed on " + all + " machines"))
        << status.out;
    sayReading("status", count, status);
    const Reading top = read({"top", "--limit", "1"});
    EXPECT_EQ(0, top.exit);
    sayReading("top", count, top);
    const Reading events = read({"events"});
    EXPECT_EQ(0, events.exit);
    EXPECT_EQ(kErrors * count, std::count(events.out.begin(), events.out.end(), '\n'));
    sayReading("events", count, events);
    if (!kPlainBuild) return;
    // The program, and then what it keeps of each machine and of each error.
    const std::int64_t limit = 60000 + count * 20;
    for (const Reading& each : {status, top, events}) EXPECT_LT(each.kilobytes, limit);
}

// --- metrics ---

// Prometheus, Alertmanager and whoever is told by it.
class FleetMetricsTest : public FleetProofTest {
protected:
    void SetUp() override {
        FleetProofTest::SetUp();
        if (IsSkipped()) return;
        const std::string why = whyWithout(kPrometheus);
        if (!why.empty()) GTEST_SKIP() << why;
        if (access(kAlertmanager, X_OK) != 0) {
            GTEST_SKIP() << "NOT TESTED: no " << kAlertmanager
                         << "; install prometheus-alertmanager";
        }
        ASSERT_TRUE(receiver.up()) << receiver.whyNot();
        (void)dir.write("alertmanager.yml",
                        "route: {receiver: hook, group_by: [alertname], group_wait: " +
                            std::string(big ? "30s" : "2s") +
                            ", group_interval: 1s}\nreceivers:\n- name: hook\n  webhook_configs: "
                            "[{url: \"http://127.0.0.1:" +
                            receiver.word() + "/am\"}]\n");
        alertmanager = std::make_unique<ServerProcess>(
            std::vector<std::string>{kAlertmanager, "--config.file=" + dir.file("alertmanager.yml"),
                                     "--storage.path=" + dir.file("alerts"),
                                     "--web.listen-address=127.0.0.1:0",
                                     "--cluster.listen-address=", "--log.level=info"},
            "msg=\"Listening on\" address=127.0.0.1:");
        ASSERT_TRUE(alertmanager->up()) << alertmanager->whyNot();
    }

    void startAgents() {
        makeAgents(2);
        for (const auto& each : agents) each->start({"--prefill", "--metrics"});
        ASSERT_TRUE(waitForAll("filled", 600));
        for (const auto& each : agents) each->go();
        ASSERT_TRUE(waitForAll("sent", 600)) << server.log();
        writeTargets();
    }
    // One target for each machine. Prometheus looks again when the file is replaced.
    void writeTargets() const {
        nlohmann::json targets = nlohmann::json::array();
        for (int part = 0; part < parts(); ++part) {
            const std::string port = agents[static_cast<std::size_t>(part)]->saidAfter("metrics ");
            for (int i = firstOf(part); i < firstOf(part + 1); ++i) {
                char name[32];
                std::snprintf(name, sizeof name, "stor-%04d", i);
                targets.push_back({{"targets", {"127.0.0.1:" + port}},
                                   {"labels",
                                    {{"__metrics_path__", "/m" + std::to_string(i) + "/metrics"},
                                     {"instance", name}}}});
            }
        }
        (void)dir.write("targets.json.new", targets.dump());
        std::filesystem::rename(dir.file("targets.json.new"), dir.file("targets.json"));
    }
    // Alerts of that name at the Alertmanager now.
    int alertsCalled(const std::string& name) const {
        const auto all =
            nlohmann::json::parse(httpGet(alertmanager->word(), "/api/v2/alerts"), nullptr, false);
        if (!all.is_array()) return -1;
        return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const auto& alert) {
            return alert["labels"]["alertname"] == name;
        }));
    }
    // How many alerts of that name the messages to the receiver had, one number for each message.
    std::vector<std::size_t> told(const std::string& name) const {
        std::vector<std::size_t> list;
        for (const auto& request : net::jsonLines(dir.read("receiver"))) {
            const auto body = nlohmann::json::parse(request["body"].get<std::string>());
            if (body["groupLabels"]["alertname"] == name && body["status"] == "firing") {
                list.push_back(body["alerts"].size());
            }
        }
        return list;
    }
    bool eventually(const std::function<bool()>& happened) const {
        const auto end = SteadyClock::now() + std::chrono::seconds(big ? 600 : 60);
        while (!happened()) {
            if (SteadyClock::now() > end) return false;
            wait(100);
        }
        return true;
    }
    static double numberOf(const PrometheusServer& prometheus, const std::string& query) {
        const auto samples = prometheus.query(query);
        return samples.empty() ? 0 : std::atof(samples[0]["value"][1].get<std::string>().c_str());
    }
    void sayScrapes(const PrometheusServer& prometheus) const {
        std::ostringstream line;
        line << "scraped " << machines << " machines every " << interval() << ": "
             << std::lround(numberOf(prometheus, "sum(scrape_samples_scraped)")) << " series, "
             << std::lround(1000 * numberOf(prometheus, "avg(scrape_duration_seconds)"))
             << " ms for one, the longest "
             << std::lround(1000 * numberOf(prometheus, "max(scrape_duration_seconds)"))
             << " ms; Prometheus " << kilobytes(prometheus.process(), "VmRSS") / 1024 << " MB";
        say(line.str());
    }
    std::string interval() const { return big ? "15s" : "500ms"; }
    // Of the two firmwares, those with three failed drives; as fleet_agents has them.
    int failedKinds() const {
        int failed[2] = {};
        for (int i = 0; i < machines; i += exposedEvery) failed[i % 3 == 0 ? 0 : 1] += 2 - i % 2;
        return (failed[0] >= 3 ? 1 : 0) + (failed[1] >= 3 ? 1 : 0);
    }

    static constexpr char kAlertmanager[] = "/usr/bin/prometheus-alertmanager";

    ServerProcess receiver{{net::kPython, net::supportFile("http_server.py"), dir.file("receiver")},
                           "ready "};
    std::unique_ptr<ServerProcess> alertmanager;
};

TEST_F(FleetMetricsTest, GivenAllMachinesThenPrometheusReadsThemAndAlertsThroughAlertmanager) {
    ASSERT_TRUE(server.start()) << server.log();
    ASSERT_NO_FATAL_FAILURE(startAgents());
    PrometheusServer prometheus(
        interval(), "file_sd_configs: [{files: [\"" + dir.file("targets.json") + "\"]}]\n",
        "alerting: {alertmanagers: [{static_configs: [{targets: [\"127.0.0.1:" +
            alertmanager->word() + "\"]}]}]}\n");
    ASSERT_TRUE(prometheus.start()) << prometheus.log();
    const auto all = static_cast<std::size_t>(machines);
    ASSERT_TRUE(eventually([&] { return prometheus.query("up == 1").size() == all; }))
        << prometheus.query("up == 1").size();

    // Each array that is exposed, and what all machines together tell.
    const int exposed = (machines - 1) / exposedEvery + 1;
    EXPECT_TRUE(eventually([&] {
        return alertsCalled("RaidArrayNoRedundancy") + alertsCalled("RaidArrayDegraded") == exposed;
    })) << alertsCalled("RaidArrayNoRedundancy")
        << " and " << alertsCalled("RaidArrayDegraded");
    const int kinds = failedKinds();
    EXPECT_TRUE(eventually([&] { return alertsCalled("RaidDrivesOfOneKindFailed") == kinds; }));
    EXPECT_TRUE(
        eventually([&] { return told("RaidDrivesOfOneKindFailed").empty() == (kinds == 0); }));
    sayScrapes(prometheus);

    // Many machines at once go silent, and people get one message.
    const int gone = machines - firstOf(parts() - 1);
    agents.back()->kill();
    ASSERT_TRUE(eventually([&] { return alertsCalled("RaidwatchDown") == gone; }))
        << alertsCalled("RaidwatchDown");
    ASSERT_TRUE(eventually([&] { return !told("RaidwatchDown").empty(); }));
    std::ostringstream line;
    line << gone << " machines went silent: " << told("RaidwatchDown").size()
         << " messages, the first with " << told("RaidwatchDown").front() << " of them";
    say(line.str());
    agents.back()->start({"--metrics"});
    ASSERT_TRUE(waitForAll("sent", 600));
    writeTargets();
    EXPECT_TRUE(eventually([&] { return alertsCalled("RaidwatchDown") == 0; }))
        << alertsCalled("RaidwatchDown");
}

}  // namespace
