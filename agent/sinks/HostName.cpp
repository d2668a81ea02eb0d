#include "agent/sinks/HostName.h"

#include <unistd.h>

#include <algorithm>

namespace {

bool fits(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_';
}

}  // namespace

std::string hostName() {
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0) return "localhost";
    std::string kept = name;
    kept.erase(std::remove_if(kept.begin(), kept.end(), [](char c) { return !fits(c); }),
               kept.end());
    return kept.empty() ? "localhost" : kept;
}
