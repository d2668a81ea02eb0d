// ElapsedText: how long something took, for people, in at most two units:
//
//   elapsedText(45) "45 s"   elapsedText(11520) "3 h 12 min"   elapsedText(200000) "2 d 7 h"
//
// Pure; any thread.
#ifndef AGENT_ELAPSEDTEXT_H
#define AGENT_ELAPSEDTEXT_H

#include <cstdint>
#include <string>

// Negative durations, which a clock that was set back makes, count as 0.
std::string elapsedText(std::int64_t seconds);

#endif  // AGENT_ELAPSEDTEXT_H
