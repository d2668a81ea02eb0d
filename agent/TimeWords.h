// TimeWords: times as people give them on a command line, and as we show them.
//
//   momentOf("--since", "2h", now)                  two hours ago
//   momentOf("--since", "2026-11-21 05:30", now)    local time
//   endOf("--until", "2h", now)                     in two hours
//   spanOf("--for", "90m")                          5400
//
// A span is a number with s, m, h, d or w. A moment is a span (so long ago), "now", "today",
// "yesterday", "boot", a date, a date and a time of day, or RFC 3339 with its zone; without a zone
// it is local time.
//
// Units    Seconds since 1970-01-01 UTC. Threads: any.
// Errors   Failure (bad use), which begins with the flag and names the forms.
#ifndef AGENT_TIMEWORDS_H
#define AGENT_TIMEWORDS_H

#include <cstdint>
#include <string>

std::int64_t spanOf(const char* flag, const std::string& word);
std::int64_t momentOf(const char* flag, const std::string& word, std::int64_t now);
// A moment in the future; a span counts from now.
std::int64_t endOf(const char* flag, const std::string& word, std::int64_t now);

// When the kernel started; 0 when it does not say.
std::int64_t bootTime();

std::string localTimeText(std::int64_t when);  // "2026-11-21 05:30:12"

#endif  // AGENT_TIMEWORDS_H
