#include "agent/state/CheckLine.h"

#include <algorithm>

namespace {

// "|" begins the performance data.
std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '|' || c == '\n' || c == '\r'; }, ' ');
    return text;
}

template <class List, class Test>
std::string count(const List& list, Test test) {
    return std::to_string(std::count_if(list.begin(), list.end(), test));
}

std::string performance(const MachineState& state, std::int64_t now) {
    const auto arrayIs = [](const char* word) {
        return [word](const ArrayState& array) { return array.state == word; };
    };
    const auto driveIs = [](const char* word) {
        return [word](const DriveState& drive) { return drive.state == word; };
    };
    int survives = -1;
    for (const ArrayState& array : state.arrays) {
        if (array.fullSurvives <= 0 || array.survives < 0) continue;
        survives = survives < 0 ? array.survives : std::min(survives, array.survives);
    }
    std::string text = "arrays=" + std::to_string(state.arrays.size());
    text += " degraded=" + count(state.arrays, arrayIs("degraded")) + ";;;0";
    text += " rebuilding=" + count(state.arrays, arrayIs("rebuilding")) + ";;;0";
    text += " failed=" + count(state.arrays, arrayIs("failed")) + ";;;0";
    text += " drives=" + std::to_string(state.drives.size());
    text += " failed_drives=" + count(state.drives, driveIs("failed")) + ";;;0";
    text += " spares=" + count(state.drives, driveIs("spare"));
    if (survives >= 0) text += " survives=" + std::to_string(survives) + ";;;0";
    for (const ArrayState& array : state.arrays) {
        if (array.task.kind.empty() || array.task.waiting) continue;
        std::string label = oneLine(array.name) + "_" + array.task.kind;
        std::replace_if(
            label.begin(), label.end(), [](char c) { return c == '\'' || c == '='; }, '_');
        text += " '" + label + "'=" + std::to_string(static_cast<int>(array.task.percent)) +
                "%;;;0;100";
    }
    text += " age=" + std::to_string(std::max<std::int64_t>(0, now - state.polledAt)) + "s;;;0";
    return text;
}

}  // namespace

std::string checkLine(const MachineState& state, const Verdict& found, std::int64_t now) {
    const std::string line = "RAID " + found.word() + " - " + oneLine(found.sentence);
    return state.polledAt == 0 ? line : line + " | " + performance(state, now);
}
