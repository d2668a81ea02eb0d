// ReplaySource: a recording of a Linux machine, played step by step (docs/formats/recording.md).
//
//   std::string error;
//   auto source = ReplaySource::open("/tmp/recording", error);   // 01-clean, 02-failed, ...
//
// The path holds one folder per step, in name order, each with sys/ and proc/ below it, or is such
// a folder itself. A recording goes on by one step per poll: a controller that is asked for its
// events the second time in a step starts the next one, and so does a second reading without any
// such question in between. Each new step announces a change for every controller, so that it is
// read whatever changed. The last step stays.
//
// A host that wants to go on by itself calls setAutomatic(false) and advance().
//
// Threads  One at a time. Errors: as LinuxSource.
#ifndef STORLIB_SOURCES_REPLAYSOURCE_H
#define STORLIB_SOURCES_REPLAYSOURCE_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "storlib/sources/LinuxSource.h"
#include "storlib/sources/PollRound.h"
#include "storlib/sources/SteppedSource.h"

class ReplaySource : public SteppedSource {
public:
    // A recorded step counts as more than the minute between two refreshes.
    static constexpr int kSecondsPerStep = 65;

    // Null with `error` set, one line that names the cure, when there is no step to play.
    static std::unique_ptr<ReplaySource> open(const std::string& path, std::string& error);

    explicit ReplaySource(const std::vector<std::string>& stepFolders);  // at least one

    Ret fill(System& system) override;
    Ret tasks(const Addr& address, ProgressCollection& found) override;
    Ret events(unsigned int controllerID, long first, std::string& listing) override;
    std::string lastError() const override { return machine.lastError(); }

    void setAutomatic(bool follows) override { automatic = follows; }
    bool advance() override;  // the last step stays
    bool atEnd() const override { return index + 1 >= steps.size(); }
    std::string stepName() const override;           // "03-degraded"
    std::size_t stepIndex() const { return index; }  // from 0
    std::size_t stepCount() const override { return steps.size(); }
    int secondsToNextStep() const override { return atEnd() ? 0 : kSecondsPerStep; }
    bool restartsBeforeNextStep() const override { return false; }

private:
    std::vector<std::string> steps;
    std::size_t index = 0;
    LinuxSource machine;
    bool automatic = true;
    PollRound round;
};

#endif  // STORLIB_SOURCES_REPLAYSOURCE_H
