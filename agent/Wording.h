// Wording: pieces of sentences for people.
//
//   counted(1, "drive")                      // "1 drive"
//   counted(3, "drive")                      // "3 drives"
//   counted(2, "mismatch", "mismatches")     // "2 mismatches"
//   joined("KOVA-PQ", " ", "")               // "KOVA-PQ"
//
// Pure functions; any thread.
#ifndef AGENT_WORDING_H
#define AGENT_WORDING_H

#include <cstdint>
#include <string>

inline std::string counted(std::int64_t count, const std::string& one, const std::string& many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

inline std::string counted(std::int64_t count, const std::string& one) {
    return counted(count, one, one + "s");
}

// `between` stands only where there is something on both sides of it.
inline std::string joined(const std::string& left, const std::string& between,
                          const std::string& right) {
    return left.empty() || right.empty() ? left + right : left + between + right;
}

#endif  // AGENT_WORDING_H
