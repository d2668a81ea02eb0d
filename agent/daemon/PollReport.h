// PollReport: what is known when a poll has ended: the machine as it was seen, and the text of the
// snapshot that the engine had written by then. Every difference that this snapshot already shows
// has been raised as an event before the report is made.
//
// A plain value.
#ifndef AGENT_DAEMON_POLLREPORT_H
#define AGENT_DAEMON_POLLREPORT_H

#include <string>

#include "agent/state/MachineState.h"

struct PollReport {
    MachineState state;
    std::string snapshot;    // "" when there is none, or it could not be read whole
    std::string unreadable;  // why the storage could not be read; the state is then an older one
};

#endif  // AGENT_DAEMON_POLLREPORT_H
