#include "agent/sinks/SinkSet.h"

#include <cstdint>
#include <random>
#include <tuple>
#include <utility>

namespace {

// A little more than a sink has, for what it does around its time limit.
constexpr std::chrono::seconds kGrace(3);

BackOff::Random freshRandom() {
    auto engine = std::make_shared<std::mt19937>(std::random_device{}());
    return [engine] { return std::uniform_real_distribution<double>(0, 1)(*engine); };
}

auto allOf(const SinkSettings& s) {
    return std::tie(s.name, s.type, s.filter.leastSeverity, s.filter.objects, s.filter.codes,
                    s.timeout, s.firstRetry, s.longestRetry, s.giveUpAfter, s.texts, s.lists,
                    s.tables, s.numbers);
}

}  // namespace

bool sameSink(const SinkSettings& a, const SinkSettings& b) { return allOf(a) == allOf(b); }

SinkSet::SinkSet(std::string spoolFileIN, SinkPump::Note noteIN, Maker makerIN)
    : spoolFile(std::move(spoolFileIN)), note(std::move(noteIN)), maker(std::move(makerIN)) {}

SinkSet::~SinkSet() { stop(); }

void SinkSet::reload(const std::map<std::string, SinkSettings>& wanted) {
    // Made first: when one cannot be made, nothing has changed yet.
    std::map<std::string, std::unique_ptr<Sink>> made;
    for (const auto& [name, settings] : wanted) {
        const auto now = running.find(name);
        if (now != running.end() && sameSink(now->second.settings, settings)) continue;
        made[name] = maker(settings);
    }

    std::vector<std::unique_ptr<SinkWorker>> leaving;
    for (auto it = running.begin(); it != running.end();) {
        const bool stays = wanted.count(it->first) != 0 && made.count(it->first) == 0;
        if (!stays) leaving.push_back(std::move(it->second.worker));
        it = stays ? std::next(it) : running.erase(it);
    }
    stopAll(std::move(leaving));

    takePlaces(wanted);
    for (auto& [name, sink] : made) {
        const SinkSettings& settings = wanted.at(name);
        running[name] = {settings, start(settings, std::move(sink))};
    }
}

void SinkSet::takePlaces(const std::map<std::string, SinkSettings>& wanted) {
    try {
        Spool spool(spoolFile);
        for (const auto& [name, settings] : wanted) (void)spool.cursor(name);  // makes its place
        for (const SinkStatus& status : spool.sinkStatus()) {
            if (wanted.count(status.sink) == 0) spool.forgetSink(status.sink);
        }
    } catch (const SpoolError& e) {
        note(e.what());  // each worker makes its place when the spool works again
    }
}

std::unique_ptr<SinkWorker> SinkSet::start(const SinkSettings& settings,
                                           std::unique_ptr<Sink> sink) {
    auto pump =
        std::make_unique<SinkPump>(spoolFile, settings, std::move(sink), note, freshRandom());
    return std::make_unique<SinkWorker>(settings.name, std::move(pump),
                                        std::chrono::seconds(settings.timeout) + kGrace, note);
}

void SinkSet::notify() {
    for (auto& [name, sink] : running) sink.worker->notify();
}

void SinkSet::stop() {
    std::vector<std::unique_ptr<SinkWorker>> leaving;
    for (auto& [name, sink] : running) leaving.push_back(std::move(sink.worker));
    running.clear();
    stopAll(std::move(leaving));
}

void SinkSet::stopAll(std::vector<std::unique_ptr<SinkWorker>> workers) {
    for (const auto& worker : workers) worker->askToStop();
    for (const auto& worker : workers) (void)worker->waitForEnd();  // it tells by itself
}

std::vector<SinkStatus> SinkSet::status() const {
    std::map<std::string, SinkStatus> known;
    std::string trouble = "it has not started yet";
    try {
        for (SinkStatus& status : Spool(spoolFile, Spool::Access::kReadOnly).sinkStatus()) {
            known[status.sink] = std::move(status);
        }
    } catch (const SpoolError& e) {
        trouble = e.what();
    }
    std::vector<SinkStatus> all;
    for (const auto& [name, sink] : running) {
        SinkStatus status;
        status.sink = name;
        status.ok = false;
        status.lastAnswer = trouble;
        const auto found = known.find(name);
        all.push_back(found == known.end() ? status : found->second);
    }
    return all;
}
