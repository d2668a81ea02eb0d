// Verdict: is it all right? One word, which is also an exit code, and one sentence for people.
//
//   const Verdict found = verdict(state, incidents, now, 300);
//   std::cout << found.word() << ": " << found.sentence;      // "WARNING: md0 is rebuilding, ..."
//
// The state decides, not the events: an array that has less redundancy than it should is a WARNING,
// or CRITICAL when the next failure may lose data; a failed array is CRITICAL. A look that is too
// old, or none at all, says nothing about now: UNKNOWN, never OK. An acknowledgement does not make
// anything better; the sentence says that somebody knows.
//
// Pure; any thread.
#ifndef AGENT_STATE_VERDICT_H
#define AGENT_STATE_VERDICT_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/incidents/Incident.h"
#include "agent/state/MachineState.h"

struct Verdict {
    // In the numbers of monitoring plugins.
    enum Level : int { kOk = 0, kWarning = 1, kCritical = 2, kUnknown = 3 };

    Level level = kUnknown;
    std::string sentence;  // without a final stop; safe to show

    int exitCode() const { return level; }
    std::string word() const;  // "OK", "WARNING", "CRITICAL", "UNKNOWN"
};

// `now` in seconds since 1970-01-01 UTC, `staleAfter` in seconds.
Verdict verdict(const MachineState& state, const std::vector<Incident>& open, std::int64_t now,
                std::int64_t staleAfter);

#endif  // AGENT_STATE_VERDICT_H
