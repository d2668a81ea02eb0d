#include "storlib/sources/ScenarioWords.h"

#include <algorithm>
#include <cstddef>

namespace ScenarioWords {

namespace {

constexpr std::size_t kFarthest = 2;  // edits that still pass for a slip

// Edits that lead from one word to the other; more than kFarthest for lengths that differ more.
std::size_t distance(const std::string& a, const std::string& b) {
    if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) > kFarthest) {
        return kFarthest + 1;
    }
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

}  // namespace

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

std::string suggestion(const std::string& given, const std::vector<std::string>& names) {
    std::size_t nearest = kFarthest + 1;
    const std::string* best = nullptr;
    for (const std::string& name : names) {
        const std::size_t edits = distance(given, name);
        // Of a word of two letters nothing would be left.
        if (edits >= nearest || edits >= name.size()) continue;
        nearest = edits;
        best = &name;
    }
    if (best != nullptr) return "; did you mean " + quoted(*best) + "?";
    std::string all;
    for (const std::string& name : names) all += (all.empty() ? "" : ", ") + name;
    return "; use one of: " + all;
}

}  // namespace ScenarioWords
