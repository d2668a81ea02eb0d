// A span of time as people read it: "45 s", "12 min", "3 h 12 min", "2 d 3 h". Any thread.
#ifndef AGENT_DURATION_H
#define AGENT_DURATION_H

#include <cstdint>
#include <string>

// The two largest units that are not zero; negative spans count as none.
std::string durationText(std::int64_t seconds);

#endif  // AGENT_DURATION_H
