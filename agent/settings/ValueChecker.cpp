#include "agent/settings/ValueChecker.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "agent/SafeText.h"
#include "agent/settings/Quantity.h"
#include "agent/settings/SecretFile.h"

namespace {

using Kind = SettingValue::Kind;

constexpr std::size_t kMostShown = 60;  // columns of a wrong value in a message

std::vector<std::string> splitWords(const std::string& words) {
    std::vector<std::string> list;
    for (std::size_t from = 0; !words.empty() && from <= words.size();) {
        const std::size_t to = std::min(words.find('|', from), words.size());
        list.push_back(words.substr(from, to - from));
        from = to + 1;
    }
    return list;
}

bool isSecondsKind(const SettingKey& row) {
    return row.kind == SettingKey::kSeconds || row.kind == SettingKey::kSecondsList;
}

std::string limitText(const SettingKey& row, std::int64_t limit) {
    if (isSecondsKind(row)) return writtenDuration(limit);
    return row.kind == SettingKey::kSize ? writtenSize(limit) : std::to_string(limit);
}

std::string name(const SettingKey& row) { return row.written(); }

std::string described(const SettingValue& value) {
    return value.kind == Kind::kText ? ValueChecker::shown(value.text)
                                     : ValueChecker::nameOf(value);
}

}  // namespace

std::string ValueChecker::joined(const std::vector<std::string>& words, const char* between) {
    std::string all;
    for (const std::string& word : words) all += (all.empty() ? "" : between) + word;
    return all;
}

std::string ValueChecker::shown(const std::string& text) {
    const std::string safe = safeText(text);
    const std::string cut = cutText(safe, kMostShown);
    return "\"" + cut + (cut.size() < safe.size() ? "..." : "") + "\"";
}

std::string ValueChecker::nameOf(const SettingValue& value) {
    switch (value.kind) {
        case Kind::kText:
            return "a text";
        case Kind::kNumber:
            return "a number";
        case Kind::kFlag:
            return "true or false";
        case Kind::kList:
            return "a list";
        case Kind::kTable:
            return "a table";
        case Kind::kOther:
            break;
    }
    return value.text;
}

bool ValueChecker::text(const SettingKey& row, const SettingValue& value, std::string& result) {
    if (!has(row, value, Kind::kText, "a text, in quotes")) return false;
    if (!isOneOf(row, value)) return false;
    const bool path = row.kind == SettingKey::kPath;
    if (path && !value.text.empty() && value.text.front() != '/') {
        return fail(value,
                    name(row) + " is " + shown(value.text) + "; give a path that begins with /");
    }
    if (row.kind == SettingKey::kUrl && !isUrl(row, value)) return false;
    result = value.text;
    return true;
}

bool ValueChecker::list(const SettingKey& row, const SettingValue& value,
                        std::vector<std::string>& result) {
    if (!has(row, value, Kind::kList, "a list of texts, as [\"...\"]")) return false;
    bool good = true;
    std::vector<std::string> texts;
    for (const SettingValue& item : value.items) {
        if (item.kind != Kind::kText) {
            good = fail(item, name(row) + " holds " + nameOf(item) +
                                  "; write each element as a text, in quotes");
        } else if (item.text.empty()) {
            good = fail(item, name(row) + " holds an empty text; remove it or fill it in");
        } else if (row.kind == SettingKey::kUrlList && !isUrl(row, item)) {
            good = false;
        }
        texts.push_back(item.text);
    }
    if (good && row.required && texts.empty()) {
        good = fail(value, name(row) + " is an empty list; give at least one");
    }
    if (good) result = std::move(texts);
    return good;
}

bool ValueChecker::table(const SettingKey& row, const SettingValue& value,
                         std::map<std::string, std::string>& result) {
    if (!has(row, value, Kind::kTable, "a table of texts, as { name = \"...\" }")) return false;
    bool good = true;
    for (const auto& [key, member] : value.members) {
        if (member.kind != Kind::kText) {
            good = fail(member, name(row) + "." + safeText(key) + " is " + nameOf(member) +
                                    "; write it as a text, in quotes");
            continue;
        }
        result[key] = member.text;
    }
    return good;
}

