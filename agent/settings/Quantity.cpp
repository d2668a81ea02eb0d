#include "agent/settings/Quantity.h"

#include <charconv>
#include <cstddef>
#include <limits>
#include <system_error>

namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

struct Unit {
    char letter;
    std::int64_t size;
};

constexpr Unit kTimes[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}};
constexpr Unit kSizes[] = {{'K', 1LL << 10}, {'M', 1LL << 20}, {'G', 1LL << 30}, {'T', 1LL << 40}};

template <std::size_t n>
std::int64_t unitOf(const Unit (&units)[n], char letter) {
    for (const Unit& unit : units) {
        if (unit.letter == letter) return unit.size;
    }
    return 0;
}

// The number at the front of `text`, which loses it.
bool takeNumber(std::string& text, std::int64_t& number) {
    const char* const begin = text.data();
    const auto [end, error] = std::from_chars(begin, begin + text.size(), number);
    if (error != std::errc() || number < 0 || *begin == '-') return false;
    text.erase(0, static_cast<std::size_t>(end - begin));
    return true;
}

}  // namespace

bool parseDuration(const std::string& text, std::int64_t& seconds) {
    std::string rest = text;
    std::int64_t number = 0;
    if (!takeNumber(rest, number)) return false;
    if (rest.empty()) {
        seconds = number;
        return true;
    }
    std::int64_t sum = 0;
    for (;;) {
        // A number without a unit stands alone: "1h30" is unclear.
        const std::int64_t unit = rest.empty() ? 0 : unitOf(kTimes, rest.front());
        if (unit == 0 || number > (kMost - sum) / unit) return false;
        sum += number * unit;
        rest.erase(0, 1);
        if (rest.empty()) break;
        if (!takeNumber(rest, number)) return false;
    }
    seconds = sum;
    return true;
}

std::string writtenDuration(std::int64_t seconds) {
    Unit best = kTimes[0];
    for (const Unit& unit : kTimes) {
        // Weeks are understood, but days are what people write.
        if (unit.letter != 'w' && seconds != 0 && seconds % unit.size == 0) best = unit;
    }
    return std::to_string(seconds / best.size) + best.letter;
}

bool parseSize(const std::string& text, std::int64_t& bytes) {
    std::string rest = text;
    std::int64_t number = 0;
    if (!takeNumber(rest, number)) return false;
    const std::int64_t unit = rest.empty() ? 1 : unitOf(kSizes, rest.front());
    if (unit == 0 || rest.size() > 1 || number > kMost / unit) return false;
    bytes = number * unit;
    return true;
}

std::string writtenSize(std::int64_t bytes) {
    std::string text = std::to_string(bytes);
    for (const Unit& unit : kSizes) {
        if (bytes != 0 && bytes % unit.size == 0) {
            text = std::to_string(bytes / unit.size) + unit.letter;
        }
    }
    return text;
}

std::string quotedText(const std::string& text) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            quoted += std::string("\\") + c;
        } else if (c == '\n') {
            quoted += "\\n";
        } else if (byte < 0x20 || byte == 0x7f) {
            quoted += std::string("\\u00") + kHex[byte >> 4] + kHex[byte & 15];
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}
