// Quantity: times and sizes as people write them.
//
//   std::int64_t seconds = 0;
//   parseDuration("1h30m", seconds)      // true, 5400; also "90" for plain seconds
//   writtenDuration(5400)                   // "90m"
//   parseSize("10M", bytes)              // true, 10485760
//
// Pure functions; any thread. A text that is no quantity leaves the result as it was.
#ifndef AGENT_SETTINGS_QUANTITY_H
#define AGENT_SETTINGS_QUANTITY_H

#include <cstdint>
#include <string>

// Whole numbers with the units s, m, h, d, w, as "5m" or "1h30m"; without a unit seconds.
bool parseDuration(const std::string& text, std::int64_t& seconds);
// In the largest unit that needs no fraction: "0s", "90s", "15m", "7d".
std::string writtenDuration(std::int64_t seconds);

// A whole number, with K, M, G or T for powers of 1024.
bool parseSize(const std::string& text, std::int64_t& bytes);
std::string writtenSize(std::int64_t bytes);

// In double quotes, as TOML writes a text.
std::string quotedText(const std::string& text);

#endif  // AGENT_SETTINGS_QUANTITY_H
