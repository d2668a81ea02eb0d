// StateDocument: the text of state.json; docs/formats/state-json.md describes it.
//
//   StateFile(name).write(stateDocument(state, {waiting, seconds, problems, pages}));
//
// A pure function; any thread.
#ifndef AGENT_DAEMON_STATEDOCUMENT_H
#define AGENT_DAEMON_STATEDOCUMENT_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "agent/state/MachineState.h"

// What the daemon adds about itself.
struct DaemonFacts {
    std::size_t unspooled = 0;                    // events that are not yet on disk
    double pollSeconds = -1;                      // that the last poll took; -1: not known
    std::map<std::string, std::string> problems;  // sentences by topic
    std::vector<std::string> pages;               // where the page is served
};

std::string stateDocument(const MachineState& state, const DaemonFacts& facts);

#endif  // AGENT_DAEMON_STATEDOCUMENT_H
