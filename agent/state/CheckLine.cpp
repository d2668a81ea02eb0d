#include "agent/state/CheckLine.h"

#include <algorithm>
#include <cstdio>

#include "agent/SafeText.h"

namespace {

template <class Objects>
std::string inState(const char* label, const Objects& objects, const std::string& state) {
    const auto count = std::count_if(objects.begin(), objects.end(),
                                     [&](const auto& object) { return object.state == state; });
    return std::string(" ") + label + "=" + std::to_string(count);
}

std::string number(const char* label, std::size_t count) {
    return std::string(" ") + label + "=" + std::to_string(count);
}

std::string survivesOf(const MachineState& state) {
    int least = -1;
    for (const ArrayState& array : state.arrays) {
        if (array.survives >= 0 && (least < 0 || array.survives < least)) least = array.survives;
    }
    return least < 0 ? "" : " survives=" + std::to_string(least);
}

std::string rebuildOf(const MachineState& state) {
    double least = -1;
    for (const ArrayState& array : state.arrays) {
        if (array.state != "rebuilding" || array.task.kind.empty()) continue;
        if (least < 0 || array.task.percent < least) least = array.task.percent;
    }
    if (least < 0) return "";
    char text[48];
    std::snprintf(text, sizeof text, " rebuild=%.0f%%;;;0;100", least);
    return text;
}

std::string numbers(const MachineState& state, const std::vector<Incident>& open, std::int64_t now,
                    std::int64_t staleAfter) {
    const auto failed =
        std::count_if(state.arrays.begin(), state.arrays.end(), [](const ArrayState& array) {
            return array.state == "failed" || array.state == "offline";
        });
    const auto predicted = std::count_if(state.drives.begin(), state.drives.end(),
                                         [](const DriveState& drive) { return drive.predicted; });
    const auto acknowledged = std::count_if(
        open.begin(), open.end(), [](const Incident& incident) { return incident.acknowledged(); });
    std::string text = "arrays=" + std::to_string(state.arrays.size());
    text += inState("degraded", state.arrays, "degraded");
    text += inState("rebuilding", state.arrays, "rebuilding");
    text += number("offline", static_cast<std::size_t>(failed));
    text += number("drives", state.drives.size());
    text += inState("failed", state.drives, "failed");
    text += number("predicted", static_cast<std::size_t>(predicted));
    text += inState("spares", state.drives, "spare");
    text += number("incidents", open.size());
    text += number("acknowledged", static_cast<std::size_t>(acknowledged));
    text += survivesOf(state) + rebuildOf(state);
    if (state.polledAt != 0) {
        text += " poll_age=" + std::to_string(std::max<std::int64_t>(now - state.polledAt, 0)) +
                "s;;" + std::to_string(staleAfter);
    }
    return text;
}

}  // namespace

std::string checkLine(const Verdict& verdict, const MachineState& state,
                      const std::vector<Incident>& open, std::int64_t now,
                      std::int64_t staleAfter) {
    std::string said = safeText(verdict.sentence);
    std::replace(said.begin(), said.end(), '|', '/');
    return std::string("RAID ") + levelWord(verdict.level) + " - " + said + " | " +
           numbers(state, open, now, staleAfter);
}
