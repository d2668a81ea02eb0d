#include "storlib/sources/ScenarioSource.h"

#include "storlib/Addr.h"
#include "storlib/MilliSleep.h"
#include "storlib/sources/Scenario.h"

std::unique_ptr<ScenarioSource> ScenarioSource::open(const std::string& path, std::string& error) {
    if (path.empty()) {
        error = "a scenario needs a file: scenario:FILE";
        return nullptr;
    }
    std::unique_ptr<Scenario> loaded = Scenario::load(path, error);
    return loaded ? std::make_unique<ScenarioSource>(std::move(loaded)) : nullptr;
}

ScenarioSource::ScenarioSource(std::unique_ptr<Scenario> toPlay) : scenario(std::move(toPlay)) {}

ScenarioSource::~ScenarioSource() = default;

Ret ScenarioSource::fill(System& system) {
    if (automatic && round.read()) nextPoll();
    MilliSleep(scenario->slowMilliseconds());
    if (scenario->failsReading()) return fail("the configuration");
    scenario->fill(system);
    return Ret{};
}

Ret ScenarioSource::tasks(const Addr& address, ProgressCollection& found) {
    if (scenario->failsTasks(address.controllerID)) return fail("the tasks");
    scenario->tasksAt(address, found);
    return Ret{};
}

Ret ScenarioSource::events(unsigned int controllerID, long first, std::string& listing) {
    if (automatic && round.asked(controllerID)) nextPoll();
    if (scenario->failsEvents(controllerID)) return fail("the event log");
    log.list(scenario->logOf(controllerID), first, listing);
    return Ret{};
}

void ScenarioSource::nextPoll() {
    ++pollsSinceStep;
    if (!atEnd() && pollsSinceStep >= scenario->steps()[played].after) (void)advance();
}

bool ScenarioSource::advance() {
    if (atEnd()) return false;
    std::string unused;  // the timeline was run through when it was loaded
    (void)scenario->apply(played, unused);
    for (const auto& [place, record] : scenario->takeRecords()) log.append(place, record);
    error.clear();  // of the step before
    ++played;
    pollsSinceStep = 0;
    return true;
}

bool ScenarioSource::atEnd() const { return played >= scenario->steps().size(); }

std::size_t ScenarioSource::stepCount() const { return scenario->steps().size(); }

std::string ScenarioSource::stepName() const {
    return played == 0 ? std::string() : scenario->steps()[played - 1].name;
}

int ScenarioSource::secondsToNextStep() const {
    return atEnd() ? 0 : scenario->steps()[played].secondsAfter();
}

bool ScenarioSource::restartsBeforeNextStep() const {
    return !atEnd() && scenario->steps()[played].restart;
}

Ret ScenarioSource::fail(const std::string& why) {
    error = "the scenario makes " + why + " fail at this step";
    return Ret{Ret::kFailed, 0};
}
