#include "agent/settings/SettingsProblems.h"

#include <algorithm>
#include <cstddef>
#include <tuple>

#include "agent/SafeText.h"

void SettingsProblems::add(int file, int line, const std::string& text) {
    found.push_back({file, line, text});
}

std::vector<std::string> SettingsProblems::sorted() const {
    std::vector<Problem> ordered = found;
    std::stable_sort(ordered.begin(), ordered.end(), [](const Problem& a, const Problem& b) {
        return std::tie(a.file, a.line) < std::tie(b.file, b.line);
    });
    std::vector<std::string> lines;
    lines.reserve(ordered.size());
    for (const Problem& problem : ordered) {
        // Names of files and what a file holds may be any bytes; a problem is one line to be read.
        lines.push_back(safeText(where(problem.file, problem.line) + ": " + problem.text));
    }
    return lines;
}

std::string SettingsProblems::where(int file, int line) const {
    const std::string& name = files.at(static_cast<std::size_t>(file));
    return line == 0 ? name : name + ":" + std::to_string(line);
}
