#include "agent/spool/StoredJson.h"

#include <cstddef>

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

constexpr char kBytes[] = "bytes";
constexpr char kDigits[] = "0123456789abcdef";

// The library itself says what it takes as a text.
bool isText(const std::string& raw) {
    try {
        (void)Json(raw).dump();
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

std::string hexOf(const std::string& raw) {
    std::string hex;
    for (const char c : raw) {
        const auto byte = static_cast<unsigned char>(c);
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 15];
    }
    return hex;
}

std::string bytesOf(const std::string& hex) {
    const std::string digits = kDigits;
    std::string raw;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        const std::size_t high = digits.find(hex[i]);
        const std::size_t low = digits.find(hex[i + 1]);
        if (high == std::string::npos || low == std::string::npos) break;
        raw += static_cast<char>(high * 16 + low);
    }
    return raw;
}

Json packed(const Json& json) {
    if (json.is_string()) {
        const auto& raw = json.get_ref<const std::string&>();
        return isText(raw) ? json : Json{{kBytes, hexOf(raw)}};
    }
    if (!json.is_structured()) return json;
    Json copy = json;
    for (Json& element : copy) element = packed(element);
    return copy;
}

Json unpacked(const Json& json) {
    if (!json.is_structured()) return json;
    if (json.is_object() && json.size() == 1 && json.contains(kBytes) && json[kBytes].is_string()) {
        return bytesOf(json[kBytes].get<std::string>());
    }
    Json copy = json;
    for (Json& element : copy) element = unpacked(element);
    return copy;
}

}  // namespace

std::string storedJson(const Json& json) { return packed(json).dump(); }

Json fromStoredJson(const std::string& text) {
    const Json json = Json::parse(text, nullptr, false);
    return json.is_discarded() ? Json() : unpacked(json);
}
