#include "agent/TimeWords.h"

#include <time.h>

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <fstream>

#include "agent/Failure.h"
#include "agent/SafeText.h"

namespace {

constexpr std::int64_t kDay = 86400;
constexpr std::size_t kMostDigits = 6;  // a million weeks is long enough
constexpr std::size_t kMostShown = 40;
constexpr char kDigits[] = "0123456789";

struct Unit {
    char letter;
    std::int64_t seconds;
};

constexpr Unit kUnits[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', kDay}, {'w', 7 * kDay}};

constexpr const char* kForms[] = {
    "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%d %H:%M", "%Y-%m-%d",
};

std::string quoted(const std::string& word) {
    return "\"" + cutText(safeText(word), kMostShown) + "\"";
}

bool readSpan(const std::string& word, std::int64_t& seconds) {
    if (word.size() < 2 || word.size() > kMostDigits + 1) return false;
    const std::string digits = word.substr(0, word.size() - 1);
    if (digits.find_first_not_of(kDigits) != std::string::npos) return false;
    for (const Unit& unit : kUnits) {
        if (word.back() != unit.letter) continue;
        seconds = std::stoll(digits) * unit.seconds;
        return true;
    }
    return false;
}

std::tm localParts(std::int64_t when) {
    const auto seconds = static_cast<std::time_t>(when);
    std::tm parts{};
    (void)localtime_r(&seconds, &parts);
    return parts;
}

// Midnight, `days` days from the day of `now`; days are not always 24 hours long.
std::int64_t midnight(std::int64_t now, int days) {
    std::tm parts = localParts(now);
    parts.tm_mday += days;
    parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

// ".5Z" and "+01:00": seconds east of UTC; false when it is none of that.
bool readZone(std::string rest, std::int64_t& offset) {
    if (rest[0] == '.') {
        const std::size_t end = rest.find_first_not_of(kDigits, 1);
        if (end == 1 || end == std::string::npos) return false;
        rest.erase(0, end);
    }
    offset = 0;
    if (rest == "Z" || rest == "z") return true;
    int hours = 0;
    int minutes = 0;
    int used = 0;
    const bool isZone = rest.size() == 6 && (rest[0] == '+' || rest[0] == '-') &&
                        std::sscanf(rest.c_str() + 1, "%2d:%2d%n", &hours, &minutes, &used) == 2 &&
                        used == 5 && hours >= 0 && hours < 24 && minutes >= 0 && minutes < 60;
    offset = (hours * 60 + minutes) * (rest[0] == '-' ? -60 : 60);
    return isZone;
}

// Only days that are in the calendar: the 31st of February is a slip.
bool readDate(const std::string& word, std::int64_t& when) {
    for (const char* form : kForms) {
        std::tm parts{};
        const char* const rest = strptime(word.c_str(), form, &parts);
        if (rest == nullptr) continue;
        const int day = parts.tm_mday;
        parts.tm_isdst = -1;
        std::int64_t offset = 0;
        if (*rest == 0) {
            when = std::mktime(&parts);
        } else if (readZone(rest, offset)) {
            when = static_cast<std::int64_t>(timegm(&parts)) - offset;
        } else {
            continue;
        }
        return parts.tm_mday == day;
    }
    return false;
}

bool readWord(const std::string& word, std::int64_t now, std::int64_t& when) {
    if (word == "now") {
        when = now;
    } else if (word == "today") {
        when = midnight(now, 0);
    } else if (word == "yesterday") {
        when = midnight(now, -1);
    } else if (word == "boot") {
        when = bootTime();
    } else {
        return readDate(word, when);
    }
    return when != 0;
}

[[noreturn]] void refuse(const char* flag, const std::string& word, const char* forms) {
    throw Failure(Failure::kBadUse, std::string(flag) + ": " + quoted(word) + " is no " + forms);
}

}  // namespace

std::int64_t spanOf(const char* flag, const std::string& word) {
    std::int64_t seconds = 0;
    if (!readSpan(word, seconds)) refuse(flag, word, "length of time; give 90m, 2h or 7d");
    if (seconds == 0) {
        throw Failure(Failure::kBadUse, std::string(flag) + ": give more than no time at all");
    }
    return seconds;
}

std::int64_t momentOf(const char* flag, const std::string& word, std::int64_t now) {
    std::int64_t value = 0;
    if (readSpan(word, value)) return now - value;
    if (readWord(word, now, value)) return value;
    refuse(flag, word, "time; give 2h, yesterday, boot, 2026-11-21 or \"2026-11-21 05:30\"");
}

std::int64_t endOf(const char* flag, const std::string& word, std::int64_t now) {
    std::int64_t value = 0;
    if (readSpan(word, value)) {
        value += now;
    } else if (!readWord(word, now, value)) {
        refuse(flag, word, "time; give 2h, 7d, 2026-11-21 or \"2026-11-21 05:30\"");
    }
    if (value <= now) {
        throw Failure(Failure::kBadUse, std::string(flag) + ": " + localTimeText(value) +
                                            " is over; give a time in the future");
    }
    return value;
}

std::int64_t bootTime() {
    std::ifstream in("/proc/stat");
    for (std::string word; in >> word;) {
        std::int64_t when = 0;
        if (word == "btime" && in >> when) return when;
    }
    return 0;
}

std::string localTimeText(std::int64_t when) {
    const std::tm parts = localParts(when);
    char text[40];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts));
}
