#include "agent/Duration.h"

#include <algorithm>

std::string durationText(std::int64_t seconds) {
    struct Unit {
        std::int64_t seconds;
        const char* name;
        std::int64_t nextSeconds;
        const char* nextName;
    };
    constexpr Unit kUnits[] = {
        {86400, " d", 3600, " h"}, {3600, " h", 60, " min"}, {60, " min", 1, " s"}};

    const std::int64_t span = std::max<std::int64_t>(seconds, 0);
    for (const Unit& unit : kUnits) {
        if (span < unit.seconds) continue;
        const std::int64_t rest = span % unit.seconds / unit.nextSeconds;
        const std::string text = std::to_string(span / unit.seconds) + unit.name;
        return rest == 0 ? text : text + " " + std::to_string(rest) + unit.nextName;
    }
    return std::to_string(span) + " s";
}
