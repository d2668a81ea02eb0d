#include "agent/incidents/NoticeText.h"

#include <cstdio>

#include "agent/Duration.h"
#include "agent/EventJson.h"
#include "agent/SafeText.h"
#include "agent/Wording.h"
#include "agent/incidents/IncidentRules.h"
#include "agent/incidents/Redundancy.h"

namespace {

using Kind = Notice::Kind;

constexpr std::size_t kLabelWidth = 13;

std::string prefix(const Incident& incident) {
    if (incident.origin == Origin::kDrill) return "DRILL ";
    if (incident.origin == Origin::kTest) return "TEST ";
    return "";
}

std::string hostOf(const MachineState& state) {
    return state.host.empty() ? "this machine" : state.host;
}

std::string wordOf(const Incident& incident) {
    const Standing* standing = findStanding(incident.condition, incident.value);
    return standing != nullptr ? standing->word : "NORMAL";
}

std::string percentText(const TaskState& task) {
    char number[16];
    std::snprintf(number, sizeof number, "%.0f", task.percent);
    std::string text = task.kind + " " + number + " %";
    if (task.secondsLeft >= 0) text += ", about " + durationText(task.secondsLeft) + " left";
    return text;
}

const ArrayState* arrayOf(const Incident& incident, const MachineState& state) {
    if (incident.condition != "redundancy") return nullptr;
    for (const ArrayState& array : state.arrays) {
        if (array.key == incident.object) return &array;
    }
    return nullptr;
}

// What a subject says after the colon, when the value alone does not say it.
std::string standingText(const Incident& incident, const MachineState& state) {
    const Standing* standing = findStanding(incident.condition, incident.value);
    std::string text = standing != nullptr ? standing->says : "";
    if (incident.condition != "redundancy" || incident.value == "offline") return text;
    text = joined(text, ", ", survivesText(incident.survives));
    const ArrayState* array = arrayOf(incident, state);
    if (incident.value == "rebuilding" && array != nullptr && !array->task.kind.empty()) {
        text = joined(text, ", ", percentText(array->task));
    }
    return text;
}

// Conditions that their object alone does not tell: "temperature normal again".
std::string conditionText(const Incident& incident) {
    for (const char* plain : {"redundancy", "drive", "controller", "enclosure", "fan", "supply"}) {
        if (incident.condition.compare(0, std::string(plain).size(), plain) == 0) return "";
    }
    return incident.condition + " ";
}

std::string endText(const Incident& incident) {
    const std::string after = " after " + durationText(incident.resolvedAt - incident.openedAt);
    if (incident.value == values::kDeleted) return "deleted" + after;
    if (incident.value == values::kReplaced) return "replaced" + after;
    return conditionText(incident) + "normal again" + after;
}

// "drive 1:0:3 failed"; "" when all of them are in order.
std::string troubleText(const std::vector<DriveState>& drives) {
    std::string text;
    std::size_t troubled = 0;
    for (const DriveState& drive : drives) {
        if (drive.state != "failed" && drive.state != "missing") continue;
        text = joined(text, ", ", drive.name + " " + drive.state);
        ++troubled;
    }
    constexpr std::size_t kMost = 2;
    return troubled <= kMost ? text : std::to_string(troubled) + " drives failed or missing";
}

std::string subjectText(const Notice& notice, const MachineState& state,
                        const std::vector<DriveState>& drives, std::int64_t now) {
    const Incident& incident = notice.incident;
    const std::string where = NoticeText::subjectOf(incident) + " on " + hostOf(state);
    const auto form = [&where](const std::string& word, const std::string& says) {
        return joined(word + " " + where, ": ", says);
    };
    switch (notice.kind) {
        case Kind::kTest:
            return "TEST from " + hostOf(state) + ": nothing happened";
        case Kind::kResolved:
            return form("RESOLVED", endText(incident));
        case Kind::kFlapping:
            return form("FLAPPING", "changed " + std::to_string(incident.changes) + " times in " +
                                        durationText(now - incident.changesSince));
        case Kind::kReminder:
            return form("REMINDER " + wordOf(incident),
                        joined("for " + durationText(now - incident.openedAt), ", ",
                               standingText(incident, state)));
        case Kind::kUpdated:
            if (incident.condition != "redundancy") break;
            return form(wordOf(incident),
                        joined(standingText(incident, state), ", ", troubleText(drives)));
        case Kind::kOpened:
        case Kind::kWorse:
            break;
    }
    return form(wordOf(incident), standingText(incident, state));
}

std::string oneLine(const std::string& raw, std::size_t columns) {
    std::string line = safeText(raw);
    if (textWidth(line) > columns) line = cutText(line, columns - 3) + "...";
    return line;
}

std::string paragraph(const std::string& raw, const std::string& indent = "") {
    std::string text;
    for (const std::string& line :
         wrapText(safeText(raw), NoticeText::kBodyColumns - indent.size())) {
        text += indent + line + "\n";
    }
    return text;
}

// "Redundancy  survives 1 more drive failure"; nothing when there is nothing to say.
std::string field(const std::string& label, const std::string& raw) {
    if (raw.empty()) return "";
    const std::string indent(kLabelWidth, ' ');
    std::string text = paragraph(raw, indent);
    return label + text.substr(label.size());
}

std::string arrayField(const ArrayState& array) {
    std::string text = joined(array.name, ", ", array.level);
    if (!array.label.empty()) text += ", \"" + array.label + "\"";
    text = joined(text, ": ", array.state);
    if (array.devices > 0 && array.working >= 0) {
        text += ", " + std::to_string(array.working) + " of " + std::to_string(array.devices) +
                " drives in order";
    }
    if (array.spares > 0) {
        text += ", " + std::to_string(array.spares) + (array.spares == 1 ? " spare" : " spares");
    }
    return text;
}

std::string driveField(const DriveState& drive) {
    std::string text = joined(drive.name, ": ", drive.state);
    if (drive.predicted) text += ", it foretells its failure";
    const auto add = [&text](const char* label, const std::string& value) {
        if (!value.empty()) text += std::string(", ") + label + value;
    };
    add("slot ", drive.slot >= 0 ? std::to_string(drive.slot) : "");
    add("serial ", drive.serial);
    add("WWN ", drive.wwn);
    add("part number ", drive.partNumber);
    add("", joined(drive.vendor, " ", drive.model));
    add("at present ", drive.osName);
    return text;
}

std::string since(std::int64_t when, std::int64_t now) {
    if (when == 0) return "";
    return "since " + rfc3339(when) + " (" + durationText(now - when) + ")";
}

// The command that shows the object; "" for a name that nobody should copy into a shell.
std::string lookAt(const std::string& name) {
    constexpr char kHarmless[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 :._/-";
    if (name.empty() || name.find_first_not_of(kHarmless) != std::string::npos) return "";
    const bool isOneWord = name.find(' ') == std::string::npos;
    return "raidwatch show " + (isOneWord ? name : "'" + name + "'");
}

std::string firstLine(const Notice& notice, std::int64_t now) {
    const Incident& incident = notice.incident;
    switch (notice.kind) {
        case Kind::kTest:
            return "This is a test. Nothing happened, and nothing is to be done.";
        case Kind::kResolved:
            return "This is over: " + NoticeText::subjectOf(incident) + ", " + endText(incident) +
                   ".";
        case Kind::kReminder:
            return "This has lasted for " + durationText(now - incident.openedAt) +
                   " and nobody has acknowledged it.";
        case Kind::kFlapping:
            return "This comes and goes. You will be told again when it has held still, or when "
                   "it gets worse.";
        case Kind::kOpened:
            if (!incident.flapping) break;
            return "This was over a short time ago and is back. You will be told again when it has "
                   "held still, or when it gets worse.";
        case Kind::kUpdated:
        case Kind::kWorse:
            break;
    }
    return "";
}

}  // namespace

std::string NoticeText::subjectOf(const Incident& incident) {
    const std::string unit = incident.condition.substr(0, incident.condition.find(' '));
    if (unit != "fan" && unit != "supply") return incident.objectName;
    if (incident.objectName.compare(0, unit.size(), unit) == 0) return incident.objectName;
    return incident.condition + " of " + incident.objectName;
}

std::string NoticeText::advice(const Incident& incident) const {
    const auto found = reference.find(std::to_string(incident.code));
    if (!found.empty()) return found.front()->action;
    if (incident.condition == "redundancy") {
        return "Replace the failed drive, or let a spare take over, before another drive fails.";
    }
    if (incident.condition == "storage") {
        return "Find out why this machine does not let its storage be read; raidwatch doctor "
               "helps. "
               "Until then a failing drive goes unseen.";
    }
    return "Look at the object; raidwatch show tells all that is known of it.";
}

std::string NoticeText::body(const Notice& notice, const MachineState& state,
                             const std::vector<DriveState>& drives, std::int64_t now) const {
    const Incident& incident = notice.incident;
    std::string text;
    if (incident.origin == Origin::kDrill) text += "This is a drill. No hardware is affected.\n\n";
    const std::string first = firstLine(notice, now);
    if (!first.empty()) text += paragraph(first) + "\n";
    if (notice.kind == Kind::kTest) {
        return text + field("Host", hostOf(state)) + field("Sent", rfc3339(now));
    }
    if (!incident.text.empty()) text += paragraph(incident.text) + "\n";
    if (incident.origin == Origin::kAtStart) {
        text += paragraph("Found when raidwatch started: it happened while nobody watched.") + "\n";
    }

    text += field("Host", hostOf(state));
    text += field("Object", subjectOf(incident));
    if (const ArrayState* array = arrayOf(incident, state)) {
        text += field("Array", arrayField(*array));
        if (!array->task.kind.empty()) text += field("Task", percentText(array->task));
    }
    const bool isOver = notice.kind == Kind::kResolved;
    if (incident.value != "offline") text += field("Redundancy", survivesText(incident.survives));
    if (!isOver) text += field("Exposed", since(incident.exposedSince, now));
    for (const DriveState& drive : drives) text += field("Drive", driveField(drive));
    text += field("Opened", rfc3339(incident.openedAt) + ", " + std::to_string(incident.events) +
                                (incident.events == 1 ? " event" : " events"));
    if (isOver) {
        text += field("Ended", rfc3339(incident.resolvedAt));
    } else {
        text += "\nWhat to do\n" + paragraph(advice(incident), "  ");
    }

    text += "\n";
    if (incident.code != 0) {
        text += field("Explain", "raidwatch explain " + std::to_string(incident.code));
    }
    text += field(
        "Look", incident.condition == "storage" ? "raidwatch status" : lookAt(incident.objectName));
    if (!isOver) {
        text += field("Acknowledge", "raidwatch ack " + std::to_string(incident.id));
    }
    return text;
}

void NoticeText::write(Notice& notice, const MachineState& state,
                       const std::vector<DriveState>& drives, std::int64_t now) const {
    const std::string subject = subjectText(notice, state, drives, now);
    const bool isTest = notice.kind == Kind::kTest;
    notice.subject = oneLine((isTest ? "" : prefix(notice.incident)) + subject, kSubjectColumns);
    notice.body = body(notice, state, drives, now);
}
