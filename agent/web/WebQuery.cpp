#include "agent/web/WebQuery.h"

#include <algorithm>
#include <charconv>

#include "agent/JsonFields.h"
#include "agent/SafeText.h"

namespace {

constexpr std::size_t kMostShown = 40;

std::string shown(const std::string& text) {
    return "\"" + cutText(safeText(text), kMostShown) + "\"";
}

bool isNumber(const std::string& text, std::int64_t most, std::int64_t& number) {
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end && number >= 0 && number <= most;
}

}  // namespace

WebQuery::WebQuery(const WebRequest& requestIN, std::initializer_list<const char*> known)
    : request(requestIN) {
    std::vector<std::string> names;
    for (const auto& [name, value] : request.parameters) {
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            std::string list;
            for (const char* each : known) list += (list.empty() ? "" : ", ") + std::string(each);
            throw Bad("there is no parameter " + shown(name) +
                      (list.empty() ? " here" : "; there is " + list));
        }
        if (std::find(names.begin(), names.end(), name) != names.end()) {
            throw Bad(shown(name) + " is given twice");
        }
        names.push_back(name);
    }
}

bool WebQuery::has(const char* name) const {
    return std::any_of(request.parameters.begin(), request.parameters.end(),
                       [name](const auto& one) { return one.first == name; });
}

std::string WebQuery::text(const char* name) const { return request.parameter(name); }

std::int64_t WebQuery::number(const char* name, std::int64_t otherwise, std::int64_t most) const {
    if (!has(name)) return otherwise;
    std::int64_t number = 0;
    if (!isNumber(text(name), most, number)) {
        throw Bad(std::string(name) + " is " + shown(text(name)) + "; give a whole number, 0 to " +
                  std::to_string(most));
    }
    return number;
}

bool WebQuery::truth(const char* name, bool otherwise) const {
    if (!has(name)) return otherwise;
    if (text(name) == "true") return true;
    if (text(name) == "false") return false;
    throw Bad(std::string(name) + " is " + shown(text(name)) + "; give true or false");
}

std::int64_t WebQuery::milliseconds(const char* name) const {
    if (!has(name)) return 0;
    const std::int64_t at = millisecondsOf(text(name));
    if (at <= 0) {
        throw Bad(std::string(name) + " is " + shown(text(name)) +
                  "; give a time in UTC, as 2026-11-21T05:30:12Z");
    }
    return at;
}

std::vector<int> WebQuery::numbers(const char* name, int most) const {
    std::vector<int> list;
    if (!has(name)) return list;
    const std::string words = text(name) + ",";
    for (std::size_t from = 0; from < words.size();) {
        const std::size_t comma = words.find(',', from);
        std::int64_t number = 0;
        if (!isNumber(words.substr(from, comma - from), most, number)) {
            throw Bad(std::string(name) + " is " + shown(text(name)) +
                      "; give whole numbers with commas between, as 401,404");
        }
        list.push_back(static_cast<int>(number));
        from = comma + 1;
    }
    return list;
}
