#include "storlib/sources/CleanText.h"

std::string cleanText(const std::string& raw) {
    // Identification fields are padded with blanks or NULs, and sysfs ends them with a line feed.
    static constexpr char kPadding[] = " \t\r\n\v\f\0";
    const std::string padding(kPadding, sizeof kPadding - 1);
    const std::string::size_type first = raw.find_first_not_of(padding);
    if (first == std::string::npos) return std::string();
    std::string text = raw.substr(first, raw.find_last_not_of(padding) - first + 1);
    for (char& c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f || c == '{' || c == '%') c = '_';
    }
    return text;
}
