#include "agent/fleet/FleetText.h"

#include <algorithm>

#include "agent/Duration.h"
#include "agent/SafeText.h"

namespace {

constexpr std::size_t kWidestName = 20;  // of a column that is not the last
constexpr std::size_t kNarrowest = 24;   // of the last one
constexpr const char* kGap = "  ";

std::string counted(std::int64_t number, const char* one, const char* many) {
    return std::to_string(number) + " " + (number == 1 ? one : many);
}

std::string padded(const std::string& text, std::size_t width) {
    const std::size_t now = textWidth(text);
    return now < width ? text + std::string(width - now, ' ') : text;
}

std::string cut(const std::string& text) {
    if (textWidth(text) <= kWidestName) return text;
    return cutText(text, kWidestName - 1) + "~";
}

std::string agoText(std::int64_t at, std::int64_t now) {
    return at == 0 ? "never" : durationText(now - at);
}

std::string survivesWord(int survives) { return survives < 0 ? "?" : std::to_string(survives); }

std::string whatOf(const FleetView::Machine& machine) {
    std::string text = safeText(machine.sentence);
    if (!machine.conflict.empty()) text += "; " + machine.conflict;
    return text;
}

std::string moreText(std::size_t left, const char* what) {
    if (left == 0) return std::string();
    return std::to_string(left) + " more " + what + "; --limit shows more\n";
}

}  // namespace

std::string FleetText::headline(const FleetView::Counts& counts) {
    std::string text = std::string(levelWord(FleetView::worst(counts))) + ": " +
                       counted(counts.machines, "machine", "machines");
    if (counts.machines == 0) return "UNKNOWN: no machine has said anything yet";
    std::string between = ": ";
    const auto add = [&](int number, const char* word) {
        if (number == 0) return;
        text += between + std::to_string(number) + " " + word;
        between = ", ";
    };
    add(counts.critical, "critical");
    add(counts.unknown, "unknown");
    add(counts.warning, "with warnings");
    add(counts.ok, "in order");
    between = "; ";
    add(counts.silent, "silent");
    add(counts.conflicts, counts.conflicts == 1 ? "id used twice" : "ids used twice");
    return text;
}

// The last column goes on below its own beginning.
std::string FleetText::rows(const std::vector<std::string>& titles,
                            const std::vector<std::vector<std::string>>& cells) const {
    std::vector<std::size_t> widths;
    widths.reserve(titles.size());
    for (const std::string& title : titles) widths.push_back(textWidth(title));
    for (const auto& row : cells) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            widths[i] = std::max(widths[i], textWidth(row[i]));
        }
    }
    std::size_t margin = 0;
    for (std::size_t i = 0; i + 1 < titles.size(); ++i) margin += widths[i] + 2;
    const std::size_t page = style.pageWidth();
    const std::size_t room = std::max(page > margin ? page - margin : 0, kNarrowest);

    std::string text;
    const auto addRow = [&](const std::vector<std::string>& row) {
        std::string lead;
        for (std::size_t i = 0; i + 1 < row.size(); ++i) lead += padded(row[i], widths[i]) + kGap;
        for (const std::string& part : wrapText(row.back(), room)) {
            std::string line = lead + part;
            line.erase(line.find_last_not_of(' ') + 1);
            text += line + "\n";
            lead.assign(margin, ' ');
        }
    };
    addRow(titles);
    for (const auto& row : cells) addRow(row);
    return text;
}

std::string FleetText::status(const std::vector<FleetView::Machine>& machines,
                              const std::vector<FleetView::Failures>& failed, std::size_t most,
                              std::int64_t now) const {
    const FleetView::Counts counts = FleetView::count(machines);
    std::string text;
    for (const std::string& line : wrapText(headline(counts), style.pageWidth()))
        text += line + "\n";
    std::vector<std::vector<std::string>> cells;
    std::size_t left = 0;
    for (const FleetView::Machine& machine : machines) {
        if (machine.level == Verdict::kOk) continue;
        if (cells.size() == most) {
            ++left;
            continue;
        }
        cells.push_back({cut(safeText(machine.host)), levelWord(machine.level),
                         agoText(machine.heardAt, now), whatOf(machine)});
    }
    if (!cells.empty()) {
        text += "\n" + rows({"MACHINE", "STATE", "HEARD", "HOW IT STANDS"}, cells);
        text += moreText(left, "are not in order");
    }
    if (!failed.empty()) text += "\n" + failures(failed, now);
    return text;
}

std::string FleetText::silent(const std::vector<FleetView::Machine>& machines,
                              std::int64_t now) const {
    std::vector<std::vector<std::string>> cells;
    for (const FleetView::Machine& machine : machines) {
        if (!machine.silent) continue;
        cells.push_back({cut(safeText(machine.host)), agoText(machine.heardAt, now), machine.id,
                         levelWord(machine.level)});
    }
    if (cells.empty()) return "No machine is silent.\n";
    return rows({"MACHINE", "SILENT FOR", "ID", "STATE"}, cells);
}

std::string FleetText::top(const std::vector<FleetView::Exposure>& exposures, std::size_t most,
                           std::int64_t now) const {
    if (exposures.empty()) return "Every array has all of its redundancy.\n";
    std::vector<std::vector<std::string>> cells;
    for (const FleetView::Exposure& row : exposures) {
        if (cells.size() == most) break;
        const FleetSummary::Array& array = row.array;
        cells.push_back({cut(safeText(row.host)), cut(safeText(array.name)),
                         cut(safeText(array.level)), survivesWord(array.survives),
                         durationText(now - array.exposedSince),
                         safeText(array.state) + ", " + std::to_string(array.working) + " of " +
                             counted(array.devices, "drive", "drives")});
    }
    return rows({"MACHINE", "ARRAY", "LEVEL", "SURVIVES", "EXPOSED", "STATE"}, cells) +
           moreText(exposures.size() - cells.size(), "are exposed");
}

std::string FleetText::failures(const std::vector<FleetView::Failures>& list,
                                std::int64_t now) const {
    std::string text = "Drives of one model and firmware that fail together\n";
    for (const FleetView::Failures& row : list) {
        std::string line = safeText(row.vendor);
        line += (line.empty() ? "" : " ") + safeText(row.model);
        if (!row.firmware.empty()) line += ", firmware " + safeText(row.firmware);
        line += ": " + std::to_string(row.failed) + " failed on " +
                counted(row.machines, "machine", "machines") + " within " +
                durationText(row.lastAt - row.firstAt) + ", the last " +
                durationText(now - row.lastAt) + " ago; " + counted(row.inUse, "is", "are") +
                " in use";
        for (const std::string& part : wrapText(line, style.pageWidth() - 2)) {
            text += "  " + part + "\n";
        }
    }
    return text;
}
