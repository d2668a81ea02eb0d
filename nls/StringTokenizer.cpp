#include "nls/StringTokenizer.h"

#include <algorithm>
#include <utility>

StringTokenizer::StringTokenizer(const std::string& text, const std::string& separator)
    : remaining(text), delimiter(separator) {
    construct();
}

int StringTokenizer::countTokens() const { return static_cast<int>(tokens.size() - taken); }

std::string StringTokenizer::nextToken() {
    if (!hasMoreTokens()) return "";
    return std::move(tokens[taken++]);
}

void StringTokenizer::construct() {
    if (delimiter.empty()) return;
    for (std::size_t start = 0; start < remaining.size();) {
        const std::size_t end = std::min(remaining.find(delimiter, start), remaining.size());
        if (end != start) tokens.push_back(remaining.substr(start, end - start));
        start = end + delimiter.size();
    }
    remaining.clear();
}
