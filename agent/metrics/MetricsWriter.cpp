#include "agent/metrics/MetricsWriter.h"

#include <charconv>
#include <cmath>
#include <map>
#include <set>
#include <utility>

#include "agent/SafeText.h"

namespace {

constexpr std::size_t kWidest = 200;
constexpr std::size_t kPlaceWidth = 40;

template <class Number>
void append(std::string& text, Number number) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, number);
    text.append(digits, end.ptr);
    text += '\n';
}

std::string escaped(const std::string& safe) {
    std::string value;
    value.reserve(safe.size());
    for (const char c : safe) {
        if (c == '\\' || c == '"') value += '\\';
        value += c;
    }
    return value;
}

}  // namespace

void MetricsWriter::begin(const char* name, const char* type, const char* labelNames,
                          const char* help) {
    family = name;
    labels.clear();
    std::string_view rest = labelNames;
    while (!rest.empty()) {
        const std::size_t comma = rest.find(',');
        labels.emplace_back(rest.substr(0, comma));
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    }
    text.append("# HELP ").append(family).append(" ").append(help).append("\n");
    text.append("# TYPE ").append(family).append(" ").append(type).append("\n");
}

void MetricsWriter::head(std::initializer_list<std::string_view> values) {
    text += family;
    char before = '{';
    std::size_t at = 0;
    for (const std::string_view value : values) {
        if (at == labels.size()) break;
        const std::string& label = labels[at++];
        if (value.empty()) continue;
        text += before;
        text.append(label).append("=\"").append(value).append("\"");
        before = ',';
    }
    if (before == ',') text += '}';
    text += ' ';
}

void MetricsWriter::sample(std::initializer_list<std::string_view> values, std::int64_t number) {
    head(values);
    append(text, number);
}

void MetricsWriter::sample(std::initializer_list<std::string_view> values, double number) {
    if (!std::isfinite(number)) return;
    head(values);
    append(text, number);
}

std::string MetricsWriter::take() { return std::move(text); }

std::string metricsLabel(const std::string& raw) {
    return escaped(cutText(safeText(raw), kWidest));
}

std::vector<std::string> metricsLabels(const std::vector<MetricsName>& names) {
    std::vector<std::string> plain;
    std::map<std::string, int> seen;
    for (const MetricsName& name : names) {
        plain.push_back(cutText(safeText(name.key), kWidest));
        ++seen[plain.back()];
    }
    std::set<std::string> given;
    for (const auto& [label, count] : seen) {
        if (count == 1) given.insert(label);
    }
    std::vector<std::string> labels;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (seen[plain[i]] > 1) {
            const std::string place = cutText(safeText(names[i].place), kPlaceWidth);
            const std::string placed = place.empty() ? plain[i] : plain[i] + "@" + place;
            std::string label = placed;
            for (int n = 2; !given.insert(label).second; ++n) {
                label = placed + "#" + std::to_string(n);
            }
            plain[i] = label;
        }
        labels.push_back(escaped(plain[i]));
    }
    return labels;
}
