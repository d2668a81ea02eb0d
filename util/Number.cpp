#include "util/Number.h"

namespace {

struct Scanned {
    std::uint32_t magnitude = 0;
    bool negative = false;
    bool tooLarge = false;  // more than 32 bits
    bool anyDigit = false;
};

// White space of the C locale, whatever locale the host has set.
bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// 36, above every base, for what is no digit.
unsigned digitValue(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'z') return static_cast<unsigned>(c - 'a') + 10;
    if (c >= 'A' && c <= 'Z') return static_cast<unsigned>(c - 'A') + 10;
    return 36;
}

Scanned scan(const char* text, unsigned base) {
    Scanned result;
    if (text == nullptr) return result;
    while (isSpace(*text)) ++text;
    if (*text == '+' || *text == '-') result.negative = *text++ == '-';
    if (base == 16 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        result.anyDigit = true;  // the 0 is one, also when nothing follows the x
        text += 2;
    }
    for (unsigned digit = 0; (digit = digitValue(*text)) < base; ++text) {
        result.anyDigit = true;
        const std::uint64_t next = std::uint64_t{result.magnitude} * base + digit;
        if (next > UINT32_MAX) result.tooLarge = true;
        if (!result.tooLarge) result.magnitude = static_cast<std::uint32_t>(next);
    }
    return result;
}

std::uint32_t magnitudeOf(const Scanned& scanned) {
    if (scanned.tooLarge) return UINT32_MAX;
    return scanned.negative ? 0U - scanned.magnitude : scanned.magnitude;
}

}  // namespace

std::int32_t number::signedOf(const char* text, int base) {
    const Scanned scanned = scan(text, static_cast<unsigned>(base));
    const std::int64_t limit = scanned.negative ? -std::int64_t{INT32_MIN} : INT32_MAX;
    std::int64_t value = scanned.magnitude;
    if (scanned.tooLarge || value > limit) value = limit;
    return static_cast<std::int32_t>(scanned.negative ? -value : value);
}

std::uint32_t number::unsignedOf(const char* text, int base) {
    return magnitudeOf(scan(text, static_cast<unsigned>(base)));
}

bool scanHex32(const char* text, std::uint32_t& value) {
    const Scanned scanned = scan(text, 16);
    if (!scanned.anyDigit) return false;
    value = magnitudeOf(scanned);
    return true;
}
