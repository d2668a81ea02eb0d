// Scenario: simulated controllers and what happens to them, read from a JSON file
// (docs/formats/scenario.md).
//
//   std::string error;
//   std::unique_ptr<Scenario> scenario = Scenario::load("fan-fails.json", error);
//   if (!scenario) std::cerr << error << '\n';     // "fan-fails.json:12: $.steps[0]: ..."
//   scenario->apply(0, error);                      // the first step
//   scenario->fill(system);
//
// A file is checked completely before anything plays: the timeline is run through once, so that a
// step that names an object which is not there at that moment is an error at load time.
//
// Ownership  Owns its model; fill() makes new storage objects. Threads: one at a time.
#ifndef STORLIB_SOURCES_SCENARIO_H
#define STORLIB_SOURCES_SCENARIO_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "storlib/sources/ControllerEventLog.h"
#include "storlib/sources/ScenarioModel.h"
#include "storlib/sources/ScenarioObject.h"

struct Addr;
class ProgressCollection;
class System;

// One change of a step.
struct ScenarioChange {
    enum class What { kSet, kAdd, kRemove, kRestore, kRecord, kFail, kRecover, kSlow };
    enum class Reading { kConfiguration, kTasks, kEvents };

    What what = What::kSet;
    std::string where;  // "$.steps[2].changes[0]", for messages
    int line = 0;
    std::string id;                               // the object set, removed, or added to
    std::string list;                             // the list added to
    std::map<std::string, ScenarioValue> fields;  // set
    std::vector<std::shared_ptr<const ScenarioObject>> objects;  // added
    Reading reading = Reading::kConfiguration;                   // fails or recovers
    ControllerEvent record;
    std::string about;      // id of the object that a record tells of
    long milliseconds = 0;  // of each slow answer
};

struct ScenarioStep {
    static constexpr int kSecondsPerPoll = 5;

    std::string name;
    std::string where;
    int line = 0;
    int after = 1;         // polls after the step before
    int seconds = 0;       // after the step before; 0: kSecondsPerPoll for each of those polls
    bool restart = false;  // the monitor goes away before this step; a new one starts after it
    bool announce = true;  // the controllers record that something changed
    std::vector<ScenarioChange> changes;

    // How long after the step before, for hosts whose clock is theirs to move.
    int secondsAfter() const { return seconds != 0 ? seconds : after * kSecondsPerPoll; }
};

class Scenario {
public:
    // A record and the log that it goes into: see logOf().
    using Record = std::pair<unsigned int, ControllerEvent>;

    static std::unique_ptr<Scenario> load(const std::string& path, std::string& error);
    // The same from text; `name` stands for the file in messages.
    static std::unique_ptr<Scenario> parse(const std::string& text, const std::string& name,
                                           std::string& error);

    const std::string& title() const { return scenarioTitle; }
    const std::string& story() const { return scenarioStory; }
    const std::vector<ScenarioStep>& steps() const { return timeline; }

    // Plays the step with that index. False, with one line in `error`, when a change cannot be
    // made; load() has excluded that for steps played in order.
    bool apply(std::size_t step, std::string& error);

    void fill(System& system) const { model->fill(system); }
    void tasksAt(const Addr& address, ProgressCollection& found) const {
        model->tasksAt(address, found);
    }
    bool failsReading() const { return failing.count(std::string()) != 0; }
    bool failsTasks(unsigned int controllerID) const { return isFailing("tasks:", controllerID); }
    bool failsEvents(unsigned int controllerID) const { return isFailing("events:", controllerID); }
    long slowMilliseconds() const { return slowness; }

    // The log of the controller with that number, or of the last that had it; 0 when there never
    // was one. A log moves with its controller to another number, and a controller that comes in
    // begins a new one.
    unsigned int logOf(unsigned int controllerID) const;
    // Records made by the steps applied since the last call.
    std::vector<Record> takeRecords();

private:
    friend class ScenarioParser;

    // Plays everything once; false, with one line in `error`, when it does not fit together.
    bool rehearse(std::string& error);
    bool checkFirstMoment(std::string& error) const;
    bool applyChange(const ScenarioChange& change, std::string& why);
    bool applyFailure(const ScenarioChange& change, std::string& why);
    bool addRecord(const ScenarioChange& change, std::string& why);
    bool isFailing(char const* what, unsigned int controllerID) const;
    void noteLogs();
    std::set<unsigned int> presentLogs() const;

    std::string fileName;
    std::string scenarioTitle;
    std::string scenarioStory;
    std::unique_ptr<ScenarioModel> model;
    std::vector<ScenarioStep> timeline;
    // "" the configuration; "tasks:ID" or "events:ID", with an empty ID for all controllers
    std::set<std::string> failing;
    long slowness = 0;
    std::map<unsigned int, unsigned int> logs;  // by controller number
    std::vector<Record> records;
};

#endif  // STORLIB_SOURCES_SCENARIO_H
