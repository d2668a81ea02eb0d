#include "agent/sinks/SinkSet.h"

#include <cstdint>
#include <mutex>
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

// What the host hears until it has gone. The lock is held while it hears: nobody closes the gate
// under a note that is on its way.
struct SinkSet::NoteGate {
    explicit NoteGate(SinkPump::Note noteIN) : note(std::move(noteIN)) {}

    void tell(const std::string& line) {
        const std::lock_guard<std::mutex> lock(mutex);
        if (note) note(line);
    }
    void close() {
        const std::lock_guard<std::mutex> lock(mutex);
        note = nullptr;
    }

    std::mutex mutex;
    SinkPump::Note note;  // guarded by `mutex`; null once closed
};

SinkSet::SinkSet(std::string spoolFileIN, SinkPump::Note noteIN, Maker makerIN)
    : spoolFile(std::move(spoolFileIN)),
      gate(std::make_shared<NoteGate>(std::move(noteIN))),
      note([kept = gate](const std::string& line) { kept->tell(line); }),
      maker(std::move(makerIN)) {}

SinkSet::~SinkSet() { (void)stop(); }

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
    leftBehind = !stopAll(std::move(leaving)) || leftBehind;

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

bool SinkSet::stayAway(bool away) {
    bool all = true;
    for (auto& [name, sink] : running) all = sink.worker->stayAway(away) && all;
    return all;
}

bool SinkSet::takeDamage() {
    bool damage = false;
    for (auto& [name, sink] : running) damage = sink.worker->takeDamage() || damage;
    return damage;
}

bool SinkSet::stop() {
    std::vector<std::unique_ptr<SinkWorker>> leaving;
    for (auto& [name, sink] : running) leaving.push_back(std::move(sink.worker));
    running.clear();
    leftBehind = !stopAll(std::move(leaving)) || leftBehind;
    gate->close();
    return !leftBehind;
}

// Each tells by itself.
bool SinkSet::stopAll(std::vector<std::unique_ptr<SinkWorker>> workers) {
    bool ended = true;
    for (const auto& worker : workers) worker->askToStop();
    for (const auto& worker : workers) ended = worker->waitForEnd() && ended;
    return ended;
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
