// Number: text to 32-bit numbers, with the same result on every host.
//
// The standard conversions follow the width of `long`, so a file read by a 64-bit program would
// give other values than by a 32-bit one. These follow the standard rules for 32 bits: skip white
// space, take one sign, take digits, stop at the first other character.
//
// Threads any. Errors none: what is no number is 0, what is too large is clamped. Null is "".
//
//   strtol32("4294967295")     2147483647
//   strtoul32("-1")            4294967295
//   strtol32("0x1F", 16)       31
#ifndef UTIL_NUMBER_H
#define UTIL_NUMBER_H

#include <cstdint>

// Base 2 to 36; base 16 allows a leading "0x" or "0X".
inline std::int32_t strtol32(const char* text, int base = 10);

// As above. A magnitude beyond 32 bits gives 4294967295, whatever the sign; otherwise "-" negates
// modulo 2^32.
inline std::uint32_t strtoul32(const char* text, int base = 10);

// Reads hexadecimal digits as the conversion "%x" of a 32-bit scanf() does. Without a digit
// `value` stays as it was and the result is false; "0x" alone counts as 0.
bool scanHex32(const char* text, std::uint32_t& value);

namespace number {

// For every text; the calls above take the short way where they can.
std::int32_t signedOf(const char* text, int base);
std::uint32_t unsignedOf(const char* text, int base);

// Most numbers are a few decimal digits and nothing else. False for every other text.
inline bool scanPlain(const char* text, int base, std::uint32_t& value) {
    constexpr int kSafeDigits = 9;  // less than 2^31
    if (base != 10 || text == nullptr || *text < '0' || *text > '9') return false;
    value = static_cast<std::uint32_t>(*text - '0');
    for (int digits = 1; digits <= kSafeDigits; ++digits) {
        const char c = text[digits];
        if (c < '0' || c > '9') return true;
        value = value * 10 + static_cast<std::uint32_t>(c - '0');
    }
    return false;
}

}  // namespace number

inline std::int32_t strtol32(const char* text, int base) {
    std::uint32_t plain = 0;
    if (number::scanPlain(text, base, plain)) return static_cast<std::int32_t>(plain);
    return number::signedOf(text, base);
}

inline std::uint32_t strtoul32(const char* text, int base) {
    std::uint32_t plain = 0;
    return number::scanPlain(text, base, plain) ? plain : number::unsignedOf(text, base);
}

#endif  // UTIL_NUMBER_H
