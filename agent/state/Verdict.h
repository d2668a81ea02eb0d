// Verdict: is it all right? One level and one sentence, for `raidwatch status` and for monitoring.
//
//   const Verdict now = verdict(state, book.open(), time, settings.staleAfter);
//   return now.level;       // the exit code: 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN
//
//   1 array degraded: md0 survives 1 more drive failure
//   1 array rebuilding: md0 survives no further drive failure, rebuild 41 %, about 3 h 12 min left
//   all 3 arrays and 12 drives are in order
//
// CRITICAL: an array that is degraded or cannot be reached, and any open incident of error
// severity. WARNING: an array that is being rebuilt, a drive that failed without hurting an array,
// and any other open incident. UNKNOWN: no poll yet, the last one too old, or nothing to watch;
// never OK, whatever was seen before.
//
// An acknowledgement changes no level: the problem is still there, and who silences it in the
// monitoring does so there. The sentence says "acknowledged", and so does `acknowledged`.
//
// Pure functions; any thread. Texts are safe to show (SafeText). Times in seconds since 1970-01-01
// UTC.
#ifndef AGENT_STATE_VERDICT_H
#define AGENT_STATE_VERDICT_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/incidents/Incident.h"
#include "agent/state/MachineState.h"

struct Verdict {
    enum Level : int { kOk = 0, kWarning = 1, kCritical = 2, kUnknown = 3 };

    Level level = kUnknown;
    bool acknowledged = false;  // every problem that counts is
    std::string sentence;       // one line, no full stop
};

Verdict verdict(const MachineState& state, const std::vector<Incident>& open, std::int64_t now,
                std::int64_t staleAfter);

// "OK", "WARNING", "CRITICAL", "UNKNOWN"
const char* levelWord(Verdict::Level level);

#endif  // AGENT_STATE_VERDICT_H
