#include "agent/sinks/SinkRule.h"

#include <algorithm>
#include <cctype>

namespace {

constexpr char kTestPrefix[] = "sink:";

int codeOf(const Record& record) {
    return record.kind == Record::Kind::kEvent ? record.event.eventCode
                                               : record.notice.incident.code;
}

bool sameLetter(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
}

bool fitsObjects(const std::vector<std::string>& patterns, const Record& record) {
    const auto fits = [&](const std::string& pattern) {
        return matchesPattern(pattern, record.objectName) || matchesPattern(pattern, record.object);
    };
    return patterns.empty() || std::any_of(patterns.begin(), patterns.end(), fits);
}

bool fitsCodes(const std::vector<int>& codes, const Record& record) {
    return codes.empty() || std::find(codes.begin(), codes.end(), codeOf(record)) != codes.end();
}

}  // namespace

std::string testObject(const std::string& sink) { return kTestPrefix + sink; }

bool isTestOfAnother(const SinkSettings& settings, const Record& record) {
    return record.origin == Origin::kTest && record.object.rfind(kTestPrefix, 0) == 0 &&
           record.object != testObject(settings.name);
}

bool isTestNotice(const Record& record) {
    return record.origin == Origin::kTest && record.kind == Record::Kind::kNotice;
}

bool passesFilter(const SinkFilter& filter, const Record& record) {
    return record.severity() <= filter.leastSeverity && fitsObjects(filter.objects, record) &&
           fitsCodes(filter.codes, record);
}

bool matchesPattern(const std::string& pattern, const std::string& text) {
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = std::string::npos;  // the last * seen, and where its run began
    std::size_t run = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            run = t;
        } else if (p < pattern.size() && (pattern[p] == '?' || sameLetter(pattern[p], text[t]))) {
            ++p;
            ++t;
        } else if (star != std::string::npos) {
            p = star + 1;
            t = ++run;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string::npos;
}
