#include "agent/settings/Spelling.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t kLongestWord = 40;

// How many letters must be changed, added or removed; two that changed places count as one.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::vector<std::size_t>> cost(a.size() + 1,
                                               std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1,
                                   cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[a.size()][b.size()];
}

}  // namespace

std::string suggestion(const std::string& written, const std::vector<std::string>& known,
                       const std::string& otherwise) {
    const std::string* best = nullptr;
    // Up to a third of the letters may be wrong: beyond that it is another word.
    std::size_t least = std::max<std::size_t>(1, written.size() / 3) + 1;
    if (written.size() <= kLongestWord && written.size() > 1) {
        for (const std::string& word : known) {
            const std::size_t d = distance(written, word);
            if (d < least) {
                least = d;
                best = &word;
            }
        }
    }
    return best == nullptr ? otherwise : "; did you mean " + *best + "?";
}
