#include "agent/ElapsedText.h"

#include <cstddef>
#include <iterator>

namespace {

struct Unit {
    std::int64_t seconds;
    const char* name;
};

constexpr Unit kUnits[] = {{86400, " d"}, {3600, " h"}, {60, " min"}, {1, " s"}};

}  // namespace

std::string elapsedText(std::int64_t seconds) {
    if (seconds <= 0) return "0 s";
    std::size_t i = 0;
    while (seconds < kUnits[i].seconds) ++i;
    std::string text = std::to_string(seconds / kUnits[i].seconds) + kUnits[i].name;
    const std::int64_t rest = seconds % kUnits[i].seconds;
    if (i + 1 >= std::size(kUnits)) return text;
    const std::int64_t next = rest / kUnits[i + 1].seconds;
    return next == 0 ? text : text + " " + std::to_string(next) + kUnits[i + 1].name;
}