bool ValueChecker::number(const SettingKey& row, const SettingValue& value, std::int64_t& result) {
    if (row.kind == SettingKey::kFlag) {
        if (!has(row, value, Kind::kFlag, "true or false, without quotes")) return false;
        result = value.number;
        return true;
    }
    std::int64_t got = value.number;
    if (!isNumber(row, value, got)) return false;
    if (got < row.least || (row.most != 0 && got > row.most)) {
        return fail(value, name(row) + " is " + limitText(row, got) + "; give " +
                               limitText(row, row.least) + " to " + limitText(row, row.most));
    }
    result = got;
    return true;
}

bool ValueChecker::numbers(const SettingKey& row, const SettingValue& value,
                           std::vector<std::int64_t>& result) {
    if (!has(row, value, Kind::kList,
             isSecondsKind(row) ? "a list of times, as [\"1d\", \"7d\"]"
                                : "a list of numbers, as [401, 402]")) {
        return false;
    }
    bool good = true;
    std::vector<std::int64_t> list;
    for (const SettingValue& item : value.items) {
        std::int64_t one = 0;
        good = number(row, item, one) && good;
        list.push_back(one);
    }
    if (good) result = std::move(list);
    return good;
}

bool ValueChecker::secret(const SettingKey& row, const SettingValue& value, std::string& result) {
    if (!has(row, value, Kind::kText, "the path of a file, in quotes")) return false;
    std::string text;
    const std::string error = readSecretFile(value.text, text);
    if (!error.empty()) {
        return fail(value, name(row) + " " + safeText(value.text) + " " + error);
    }
    result = std::move(text);
    return true;
}

bool ValueChecker::fail(const SettingValue& value, const std::string& text) {
    problems.add(value, text);
    return false;
}

bool ValueChecker::has(const SettingKey& row, const SettingValue& value, SettingValue::Kind kind,
                       const char* wanted) {
    if (value.kind == kind) return true;
    return fail(value, name(row) + " is " + nameOf(value) + "; it must be " + wanted);
}

bool ValueChecker::isOneOf(const SettingKey& row, const SettingValue& value) {
    if (*row.words == 0 || row.kind == SettingKey::kUrl) return true;
    const std::vector<std::string> words = splitWords(row.words);
    if (std::find(words.begin(), words.end(), value.text) != words.end()) return true;
    return fail(value, name(row) + " is " + shown(value.text) + "; use " + joined(words, ", "));
}

bool ValueChecker::isUrl(const SettingKey& row, const SettingValue& value) {
    const std::vector<std::string> schemes = splitWords(row.words);
    const std::size_t colon = value.text.find("://");
    const std::string scheme = value.text.substr(0, std::min(colon, value.text.size()));
    // Before anything repeats the value: it holds the secret.
    const std::size_t host = colon == std::string::npos ? 0 : colon + 3;
    if (value.text.substr(0, value.text.find_first_of("/?#", host)).find('@') !=
        std::string::npos) {
        return fail(value, name(row) +
                               " holds a user or password; take it out and use user and "
                               "password_file, or token_file");
    }
    if (colon == std::string::npos || colon + 3 >= value.text.size() ||
        std::find(schemes.begin(), schemes.end(), scheme) == schemes.end()) {
        return fail(value, name(row) + " is " + shown(value.text) + "; begin it with " +
                               joined(schemes, ":// or ") + "://");
    }
    return true;
}

bool ValueChecker::isNumber(const SettingKey& row, const SettingValue& value, std::int64_t& got) {
    if (value.kind == Kind::kNumber) return true;
    if (isSecondsKind(row)) {
        if (value.kind == Kind::kText && parseDuration(value.text, got)) return true;
        return fail(value, name(row) + " is " + described(value) +
                               "; give a time as \"30s\", \"5m\", \"2h\" or \"7d\"");
    }
    if (row.kind == SettingKey::kSize) {
        if (value.kind == Kind::kText && parseSize(value.text, got)) return true;
        return fail(value, name(row) + " is " + described(value) +
                               "; give a size as \"10M\", or a number of bytes");
    }
    return fail(value, name(row) + " is " + described(value) + "; give a number, without quotes");
}
