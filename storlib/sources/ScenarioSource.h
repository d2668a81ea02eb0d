// ScenarioSource: simulated controllers that live through a scenario file.
//
// The timeline advances by the monitor's polls (see PollRound): a step that comes `after` n polls
// is applied when the nth poll after the step before begins, and stays. With setAutomatic(false)
// the steps are played by advance() instead. A step that announces itself makes every controller
// record that something changed, so that the same poll sees it.
//
//   source->setAutomatic(false);
//   while (!source->atEnd()) {
//       clock.sleepSeconds(source->secondsToNextStep());
//       source->advance();
//       monitor.poll(1, events);
//   }
//
// Threads and errors as ConfigSource.
#ifndef STORLIB_SOURCES_SCENARIOSOURCE_H
#define STORLIB_SOURCES_SCENARIOSOURCE_H

#include <cstddef>
#include <memory>
#include <string>

#include "storlib/sources/ControllerEventLog.h"
#include "storlib/sources/PollRound.h"
#include "storlib/sources/SteppedSource.h"

class Scenario;

class ScenarioSource : public SteppedSource {
public:
    // Null with one line in `error` when the file cannot be used.
    static std::unique_ptr<ScenarioSource> open(const std::string& path, std::string& error);

    explicit ScenarioSource(std::unique_ptr<Scenario> played);
    ~ScenarioSource() override;

    Ret fill(System& system) override;
    Ret tasks(const Addr& address, ProgressCollection& found) override;
    Ret events(unsigned int controllerID, long first, std::string& listing) override;
    std::string lastError() const override { return error; }

    const Scenario& getScenario() const { return *scenario; }
    void setAutomatic(bool follows) override { automatic = follows; }
    bool advance() override;
    bool atEnd() const override;
    std::size_t stepsPlayed() const { return played; }
    std::string stepName() const override;  // of the last step played; "" before the first
    std::size_t stepCount() const override;
    // For hosts whose clock is theirs to move: how long the next step comes after the last one,
    // and whether the monitor is to be away while it happens. 0 and false at the end.
    int secondsToNextStep() const override;
    bool restartsBeforeNextStep() const override;

private:
    void nextPoll();
    Ret fail(const std::string& why);

    std::unique_ptr<Scenario> scenario;
    ControllerEventLog log;
    PollRound round;
    bool automatic = true;
    std::size_t played = 0;
    int pollsSinceStep = 0;
    std::string error;
};

#endif  // STORLIB_SOURCES_SCENARIOSOURCE_H
