#include "agent/status/StatusText.h"

#include <algorithm>
#include <cstddef>

#include "agent/ConfigText.h"
#include "agent/Duration.h"
#include "agent/SafeText.h"
#include "agent/Wording.h"
#include "agent/incidents/IncidentRules.h"
#include "agent/state/Trouble.h"

namespace {

// So many arrays that are in order are named, the others counted.
constexpr std::size_t kMostInOrder = 20;

constexpr std::size_t kNameWidth = 10;  // of the first column, when no name is wider
constexpr std::size_t kSlotWidth = 12;
constexpr std::size_t kWidestName = 24;    // longer ones are cut
constexpr std::size_t kSerialWidth = 18;   // when no serial number is wider; none is ever cut
constexpr std::size_t kDetailIndent = 13;  // of what is said below a row

bool isBad(const std::string& state) {
    return state == "failed" || state == "offline" || state == "missing" || state == "too hot";
}

bool isWarning(const std::string& state) {
    return state == "degraded" || state == "rebuilding" || state == "predicted";
}

// A column as wide as its widest cell.
class Column {
public:
    explicit Column(std::size_t least) : columns(least) {}
    void makeRoomFor(const std::string& raw) {
        columns = std::max(columns, textWidth(safeText(raw)));
    }
    void keepBelow(std::size_t most) { columns = std::min(columns, most); }

    std::string cell(const std::string& raw) const { return tableCell(raw, columns); }
    std::size_t width() const { return columns; }

private:
    std::size_t columns;
};

class Page {
public:
    explicit Page(const EventText::Style& styleIN) : style(styleIN), width(styleIN.pageWidth()) {}

    std::string text;

    void heading(const char* word) {
        text += "\n" + (style.colours ? "\x1b[1m" + std::string(word) + "\x1b[0m" : word) + "\n";
    }

    // A name and what is said of it, on as many lines as that takes.
    void entry(const Column& names, const std::string& name, const std::string& words) {
        std::string lead = "  " + names.cell(name) + " ";
        for (const std::string& part : wrapText(words, room(names.width() + 3))) {
            line(lead + part);
            lead.assign(names.width() + 3, ' ');
        }
    }

    // Below a row; nothing when there is nothing to say.
    void detail(const std::string& words) {
        if (!words.empty()) paragraph(words, kDetailIndent);
    }

