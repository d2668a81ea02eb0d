// fleet_agents: many machines in one process, to see what one server makes of a fleet. Each machine
// has its own state folder with a real spool, a real pipeline and a real sink of type nats with a
// connection of its own; only the engine is missing: the events come from a file, which is what
// `raidwatch scenario play --json` prints, and their serial numbers get the machine's number.
//
//   fleet_agents FOLDER EVENTS FIRST COUNT URL ROUNDS [options]
//     --prefill      all rounds are recorded before anything is sent; "filled" is said in between,
//                    and sending begins with a line on standard input
//     --pause MS     between two rounds of one machine
//     --threads N    drive the machines
//     --window S     of the stream that is made
//     --beat S       between two heartbeats
//     --exposed N    every N-th machine has an exposed array; 0 for none
//     --metrics      serves what a Prometheus server reads of machine N at /mN/metrics, and says
//                    "metrics PORT" first
//
// Says "sent" when all is acknowledged, and then only looks and beats until standard input ends.
// Started again on the same folders it goes on where the spools end.
#include <httplib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/daemon/Pipeline.h"
#include "agent/daemon/PollReport.h"
#include "agent/metrics/Metrics.h"
#include "agent/metrics/MetricsReader.h"
#include "agent/sinks/SinkFactory.h"
#include "agent/sinks/SinkPump.h"
#include "agent/spool/SafeSnapshot.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

struct Wanted {
    std::string folder;
    std::string events;
    int first = 0;
    int count = 0;
    std::string url;
    int rounds = 0;
    bool prefill = false;
    int pause = 0;
    int threads = 4;
    int window = 3600;
    int beat = 60;
    int exposedEvery = 0;
    bool metrics = false;
};

std::int64_t nowSeconds() { return std::time(nullptr); }

constexpr int kDrives = 8;

// Of an array that is exposed.
int failedOf(int number) { return 2 - number % 2; }

std::string serialOf(int number, int drive) {
    return "K" + std::to_string(number) + "-" + std::to_string(drive);
}

// Small enough for a summary, and not the same everywhere.
MachineState stateOf(int number, bool exposed) {
    MachineState state;
    char host[32];
    std::snprintf(host, sizeof host, "stor-%04d", number);
    state.host = host;
    state.source = "scenario";
    state.polledAt = nowSeconds();
    ArrayState array;
    array.key = "array:0:0";
    array.name = "md0";
    array.level = "RAID 6";
    array.state = exposed ? "degraded" : "normal";
    array.devices = kDrives;
    array.fullSurvives = 2;
    array.survives = array.fullSurvives - (exposed ? failedOf(number) : 0);
    array.working = array.devices - (array.fullSurvives - array.survives);
    array.exposedSince = exposed ? nowSeconds() - 600 * (1 + number % 37) : 0;
    state.arrays.push_back(array);
    for (int i = 0; i < array.devices; ++i) {
        DriveState drive;
        drive.name = "drive 1:0:" + std::to_string(i);
        drive.serial = serialOf(number, i);
        drive.key = "drive:" + drive.serial;
        drive.vendor = "KOVA";
        drive.model = "PQ K500";
        drive.firmware = number % 3 == 0 ? "A7" : "B1";
        drive.state = i < array.working ? "normal" : "failed";
        drive.array = array.key;
        state.drives.push_back(drive);
    }
    return state;
}

class Machine {
public:
    Machine(const Wanted& wantedIN, const std::vector<QELEvent>& eventsIN, int numberIN)
        : wanted(wantedIN),
          events(eventsIN),
          number(numberIN),
          folder(wanted.folder + "/m" + std::to_string(number)),
          exposed(wanted.exposedEvery != 0 && number % wanted.exposedEvery == 0) {
        std::filesystem::create_directories(folder);
        spool = std::make_unique<Spool>(folder + "/spool.db");
        safe = std::make_unique<SafeSnapshot>(folder + "/QELVANTConfig.xml");
        const std::string stateFile = folder + "/state.json";
        pipeline = std::make_unique<Pipeline>(*spool, *safe, AgentSettings(),
                                              Pipeline::Places{stateFile, ""});
        (void)spool->cursor(kSink);  // the sink misses nothing
        round = roundsBefore();
        SinkSettings settings;
        settings.name = kSink;
        settings.type = "nats";
        settings.filter.leastSeverity = kEventProgress;  // all that there is
        settings.lists["urls"] = {wanted.url};
        settings.numbers["window"] = wanted.window;
        settings.numbers["heartbeat"] = wanted.beat;
        settings.numbers["in_flight"] = 100;
        settings.timeout = 5;
        settings.firstRetry = 1;
        settings.longestRetry = 2;
        settings.giveUpAfter = 0;
        auto engine = std::make_shared<std::mt19937>(static_cast<unsigned>(number));
        pump = std::make_unique<SinkPump>(
            folder + "/spool.db", settings, makeSink(settings, {stateFile, folder}),
            [](const std::string&) {},
            [engine] { return std::uniform_real_distribution<double>(0, 1)(*engine); });
    }

