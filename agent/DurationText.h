// DurationText: how long something took, for people, in at most two units:
//
//   durationText(45) "45 s"   durationText(11520) "3 h 12 min"   durationText(200000) "2 d 7 h"
//
// Pure; any thread.
#ifndef AGENT_DURATIONTEXT_H
#define AGENT_DURATIONTEXT_H

#include <cstdint>
#include <string>

// Negative durations, which a clock that was set back makes, count as 0.
std::string durationText(std::int64_t seconds);

#endif  // AGENT_DURATIONTEXT_H
