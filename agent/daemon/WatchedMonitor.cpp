#include "agent/daemon/WatchedMonitor.h"

#include "events/QELEventCollection.h"

WatchedMonitor::WatchedMonitor(VantLib* lib, Watcher& watcherIN)
    : VantRaidMonitor(lib), watcher(watcherIN) {
    widenQueue();
}

WatchedMonitor::WatchedMonitor(VantLib* lib, const std::string& logFolder, Watcher& watcherIN)
    : VantRaidMonitor(lib, logFolder), watcher(watcherIN) {
    widenQueue();
}

void WatchedMonitor::poll(int type, QELEventCollection& events) {
    watcher.pollBegins(type == kCheckConfig);
    VantRaidMonitor::poll(type, events);
    watcher.pollEnded();
}

// The engine itself passes over sizes that are not above its least one.
void WatchedMonitor::widenQueue() {
    if (eventQueueSize <= QELEventCollection::kLeastSize) eventCollection->setMaxSize(kQueueSize);
}
