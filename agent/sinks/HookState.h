// HookState: what the daemon last wrote down of the machine, for hooks that want device names.
//
//   ExecSink sink(settings, stateIn("/run/raidwatch/state.json"));
//
// Errors: a file that is missing or damaged gives null; hooks run with the names that the records
// have. Threads: any.
#ifndef AGENT_SINKS_HOOKSTATE_H
#define AGENT_SINKS_HOOKSTATE_H

#include <string>

#include "agent/sinks/ExecSink.h"

ExecSink::StateSource stateIn(const std::string& file);

#endif  // AGENT_SINKS_HOOKSTATE_H
