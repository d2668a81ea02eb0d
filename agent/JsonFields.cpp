#include "agent/JsonFields.h"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <limits>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"

namespace {

constexpr std::size_t kShort = 1000;

using Json = nlohmann::ordered_json;

constexpr int kDeepest = 16;                        // JSON inside JSON; what is sent to us needs 5
constexpr std::int64_t kLastSecond = 253402300799;  // 9999-12-31T23:59:59Z

// A time that no clock shows is none: what is reckoned with it would overflow.
std::int64_t timeOrNone(std::int64_t seconds) {
    return seconds < 0 || seconds > kLastSecond ? 0 : seconds;
}

const Json* memberOf(const Json& json, const char* name) {
    if (!json.is_object()) return nullptr;
    const auto found = json.find(name);
    return found == json.end() ? nullptr : &*found;
}

}  // namespace

// The parser needs no stack for depth, but who copies or writes what it made does. Only the parser
// knows which brackets stand inside texts.
bool isDeep(const std::string& text) {
    const auto opened =
        std::count_if(text.begin(), text.end(), [](char c) { return c == '{' || c == '['; });
    if (opened <= kDeepest) return false;  // as good as always
    bool deep = false;
    const auto look = [&deep](int depth, Json::parse_event_t, Json&) {
        deep = deep || depth > kDeepest;
        return !deep;  // from there on nothing is kept
    };
    const Json shallow = Json::parse(text, look, false);
    return deep;
}

Json shallowJson(const std::string& text) {
    return isDeep(text) ? Json(Json::value_t::discarded) : Json::parse(text, nullptr, false);
}

std::string textOf(const Json& json, const char* name, const std::string& otherwise) {
    const Json* const member = memberOf(json, name);
    return member != nullptr && member->is_string() ? member->get<std::string>() : otherwise;
}

std::string shortTextOf(const Json& json, const char* name) {
    return textOf(json, name).substr(0, kShort);
}

std::int64_t numberOf(const Json& json, const char* name, std::int64_t otherwise) {
    const Json* const member = memberOf(json, name);
    return member != nullptr && member->is_number_integer() ? member->get<std::int64_t>()
                                                            : otherwise;
}

int intOf(const Json& json, const char* name, int otherwise) {
    const std::int64_t number = numberOf(json, name, otherwise);
    const bool fits =
        number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
    return fits ? static_cast<int>(number) : otherwise;
}

bool truthOf(const Json& json, const char* name, bool otherwise) {
    const Json* const member = memberOf(json, name);
    return member != nullptr && member->is_boolean() ? member->get<bool>() : otherwise;
}

std::int64_t timeOf(const Json& json, const char* name) {
    const Json* const member = memberOf(json, name);
    if (member == nullptr) return 0;
    if (member->is_number_integer()) return timeOrNone(member->get<std::int64_t>());
    return member->is_string() ? timeOrNone(millisecondsOf(member->get<std::string>()) / 1000) : 0;
}

Json timeOrNull(std::int64_t seconds) {
    return seconds == 0 ? Json(nullptr) : Json(rfc3339(seconds));
}

std::string rfc3339Milliseconds(std::int64_t at) {
    std::int64_t seconds = at / 1000;
    std::int64_t rest = at % 1000;
    if (rest < 0) {
        rest += 1000;
        --seconds;
    }
    std::string text = rfc3339(seconds);
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, ".%03dZ", static_cast<int>(rest));
    text.pop_back();
    return text + fraction;
}

std::int64_t millisecondsOf(const std::string& rfc3339Text) {
    std::tm parts{};
    const char* rest = strptime(rfc3339Text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (rest == nullptr) return 0;
    std::int64_t milliseconds = 0;
    if (*rest == '.') {
        std::int64_t worth = 100;
        for (++rest; *rest >= '0' && *rest <= '9'; ++rest, worth /= 10) {
            milliseconds += (*rest - '0') * worth;
        }
    }
    if (std::string(rest) != "Z") return 0;
    return static_cast<std::int64_t>(timegm(&parts)) * 1000 + milliseconds;
}

Origin originOf(const std::string& word) {
    for (const Origin origin : {Origin::kAtStart, Origin::kTest, Origin::kDrill}) {
        if (word == originWord(origin)) return origin;
    }
    return Origin::kLive;
}
