#include "agent/SafeText.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace {

struct Decoded {
    std::uint32_t character;
    std::size_t length;  // bytes; 0: no valid character starts here
};

bool isContinuation(unsigned char byte) { return (byte & 0xc0) == 0x80; }

Decoded decode(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(at);
    if (first < 0x80) return {first, 1};
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || at + length > text.size()) return {first, 0};
    std::uint32_t character = first & (0xffu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(byte(at + i))) return {first, 0};
        character = (character << 6) | (byte(at + i) & 0x3fu);
    }
    // Longer than needed, a surrogate, or beyond the last character: not valid either.
    const bool overlong =
        (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
    const bool surrogate = character >= 0xd800 && character <= 0xdfff;
    if (overlong || surrogate || character > 0x10ffff) return {first, 0};
    return {character, length};
}

bool isHarmful(std::uint32_t c) {
    return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0x061c || c == 0x200e || c == 0x200f ||
           (c >= 0x2028 && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069) || c == 0xfeff;
}

std::string escape(std::uint32_t character) {
    switch (character) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            break;
    }
    char form[16];
    std::snprintf(form, sizeof form, character < 0x80 ? "\\x%02x" : "\\u{%04x}", character);
    return form;
}

std::string escapeByte(unsigned char byte) {
    char form[8];
    std::snprintf(form, sizeof form, "\\x%02x", static_cast<unsigned>(byte));
    return form;
}

// Chinese, Japanese and Korean characters take two columns of a terminal.
bool isWide(std::uint32_t c) {
    return (c >= 0x1100 && c <= 0x115f) || (c >= 0x2e80 && c <= 0x303e) ||
           (c >= 0x3041 && c <= 0xa4cf) || (c >= 0xac00 && c <= 0xd7a3) ||
           (c >= 0xf900 && c <= 0xfaff) || (c >= 0xfe30 && c <= 0xfe6f) ||
           (c >= 0xff01 && c <= 0xff60) || (c >= 0xffe0 && c <= 0xffe6) ||
           (c >= 0x20000 && c <= 0x3fffd);
}

std::size_t lengthOf(const Decoded& next) { return std::max<std::size_t>(next.length, 1); }

std::size_t columnsOf(const Decoded& next) { return isWide(next.character) ? 2 : 1; }

// Bytes of the first characters, as many as fit into `width` columns.
std::size_t bytesOf(const std::string& text, std::size_t width) {
    std::size_t at = 0;
    while (at < text.size()) {
        const Decoded next = decode(text, at);
        if (columnsOf(next) > width) break;
        width -= columnsOf(next);
        at += lengthOf(next);
    }
    return at;
}

}  // namespace

std::string safeText(const std::string& raw) {
    std::string safe;
    safe.reserve(raw.size());
    for (std::size_t at = 0; at < raw.size();) {
        const Decoded next = decode(raw, at);
        if (next.length == 0) {
            safe += escapeByte(static_cast<unsigned char>(raw[at]));
        } else if (isHarmful(next.character)) {
            safe += escape(next.character);
        } else {
            safe.append(raw, at, next.length);
        }
        at += lengthOf(next);
    }
    return safe;
}

std::size_t textWidth(const std::string& text) {
    std::size_t width = 0;
    for (std::size_t at = 0; at < text.size();) {
        const Decoded next = decode(text, at);
        width += columnsOf(next);
        at += lengthOf(next);
    }
    return width;
}

std::string cutText(const std::string& text, std::size_t width) {
    return text.substr(0, bytesOf(text, width));
}

std::string tableCell(const std::string& raw, std::size_t width) {
    std::string text = raw.empty() ? "-" : safeText(raw);
    if (textWidth(text) > width) text = cutText(text, width - 1) + "~";
    return text + std::string(width - textWidth(text), ' ');
}

std::vector<std::string> wrapText(const std::string& text, std::size_t width) {
    std::vector<std::string> lines;
    std::string rest = text;
    while (width != 0 && textWidth(rest) > width) {
        const std::size_t limit = bytesOf(rest, width);
        std::size_t cut = rest.rfind(' ', limit);
        const bool atBlank = cut != std::string::npos && cut != 0;
        if (!atBlank) cut = limit != 0 ? limit : lengthOf(decode(rest, 0));
        lines.push_back(rest.substr(0, cut));
        rest.erase(0, atBlank ? cut + 1 : cut);
    }
    if (!rest.empty() || lines.empty()) lines.push_back(rest);
    return lines;
}
