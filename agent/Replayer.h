// Replayer: the engine over a recording or a scenario, step by step and as fast as it can, in a
// private folder: the stored snapshot and the logs of this machine are neither read nor written.
//
// The first moment is what the monitor finds when it starts for the first time; how much later
// each further step comes, and whether the monitor is away meanwhile, is the source's to say.
//
//   Replayer replayer(recording.path());
//   while (replayer.next()) show(replayer.step(), replayer.events());
//
// Errors   Failure when the recording cannot be read. Threads: one at a time, and nothing else in
//          the process may use the engine meanwhile: clock and folder belong to the replay.
#ifndef AGENT_REPLAYER_H
#define AGENT_REPLAYER_H

#include <memory>
#include <string>
#include <vector>

#include "agent/EngineFolder.h"
#include "agent/FastClock.h"
#include "agent/TempFolder.h"
#include "events/QELEvent.h"
#include "events/QELEventCollection.h"
#include "monitor/VantRaidMonitor.h"
#include "storlib/VantLib.h"

class SteppedSource;

class Replayer {
public:
    // Texts in the installed language of that code; "" takes the default.
    explicit Replayer(const std::string& recording,  // a folder of steps
                      const std::string& language = std::string());
    explicit Replayer(std::unique_ptr<SteppedSource> played,
                      const std::string& language = std::string());

    // Runs the next step; false, and nothing changed, when there is none.
    bool next();

    bool atEnd() const;
    const std::string& step() const { return name; }
    const std::vector<QELEvent>& events() const { return found; }
    // Why the step could not be read; "" when it could.
    const std::string& problem() const { return trouble; }
    // The machine as it is in this step; its tree is another one after next().
    VantLib& library() { return *lib; }

private:
    // The engine's queue is locked by one semaphore for the whole machine. A replay neither waits
    // for a running monitor nor disturbs it: where the kernel lets us, it has semaphores of its
    // own.
    struct OwnSemaphores {
        OwnSemaphores();
    };

    void startMonitor();

    OwnSemaphores semaphores;  // before any queue is made
    TempFolder home;
    EngineFolder folder;
    FastClock clock;
    SteppedSource* source = nullptr;  // borrowed from the library
    std::string catalogue;            // "" for the one in the folder
    std::unique_ptr<VantLib> lib;
    std::unique_ptr<VantRaidMonitor> monitor;
    QELEventCollection queue;

    std::string name;
    std::vector<QELEvent> found;
    std::string trouble;
};

#endif  // AGENT_REPLAYER_H
