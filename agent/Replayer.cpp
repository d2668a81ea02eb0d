#include "agent/Replayer.h"

#include <sched.h>

#include <ctime>
#include <utility>

#include "agent/Failure.h"
#include "agent/Languages.h"
#include "storlib/sources/ReplaySource.h"
#include "storlib/sources/SteppedSource.h"

namespace {

// Nobody drains during a poll: the queue has to hold the events of a whole step.
constexpr int kQueueSize = 1000000;

std::unique_ptr<SteppedSource> openRecording(const std::string& path) {
    std::string error;
    std::unique_ptr<SteppedSource> source = ReplaySource::open(path, error);
    if (!source) throw Failure(Failure::kBadUse, error);
    return source;
}

}  // namespace

// Needs privileges; whoever lacks them cannot open the semaphore either.
Replayer::OwnSemaphores::OwnSemaphores() { (void)unshare(CLONE_NEWIPC); }

Replayer::Replayer(const std::string& recording, const std::string& language)
    : Replayer(openRecording(recording), language) {}

Replayer::Replayer(std::unique_ptr<SteppedSource> played, const std::string& language)
    : folder(home.path()),
      clock(std::time(nullptr)),
      source(played.get()),
      catalogue(language.empty() ? std::string() : Languages::catalogue(language)),
      lib(std::make_unique<VantLib>(std::move(played))),
      queue("", kQueueSize, kEventAll) {
    source->setAutomatic(false);
}

bool Replayer::atEnd() const { return source->atEnd(); }

bool Replayer::next() {
    if (!monitor) {
        startMonitor();
    } else {
        if (source->atEnd()) return false;
        const bool restart = source->restartsBeforeNextStep();
        if (restart) monitor.reset();  // nobody watches while the step happens
        clock.sleepSeconds(static_cast<unsigned>(source->secondsToNextStep()));
        (void)source->advance();
        if (restart) {
            startMonitor();
        } else {
            monitor->poll(VantRaidMonitor::kCompareConfig, queue);
        }
    }
    name = source->stepName();
    if (name.empty()) name = "at first";  // a scenario before its first step
    trouble = lib->lastError();
    found = queue.getAllEvents();
    return true;
}

void Replayer::startMonitor() {
    monitor = std::make_unique<VantRaidMonitor>(lib.get());
    if (!catalogue.empty()) monitor->useCatalogue(catalogue);
    if (monitor->getControllerCount() == 0 && !monitor->initialize(true)) {
        throw Failure(Failure::kFailed, "the configuration cannot be read: " + lib->lastError());
    }
    monitor->poll(VantRaidMonitor::kCheckConfig, queue);
}
