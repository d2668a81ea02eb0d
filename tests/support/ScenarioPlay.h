// ScenarioPlay: a scenario played to a real monitor that runs as in a host: start(), its first
// poll, one poll per step with the clock moved, and a stop and a new monitor where a step asks for
// it.
//
//   ScenarioPlay play(shippedScenario("fan-fails-and-is-replaced"),
//   MonitorRoom::catalogueOfKeys()); for (const ScenarioPlay::Moment& moment : play.moments()) ...
//   moment.events, moment.debug
//
// The first moment holds what is raised before the first step, ended by the map of the SAS drives,
// which hosts ask for by themselves.
#ifndef TESTS_SUPPORT_SCENARIOPLAY_H
#define TESTS_SUPPORT_SCENARIOPLAY_H

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "storlib/sources/Scenario.h"
#include "storlib/sources/ScenarioSource.h"
#include "tests/support/LockFiles.h"
#include "tests/support/MonitorRoom.h"

inline std::string scenarioFolder() {
    return std::string(QEL_SOURCE_DIR) + "/storlib/sources/scenarios/";
}

inline std::string shippedScenario(const std::string& name) {
    return scenarioFolder() + name + ".json";
}

// Names without ".json", sorted.
inline std::vector<std::string> shippedScenarios() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(scenarioFolder())) {
        if (entry.path().extension() == ".json") names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

class ScenarioPlay {
public:
    struct Moment {
        std::string name;     // of the step; "start" before the first
        std::int64_t second;  // since the start
        std::vector<QELEvent> events;
        std::string debug;
    };

    ScenarioPlay(const std::string& path, const std::string& catalogue) {
        BaseRaidMonitor::useFolder(dir.folder());
        dir.write("RaidNLS.properties", catalogue);
        dir.write("QELConfig.conf", "qel.debugMask=2\n");
        std::string error;
        std::unique_ptr<ScenarioSource> made = ScenarioSource::open(path, error);
        if (!made) throw std::runtime_error(error);
        source = made.get();
        source->setAutomatic(false);
        VantLib library(std::move(made));
        begin("start");
        do {
            watch(library);
        } while (restarting);
    }
    ~ScenarioPlay() {
        BaseRaidMonitor::useFolder("");
        setDebugMask(0);
    }
    ScenarioPlay(const ScenarioPlay&) = delete;
    ScenarioPlay& operator=(const ScenarioPlay&) = delete;

    const std::vector<Moment>& moments() const { return played; }

private:
    static constexpr int kPauseSeconds = 5;

    // The life of one monitor; `restarting` tells whether another one follows.
    void watch(VantLib& library) {
        if (restarting) nextStep(source->secondsToNextStep());
        restarting = false;
        clock.onSleep([](unsigned) {});
        auto monitor = std::make_unique<VantUnderTest>(&library);
        int seconds = 0;
        clock.onSleep([&](unsigned) {
            if (++seconds % kPauseSeconds == 0) pause(*monitor);
        });
        monitor->start();
        clock.onSleep([](unsigned) {});
        monitor.reset();
        collectDebug();
    }

    // The end of the pause after a poll.
    void pause(VantUnderTest& monitor) {
        if (played.size() == 1) {
            for (const Data_Adapter& entry : monitor.newAdapters) {
                monitor.logSASDriveMap(monitor.queue(), entry.adapter);
            }
        }
        for (QELEvent& event : monitor.getEvents(0)) {
            played.back().events.push_back(std::move(event));
        }
        restarting = source->restartsBeforeNextStep();
        if (restarting || source->atEnd()) return monitor.stop();
        nextStep(source->secondsToNextStep() - kPauseSeconds);
    }

    void nextStep(int seconds) {
        collectDebug();
        if (seconds > 0) clock.advance(seconds);
        (void)source->advance();
        begin(source->stepName());
    }

    void begin(const std::string& name) {
        played.push_back({name, clock.now() - ManualClock::kStart, {}, ""});
    }

    void collectDebug() {
        const std::string log = dir.read("qavelogs/QELVANTDebug.log");
        played.back().debug += withoutTimes(log.substr(debugRead));
        debugRead = log.size();
    }

    // "[Sun Sep  9 01:46:40 2001]  message" becomes "message", the folder becomes "./".
    std::string withoutTimes(const std::string& log) const {
        constexpr std::string::size_type kPrefix = 28;
        std::string text;
        for (std::string::size_type at = 0; at < log.size();) {
            std::string::size_type end = log.find('\n', at);
            end = end == std::string::npos ? log.size() : end + 1;
            const bool stamped = log[at] == '[' && log.size() > at + kPrefix && log[at + 25] == ']';
            text += log.substr(stamped ? at + kPrefix : at, end - (stamped ? at + kPrefix : at));
            at = end;
        }
        for (auto at = text.find(dir.folder()); at != std::string::npos;
             at = text.find(dir.folder())) {
            text.replace(at, dir.folder().size(), "./");
        }
        return text;
    }

    TempDir dir;
    ManualClock clock;
    LockFiles locks;
    ScenarioSource* source = nullptr;  // borrowed from the library, which lives in construction
    std::vector<Moment> played;
    std::string::size_type debugRead = 0;
    bool restarting = false;
};

#endif  // TESTS_SUPPORT_SCENARIOPLAY_H