    // Goes on below `indent` when it is too long for the line.
    void paragraph(const std::string& words, std::size_t indent) {
        for (const std::string& line : wrapText(words, room(indent))) {
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
    std::size_t room(std::size_t indent) const { return width > indent + 20 ? width - indent : 20; }

    const EventText::Style style;
    const std::size_t width;
};

bool isWhole(const ArrayState& array) {
    return troubleRank(array.state) >= troubleRank("checking");
}

std::string redundancy(const ArrayState& array) {
    if (array.state == "failed" || array.state == "offline") return "data cannot be reached";
    if (array.survives < 0) return "redundancy not known";
    if (array.survives > 0) {
        return "survives " + std::to_string(array.survives) + (isWhole(array) ? "" : " more");
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

void addArray(Page& page, const ArrayState& array, const Column& names, std::int64_t now) {
    page.line(
        "  " + names.cell(array.name) + " " + tableCell(array.level, 8) + " " +
        tableCell(sizeText(static_cast<unsigned long long>(array.sizeMB)), 8) + "  " +
        page.state(array.state) +
        std::string(12 - std::min<std::size_t>(11, array.state.size()), ' ') + redundancy(array) +
        (array.exposedSince > 0 ? ", exposed " + durationText(now - array.exposedSince) : ""));
    if (!array.label.empty()) page.detail("\"" + safeText(array.label) + "\"");
    if (!array.task.kind.empty()) page.detail(taskWords(array.task));
    if (array.badStripes > 0) {
        page.detail(counted(array.badStripes, "mismatch", "mismatches") + " at the last check");
    }
    if (!isWhole(array)) page.detail(memberWords(array));
}

void addArrays(Page& page, const MachineState& state, std::int64_t now) {
    std::vector<const ArrayState*> order = worstFirst(state.arrays);
    const auto whole = std::find_if(order.begin(), order.end(), [](const ArrayState* array) {
        return isInOrder(array->state);
    });
    const auto inOrder = static_cast<std::size_t>(order.end() - whole);
    const std::size_t unnamed = inOrder > kMostInOrder ? inOrder - kMostInOrder : 0;
    order.resize(order.size() - unnamed);
    Column names(kNameWidth);
    for (const ArrayState* array : order) names.makeRoomFor(array->name);
    names.keepBelow(kWidestName);
    for (const ArrayState* array : order) addArray(page, *array, names, now);
    if (unnamed == 0) return;
    page.paragraph("and " + counted(static_cast<std::int64_t>(unnamed), "more array") +
                       " in order; raidwatch list arrays names all",
                   2);
}

bool isInTrouble(const DriveState& drive) {
    return troubleRank(shownState(drive)) <= troubleRank("rebuilding");
}

const std::string& slotOf(const DriveState& drive) {
    return drive.slotName.empty() ? drive.name : drive.slotName;
}

void addDrive(Page& page, const DriveState& drive, const Column& slots, const Column& serials) {
    const std::string trouble = shownState(drive);
    page.line("  " + slots.cell(slotOf(drive)) + " " + page.state(trouble) +
              std::string(11 - std::min<std::size_t>(10, trouble.size()), ' ') + " " +
              serials.cell(drive.serial) + " " + tableCell(drive.osName, 8) + " " +
              tableCell(joined(drive.vendor, " ", drive.model), 22));
    std::string more = drive.slotName.empty() ? "" : drive.name;
    if (!drive.wwn.empty()) more = joined(more, ", ", "WWN " + drive.wwn);
    if (!drive.partNumber.empty()) {
        more = joined(more, ", ", "replace with part " + drive.partNumber);
    }
    page.detail(safeText(more));
}

void addDrives(Page& page, const MachineState& state) {
    std::vector<const DriveState*> order = worstFirst(state.drives);
    order.erase(std::find_if(order.begin(), order.end(),
                             [](const DriveState* drive) { return !isInTrouble(*drive); }),
                order.end());
    if (order.empty()) return;
    Column slots(kSlotWidth);
    Column serials(kSerialWidth);
    for (const DriveState* drive : order) {
        slots.makeRoomFor(slotOf(*drive));
        serials.makeRoomFor(drive->serial);
    }
    slots.keepBelow(kWidestName);
    page.heading("Drives in trouble");
    for (const DriveState* drive : order) addDrive(page, *drive, slots, serials);
}

bool isInTrouble(const ElementState& element) {
    return element.state != "normal" && element.state != "missing" && element.state != "unknown";
}

void addEnclosures(Page& page, const MachineState& state) {
    bool headed = false;
    Column names(kNameWidth);
    for (const EnclosureState& enclosure : state.enclosures) {
        for (const ElementState& element : enclosure.elements) {
            if (isInTrouble(element)) names.makeRoomFor(element.name);
        }
    }
    names.keepBelow(kWidestName);
    for (const EnclosureState& enclosure : state.enclosures) {
        for (const ElementState& element : enclosure.elements) {
            if (!isInTrouble(element)) continue;
            if (!headed) page.heading("Enclosures in trouble");
            headed = true;
            page.line(
                "  " + names.cell(element.name) + " " + page.state(element.state) + " in " +
                safeText(enclosure.name) +
                (enclosure.partNumber.empty() ? "" : ", part " + safeText(enclosure.partNumber)));
        }
    }
}

void addIncidents(Page& page, const Seen& seen, std::int64_t now) {
    bool headed = false;
    for (const Incident& incident : seen.incidents) {
        if (isWellAgain(incident)) continue;
        if (!headed) page.heading("Open incidents");
        headed = true;
        std::string words = safeText(incident.objectName) + " " + incident.value + ", since " +
                            durationText(now - incident.openedAt);
        words += incident.acknowledged() ? ", acknowledged by " + safeText(incident.ackBy)
                                         : "; raidwatch ack " + std::to_string(incident.id);
        page.entry(Column(kNameWidth), "#" + std::to_string(incident.id), words);
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
    Column names(kNameWidth);
    for (const SinkStatus& sink : seen.sinks) names.makeRoomFor(sink.sink);
    names.keepBelow(kWidestName);
    for (const SinkStatus& sink : seen.sinks) {
        page.entry(names, sink.sink, sinkWords(sink));
    }
}

}  // namespace

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
                       counted(state.arrays.size(), "array") + ", " +
                       counted(state.drives.size(), "drive") + ", " +
                       counted(state.enclosures.size(), "enclosure") + ", " +
                       counted(state.controllers.size(), "controller"),
                   0);
    if (!state.arrays.empty()) page.heading("Arrays");
    addArrays(page, state, now);
    addDrives(page, state);
    addEnclosures(page, state);
    addIncidents(page, seen, now);
    addSinks(page, seen);
    return page.text;
}