    bool hasMore() const { return round < wanted.rounds; }

    // One poll that brings the events of one round. As with the real engine, a round is recorded
    // whole or not at all.
    void record() {
        MonitorThread::Batch batch;
        for (QELEvent event : events) {
            event.timeStamp = nowSeconds();
            event.extra1 = serialOfRound();
            event.value1 = round;
            batch.events.push_back(event);
            batch.sources.push_back({false, round + 1});
        }
        ++round;
        look(std::move(batch));
        nextRecord = SteadyClock::now() + std::chrono::milliseconds(wanted.pause);
    }
    bool isDue() const { return hasMore() && SteadyClock::now() >= nextRecord; }

    void send() {
        if (SteadyClock::now() < nextStep) return;
        if (SteadyClock::now() - lookedAt > kLookEvery) look({});
        (void)pump->step();
        allSent = !hasMore() && spool->cursor(kSink) >= spool->lastSequence();
        // Once it is up to date as a daemon does: the tick of the sink, once a second.
        nextStep = SteadyClock::now() + std::chrono::milliseconds(allSent ? 1000 : 100);
    }
    bool isSent() const { return allSent; }

private:
    static constexpr char kSink[] = "fleet";
    static constexpr std::chrono::seconds kLookEvery{60};

    void look(MonitorThread::Batch batch) {
        batch.finished = batch.events.size();
        batch.polls = 1;
        auto report = std::make_shared<PollReport>();
        report->state = stateOf(number, exposed);
        report->snapshot = "<round>" + std::to_string(round) + "</round>\n";
        batch.report = report;
        pipeline->pass(std::move(batch));
        lookedAt = SteadyClock::now();
    }
    // An exposed machine tells of a drive that its state has as failed, the others of one that has
    // gone, whose model nobody knows.
    std::string serialOfRound() const {
        if (!exposed) return "G" + std::to_string(number);
        const int failed = failedOf(number);
        return serialOf(number, kDrives - failed + round % failed);
    }

    int roundsBefore() const {
        int before = 0;
        for (const Record& record :
             spool->read(std::max<std::int64_t>(spool->lastSequence() - 500, 0), 1000)) {
            if (record.kind == Record::Kind::kEvent) {
                before = std::max(before, record.event.value1 + 1);
            }
        }
        return before;
    }

    const Wanted& wanted;
    const std::vector<QELEvent>& events;
    const int number;
    const std::string folder;
    const bool exposed;
    int round = 0;
    bool allSent = false;
    std::unique_ptr<Spool> spool;
    std::unique_ptr<SafeSnapshot> safe;
    std::unique_ptr<Pipeline> pipeline;
    std::unique_ptr<SinkPump> pump;
    SteadyClock::time_point lookedAt;
    SteadyClock::time_point nextRecord;
    SteadyClock::time_point nextStep;
};

void say(const std::string& line) {
    std::cout << line << std::endl;  // whoever reads waits for it
}

std::vector<QELEvent> readEvents(const std::string& file) {
    std::ifstream in(file);
    std::vector<QELEvent> events;
    for (std::string line; std::getline(in, line);) {
        events.push_back(eventFromObject(nlohmann::ordered_json::parse(line)));
    }
    return events;
}

