#include "agent/daemon/WaitingRoom.h"

#include <iterator>
#include <utility>

#include "agent/daemon/PollReport.h"

void WaitingRoom::add(MonitorThread::Batch batch) {
    if (batch.report) {
        kept.finished = kept.events.size() + batch.finished;
        kept.report = std::move(batch.report);
        kept.pollSeconds = batch.pollSeconds;
    }
    batch.sources.resize(batch.events.size());
    std::move(batch.events.begin(), batch.events.end(), std::back_inserter(kept.events));
    kept.sources.insert(kept.sources.end(), batch.sources.begin(), batch.sources.end());
    kept.polls += batch.polls;
    kept.ended += batch.ended;
    if (batch.ended > 0) kept.unreadable = batch.unreadable;
}

MonitorThread::Batch WaitingRoom::takeAll() { return std::exchange(kept, MonitorThread::Batch()); }

MachineState WaitingRoom::machine() const {
    return kept.report ? kept.report->state : MachineState();
}
