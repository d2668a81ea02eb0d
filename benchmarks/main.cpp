// qel_benchmarks [--sizes=24,1000] [--folder=DIR] [--rounds=15] [--ms=3] [Google Benchmark's flags]
// qel_benchmarks --snapshot=N      prints the stored configuration of a machine with N drives
//
// Each contest is a benchmark; each of its repetitions is a round. The counters of a round are
// "NAME" (nanoseconds) and "ours/NAME" (ratio) for every contender.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "benchmarks/Contests.h"
#include "benchmarks/GeneratedMachine.h"

namespace {

constexpr int kHugeMachine = 100000;
constexpr int kRoundsOfHugeMachine = 5;

struct Options {
    BenchSettings settings{{24, 1000}, "./"};
    int rounds = 15;
    double milliseconds = 3;  // for each contender of a round
    int snapshot = 0;         // drives; 0: none is wanted
};

std::vector<int> numbers(const std::string& list) {
    std::vector<int> found;
    std::istringstream words(list);
    for (std::string word; std::getline(words, word, ',');) found.push_back(std::stoi(word));
    std::sort(found.begin(), found.end());
    return found;
}

bool take(const std::string& argument, const char* flag, std::string& value) {
    const std::string start = std::string(flag) + "=";
    if (argument.compare(0, start.size(), start) != 0) return false;
    value = argument.substr(start.size());
    return true;
}

// Takes our flags out of the list and leaves the rest to Google Benchmark.
Options readFlags(int& count, char** arguments) {
    Options options;
    int kept = 1;
    for (int i = 1; i < count; ++i) {
        std::string value;
        if (take(arguments[i], "--sizes", value)) {
            options.settings.sizes = numbers(value);
        } else if (take(arguments[i], "--folder", value)) {
            options.settings.folder = value + "/";
        } else if (take(arguments[i], "--rounds", value)) {
            options.rounds = std::stoi(value);
        } else if (take(arguments[i], "--ms", value)) {
            options.milliseconds = std::stod(value);
        } else if (take(arguments[i], "--snapshot", value)) {
            options.snapshot = std::stoi(value);
        } else {
            arguments[kept++] = arguments[i];
        }
    }
    count = kept;
    return options;
}

// Large series are for plots, where fewer rounds do.
int roundsOf(const std::string& name, int rounds) {
    const std::string huge = "/" + std::to_string(kHugeMachine);
    const bool isHuge = name.size() > huge.size() &&
                        name.compare(name.size() - huge.size(), huge.size(), huge) == 0;
    const bool isGrowth = name.find("-growth") != std::string::npos;
    return isHuge && !isGrowth ? std::min(rounds, kRoundsOfHugeMachine) : rounds;
}

// The contest lives from the first of its rounds to the last.
struct Running {
    NamedContest named;
    std::unique_ptr<Contest> contest;
    int left;
};

void runRound(benchmark::State& state, Running& running, double milliseconds) {
    if (running.contest == nullptr) running.contest = running.named.make();
    for (auto _ : state) {
        running.contest->round(milliseconds * 1e6);
        state.SetIterationTime(running.contest->results()[0].nanoseconds / 1e9);
    }
    for (const Contest::Result& result : running.contest->results()) {
        state.counters[result.name] = result.nanoseconds;
        state.counters["ours/" + result.name] = result.ratio;
    }
    if (--running.left == 0) running.contest.reset();
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = readFlags(argc, argv);
    if (options.snapshot > 0) {
        std::cout << GeneratedMachine::snapshot(options.snapshot);
        return std::cout.flush() ? 0 : 1;
    }
    Contests contests;
    addXmlContests(options.settings, contests);
    addCatalogueContests(contests);
    addQueueContests(contests);
    addCompareContests(options.settings, contests);
    addPollContests(options.settings, contests);
    addSourceContests(options.settings, contests);

    for (NamedContest& named : contests) {
        const int rounds = roundsOf(named.name, options.rounds);
        auto running = std::make_shared<Running>(Running{named, nullptr, rounds});
        benchmark::RegisterBenchmark(named.name.c_str(),
                                     [running, ms = options.milliseconds](benchmark::State& state) {
                                         runRound(state, *running, ms);
                                     })
            ->Iterations(1)
            ->Repetitions(rounds)
            ->UseManualTime();
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
