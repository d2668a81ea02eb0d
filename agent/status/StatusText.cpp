#include "agent/status/StatusText.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "agent/ConfigText.h"
#include "agent/Duration.h"
#include "agent/SafeText.h"
#include "agent/incidents/IncidentRules.h"

namespace {

constexpr std::size_t kUsualWidth = 80;

// Worst first; what stands behind the last word is in order.
constexpr const char* kWorstFirst[] = {"failed",  "offline",  "degraded", "rebuilding",
                                       "unknown", "checking", "queued",   "normal"};

std::size_t rank(const std::string& state) {
    const auto* const found = std::find(std::begin(kWorstFirst), std::end(kWorstFirst), state);
    return static_cast<std::size_t>(found - std::begin(kWorstFirst));
}

bool isBad(const std::string& state) {
    return state == "failed" || state == "offline" || state == "missing" || state == "too hot";
}

bool isWarning(const std::string& state) {
    return state == "degraded" || state == "rebuilding" || state == "predicted";
}

class Page {
public:
    explicit Page(const EventText::Style& styleIN)
        : style(styleIN), width(styleIN.columns == 0 ? kUsualWidth : styleIN.columns) {}

    std::string text;

    void heading(const char* word) {
        text += "\n" + (style.colours ? "\x1b[1m" + std::string(word) + "\x1b[0m" : word) + "\n";
    }

    // Goes on below `indent` when it is too long for the line.
    void paragraph(const std::string& words, std::size_t indent) {
        const std::size_t room = width > indent + 20 ? width - indent : 20;
        for (const std::string& line : wrapText(words, room)) {
            text += std::string(indent, ' ') + line + "\n";
        }
    }

    void line(const std::string& words) {
        text += words.substr(0, words.find_last_not_of(' ') + 1) + "\n";
    }

    std::string state(const std::string& word) const {
        if (!style.colours || (!isBad(word) && !isWarning(word))) return word;
        return (isBad(word) ? "\x1b[31m" : "\x1b[33m") + word + "\x1b[0m";
    }

    std::string headline(const std::string& words) const {
        if (!style.colours) return words;
        const char* const colour = words.rfind("OK", 0) == 0         ? "\x1b[32m"
                                   : words.rfind("CRITICAL", 0) == 0 ? "\x1b[31m"
                                   : words.rfind("WARNING", 0) == 0  ? "\x1b[33m"
                                                                     : "\x1b[35m";
        const std::size_t end = words.find(':');
        return colour + words.substr(0, end) + "\x1b[0m" +
               (end == std::string::npos ? "" : words.substr(end));
    }