// Each thread has its share of the machines, from the first look at their folders on.
template <typename Work>
void onAll(const Wanted& wanted, std::vector<std::unique_ptr<Machine>>& machines,
           const Work& work) {
    std::vector<std::thread> threads;
    for (int t = 0; t < wanted.threads; ++t) {
        threads.emplace_back([&, t] {
            for (std::size_t i = static_cast<std::size_t>(t); i < machines.size();
                 i += static_cast<std::size_t>(wanted.threads)) {
                work(machines[i], static_cast<int>(i));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

// GET /m17/metrics: what a Prometheus server reads of machine 17. As in the daemon it is made of
// the files of the machine alone.
class MetricsServer {
public:
    explicit MetricsServer(const std::string& folder) {
        server.set_keep_alive_max_count(
            1);  // a connection that waits would hold one of its threads
        server.Get(R"(/m(\d+)/metrics)",
                   [folder](const httplib::Request& request, httplib::Response& response) {
                       const std::string place = folder + "/m" + request.matches[1].str();
                       MetricsReader reader({place + "/spool.db", place + "/state.json"});
                       response.set_content(render(reader.read()), kMetricsContentType);
                   });
        say("metrics " + std::to_string(server.bind_to_any_port("127.0.0.1")));
        thread = std::thread([this] { server.listen_after_bind(); });
    }
    ~MetricsServer() {
        server.stop();
        thread.join();
    }
    MetricsServer(const MetricsServer&) = delete;
    MetricsServer& operator=(const MetricsServer&) = delete;

private:
    httplib::Server server;
    std::thread thread;
};

// Records and sends until told to end; who has sent all is counted once.
void drive(const std::vector<Machine*>& mine, const std::atomic<bool>& ending,
           const std::function<void()>& countSent) {
    std::vector<bool> done(mine.size());
    while (!ending) {
        for (std::size_t i = 0; i < mine.size(); ++i) {
            if (mine[i]->isDue()) mine[i]->record();
            mine[i]->send();
            if (done[i] || !mine[i]->isSent()) continue;
            done[i] = true;
            countSent();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void waitForLine() {
    std::string line;
    (void)std::getline(std::cin, line);
}

void waitForEnd() {
    for (char byte = 0; read(STDIN_FILENO, &byte, 1) > 0;) {
    }
}

void run(const Wanted& wanted) {
    const std::vector<QELEvent> events = readEvents(wanted.events);
    std::vector<std::unique_ptr<Machine>> machines(static_cast<std::size_t>(wanted.count));
    onAll(wanted, machines, [&](std::unique_ptr<Machine>& machine, int i) {
        machine = std::make_unique<Machine>(wanted, events, wanted.first + i);
        while (wanted.prefill && machine->hasMore()) machine->record();
    });
    std::unique_ptr<MetricsServer> metrics;
    if (wanted.metrics) metrics = std::make_unique<MetricsServer>(wanted.folder);
    if (wanted.prefill) {
        say("filled");
        waitForLine();
    }
    std::atomic<bool> ending{false};
    std::atomic<int> sent{0};
    const auto countSent = [&] {
        if (++sent == wanted.count) say("sent");
    };
    std::vector<std::vector<Machine*>> shares(static_cast<std::size_t>(wanted.threads));
    for (std::size_t i = 0; i < machines.size(); ++i) {
        shares[i % shares.size()].push_back(machines[i].get());
    }
    std::vector<std::thread> threads;
    for (const std::vector<Machine*>& share : shares) {
        threads.emplace_back([&, &mine = share] { drive(mine, ending, countSent); });
    }
    waitForEnd();
    ending = true;
    for (std::thread& thread : threads) thread.join();
}

int numberAfter(char** argument) {
    if (argument[1] == nullptr)
        throw std::runtime_error(std::string(*argument) + " needs a number");
    return std::atoi(argument[1]);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 7) {
        std::cerr << "usage: fleet_agents FOLDER EVENTS FIRST COUNT URL ROUNDS [options]\n";
        return 2;
    }
    Wanted wanted{argv[1], argv[2],           std::atoi(argv[3]), std::atoi(argv[4]),
                  argv[5], std::atoi(argv[6])};
    for (char** argument = argv + 7; *argument != nullptr; ++argument) {
        const std::string word = *argument;
        if (word == "--prefill" || word == "--metrics") {
            (word == "--prefill" ? wanted.prefill : wanted.metrics) = true;
            continue;
        }
        int* const place = word == "--pause"     ? &wanted.pause
                           : word == "--threads" ? &wanted.threads
                           : word == "--window"  ? &wanted.window
                           : word == "--beat"    ? &wanted.beat
                           : word == "--exposed" ? &wanted.exposedEvery
                                                 : nullptr;
        if (place == nullptr) {
            std::cerr << "fleet_agents: unknown option " << word << "\n";
            return 2;
        }
        *place = numberAfter(argument);
        ++argument;
    }
    rlimit files{};
    (void)getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    (void)setrlimit(RLIMIT_NOFILE, &files);  // with fewer, fewer machines fit
    try {
        run(wanted);
    } catch (const std::exception& e) {
        std::cerr << "fleet_agents: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
