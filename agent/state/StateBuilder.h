// StateBuilder: from the engine's tree to a MachineState. It remembers from look to look what one
// tree cannot tell: since when an array has been exposed and a task runs, and how fast it goes.
//
//   StateBuilder builder;
//   builder.remember(lastRun);                        // optional
//   const MachineState state = builder.build(lib, Clock::current().now());
//
// Threads  One at a time; the tree must not change meanwhile (call it on the monitoring thread).
// Errors   None; what is not known stays so.
#ifndef AGENT_STATE_STATEBUILDER_H
#define AGENT_STATE_STATEBUILDER_H

#include <cstdint>
#include <map>
#include <string>

#include "agent/state/MachineState.h"

class VantLib;

class StateBuilder {
public:
    // The tree that `lib` read last; it is asked for the tasks of the arrays too. `now` in seconds
    // since 1970-01-01 UTC.
    MachineState build(VantLib& lib, std::int64_t now);

    // What the last run knew, so that "exposed since" and a task's beginning survive a restart.
    void remember(const MachineState& before);

private:
    struct Memory {
        std::int64_t exposedSince = 0;
        std::string task;
        std::int64_t taskSince = 0;
        int firstPercent = -1;  // where the speed is measured from; -1: not yet seen
        std::int64_t firstAt = 0;
    };

    void addTime(ArrayState& array, std::int64_t now);

    std::map<std::string, Memory> memory;  // by key of the array
    std::int64_t polls = 0;
};

#endif  // AGENT_STATE_STATEBUILDER_H
