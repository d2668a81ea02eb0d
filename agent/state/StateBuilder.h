// StateBuilder: from the engine's tree to a MachineState. It remembers from look to look what one
// tree cannot tell: since when an array has been exposed and a task runs, and how fast it goes.
//
// Threads  One at a time; the tree must not change meanwhile (call it on the monitoring thread).
// Errors   None; what is not known stays so.
#ifndef AGENT_STATE_STATEBUILDER_H
#define AGENT_STATE_STATEBUILDER_H

#include <cstdint>
#include <map>
#include <string>

#include "agent/state/MachineState.h"

class System;
class VantLib;

class StateBuilder {
public:
    // `lib` is asked for the tasks of arrays.
    MachineState build(VantLib& lib, std::int64_t now);

    // What the last run knew, so that "exposed since" survives a restart.
    void remember(const MachineState& before);

private:
    struct Memory {
        std::int64_t exposedSince = 0;
        std::string task;
        std::int64_t taskSince = 0;
        double firstPercent = 0;
        double percent = 0;
        std::int64_t percentAt = 0;
    };

    std::map<std::string, Memory> arrays;  // by key
    std::int64_t polls = 0;
};

#endif  // AGENT_STATE_STATEBUILDER_H
