// StateDocument: the text of state.json; docs/formats/state-json.md describes it.
//
//   StateFile(name).write(stateDocument(state, waiting, problems));
//
// A pure function; any thread.
#ifndef AGENT_DAEMON_STATEDOCUMENT_H
#define AGENT_DAEMON_STATEDOCUMENT_H

#include <cstddef>
#include <map>
#include <string>

#include "agent/state/MachineState.h"

// `unspooled`: events that are not yet on disk. `problems`: by topic.
std::string stateDocument(const MachineState& state, std::size_t unspooled,
                          const std::map<std::string, std::string>& problems);

#endif  // AGENT_DAEMON_STATEDOCUMENT_H
