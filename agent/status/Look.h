// Look: a look at this machine's storage for the verbs that show it: what the daemon saw last, or,
// with a source named or no daemon at hand, one reading of our own.
//
//   const Seen seen = Look(settings).now("");
//
// Errors: Failure when a named source cannot be used or read. Threads: one at a time.
#ifndef AGENT_STATUS_LOOK_H
#define AGENT_STATUS_LOOK_H

#include <string>

#include "agent/settings/AgentSettings.h"
#include "agent/status/StatusText.h"

class Look {
public:
    explicit Look(const AgentSettings& settingsIN) : settings(settingsIN) {}

    // What the daemon knows; where none runs, what the last one left (watched is false then), and
    // an empty state when there is nothing.
    Seen ofDaemon() const;
    // Reads the source once, now. No incidents, no sinks.
    Seen ofSource(const std::string& source) const;
    // What is there now: the named source; without a name what a running daemon knows, else the
    // configured source.
    Seen now(const std::string& source) const;

private:
    AgentSettings settings;
};

#endif  // AGENT_STATUS_LOOK_H