    std::size_t columns() const { return width; }

private:
    const EventText::Style style;
    const std::size_t width;
};

std::string cell(const std::string& raw, std::size_t width) {
    std::string text = raw.empty() ? "-" : safeText(raw);
    if (textWidth(text) > width) text = cutText(text, width - 1) + "~";
    return text + std::string(width - textWidth(text), ' ');
}

std::string plural(std::size_t count, const char* word) {
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

std::string redundancy(const ArrayState& array) {
    if (array.state == "failed" || array.state == "offline") return "data cannot be reached";
    if (array.survives < 0) return "redundancy not known";
    if (array.survives > 0) {
        return "survives " + std::to_string(array.survives) +
               (rank(array.state) < rank("checking") ? " more" : "");
    }
    return array.fullSurvives == 0 ? "no redundancy" : "survives 0 more";
}

std::string taskWords(const TaskState& task) {
    if (task.waiting) return task.kind + " waits for its turn";
    std::string words = task.kind + " " + std::to_string(static_cast<int>(task.percent)) + " %";
    if (task.megabytesPerSecond >= 1) {
        words += ", " + std::to_string(static_cast<int>(task.megabytesPerSecond)) + " MB/s";
    }
    if (task.secondsLeft >= 0) words += ", about " + durationText(task.secondsLeft) + " left";
    return words;
}

std::string memberWords(const ArrayState& array) {
    std::string words;
    for (const MemberState& member : array.members) {
        const std::string name = member.name.empty() ? "?" : safeText(member.name);
        const std::string shown = member.state == "missing" ? "a place" : name;
        if (!words.empty()) words += ", ";
        words += member.state == "active" ? shown : shown + " " + member.state;
    }
    return words;
}

void addArray(Page& page, const ArrayState& array, std::int64_t now) {
    page.line(
        "  " + cell(array.name, 10) + " " + cell(array.level, 8) + " " +
        cell(sizeText(static_cast<unsigned long long>(array.sizeMB)), 8) + "  " +
        page.state(array.state) +
        std::string(12 - std::min<std::size_t>(11, array.state.size()), ' ') + redundancy(array) +
        (array.exposedSince > 0 ? ", exposed " + durationText(now - array.exposedSince) : ""));
    if (!array.label.empty()) page.paragraph("\"" + safeText(array.label) + "\"", 13);
    if (!array.task.kind.empty()) page.paragraph(taskWords(array.task), 13);
    if (array.badStripes > 0) {
        page.paragraph(
            plural(static_cast<std::size_t>(array.badStripes), "mismatch") + "es at the last check",
            13);
    }
    if (rank(array.state) < rank("checking")) page.paragraph(memberWords(array), 13);
}

void addArrays(Page& page, const MachineState& state, std::int64_t now) {
    std::vector<const ArrayState*> order;
    for (const ArrayState& array : state.arrays) order.push_back(&array);
    std::stable_sort(order.begin(), order.end(), [](const ArrayState* a, const ArrayState* b) {
        return rank(a->state) < rank(b->state);
    });
    for (const ArrayState* array : order) addArray(page, *array, now);
}

std::string troubleOf(const DriveState& drive) {
    if (drive.state == "failed" || drive.state == "missing") return drive.state;
    return drive.predicted ? "predicted" : drive.state == "rebuilding" ? drive.state : "";
}

void addDrive(Page& page, const DriveState& drive, const std::string& trouble) {
    const std::string slot = drive.slotName.empty() ? drive.name : drive.slotName;
    page.line("  " + cell(slot, 12) + " " + page.state(trouble) +
              std::string(11 - std::min<std::size_t>(10, trouble.size()), ' ') + " " +
              cell(drive.serial, 18) + " " + cell(drive.osName, 8) + " " +
              cell(drive.vendor + (drive.vendor.empty() ? "" : " ") + drive.model, 22));
    std::string more = drive.slotName.empty() ? "" : drive.name;
    if (!drive.wwn.empty()) more += (more.empty() ? "" : ", ") + ("WWN " + drive.wwn);
    if (!drive.partNumber.empty()) {
        more += (more.empty() ? "" : ", ") + ("replace with part " + drive.partNumber);
    }
    if (!more.empty()) page.paragraph(safeText(more), 13);
}

void addDrives(Page& page, const MachineState& state) {
    bool headed = false;
    for (const DriveState& drive : state.drives) {
        const std::string trouble = troubleOf(drive);
        if (trouble.empty()) continue;
        if (!headed) page.heading("Drives in trouble");
        headed = true;
        addDrive(page, drive, trouble);
    }
}

void addEnclosures(Page& page, const MachineState& state) {
    bool headed = false;
    for (const EnclosureState& enclosure : state.enclosures) {
        for (const ElementState& element : enclosure.elements) {
            if (element.state == "normal" || element.state == "missing") continue;
            if (element.state == "unknown") continue;
            if (!headed) page.heading("Enclosures in trouble");
            headed = true;
            page.line(
                "  " + cell(element.name, 10) + " " + page.state(element.state) + " in " +
                safeText(enclosure.name) +
                (enclosure.partNumber.empty() ? "" : ", part " + safeText(enclosure.partNumber)));
        }
    }
}

void addIncidents(Page& page, const Seen& seen, std::int64_t now) {
    bool headed = false;
    for (const Incident& incident : seen.incidents) {
        // What is well again, and is watched for a while before it counts as over.
        if (findStanding(incident.condition, incident.value) == nullptr) continue;
        if (!headed) page.heading("Open incidents");
        headed = true;
        std::string words = safeText(incident.objectName) + " " + incident.value + ", since " +
                            durationText(now - incident.openedAt);
        words += incident.acknowledged() ? ", acknowledged by " + safeText(incident.ackBy)
                                         : "; raidwatch ack " + std::to_string(incident.id);
        page.line("  " + cell("#" + std::to_string(incident.id), 10) + " " +
                  wrapText(words, page.columns() - 13).front());
        const std::vector<std::string> rest = wrapText(words, page.columns() - 13);
        for (std::size_t i = 1; i < rest.size(); ++i) page.line(std::string(13, ' ') + rest[i]);
    }
}

std::string sinkWords(const SinkStatus& sink) {
    if (sink.ok && sink.waiting == 0) return "ok";
    std::string words =
        sink.ok ? "ok"
                : "failing, " + std::to_string(sink.tries) + (sink.tries == 1 ? " try" : " tries");
    if (sink.waiting > 0) words += ", " + std::to_string(sink.waiting) + " waiting";
    if (sink.dead > 0) words += ", " + std::to_string(sink.dead) + " given up";
    if (!sink.ok) words += ": " + safeText(sink.lastAnswer);
    return words;
}

void addSinks(Page& page, const Seen& seen) {
    if (seen.sinks.empty()) return;
    page.heading("Who is told");
    for (const SinkStatus& sink : seen.sinks) {
        const std::vector<std::string> words = wrapText(sinkWords(sink), page.columns() - 13);
        page.line("  " + cell(sink.sink, 10) + " " + words.front());
        for (std::size_t i = 1; i < words.size(); ++i) page.line(std::string(13, ' ') + words[i]);
    }
}

}  // namespace

std::string arrayTable(const MachineState& state, std::int64_t now, const EventText::Style& style) {
    Page page(style);
    addArrays(page, state, now);
    return page.text;
}

std::string statusText(const Seen& seen, const std::string& headline, std::int64_t now,
                       const EventText::Style& style) {
    const MachineState& state = seen.state;
    Page page(style);
    const std::vector<std::string> first = wrapText(headline, page.columns());
    page.line(page.headline(first.front()));
    for (std::size_t i = 1; i < first.size(); ++i) page.line("  " + first[i]);
    if (!seen.remark.empty()) page.paragraph(seen.remark, 0);
    if (state.polledAt == 0) return page.text;
    const std::string looked =
        now - state.polledAt < 2 ? "just now" : durationText(now - state.polledAt) + " ago";
    page.paragraph(safeText(state.host) + ", looked at " + looked + ": " +
                       plural(state.arrays.size(), "array") + ", " +
                       plural(state.drives.size(), "drive") + ", " +
                       plural(state.enclosures.size(), "enclosure") + ", " +
                       plural(state.controllers.size(), "controller"),
                   0);
    if (!state.arrays.empty()) page.heading("Arrays");
    addArrays(page, state, now);
    addDrives(page, state);
    addEnclosures(page, state);
    addIncidents(page, seen, now);
    addSinks(page, seen);
    return page.text;
}
