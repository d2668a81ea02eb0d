#include "agent/commands/IncidentsVerb.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/Duration.h"
#include "agent/EventJson.h"
#include "agent/EventNames.h"
#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/TimeWords.h"
#include "agent/Wording.h"
#include "agent/incidents/IncidentJson.h"
#include "agent/incidents/IncidentRules.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMargin = 6;
constexpr std::size_t kSeverityWidth = 9;

std::string paddedLeft(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

std::string below(const std::string& text, std::size_t columns) {
    const std::size_t room = columns > kMargin + 20 ? columns - kMargin : 0;
    std::string lines;
    for (const std::string& line : wrapText(safeText(text), room)) {
        lines += std::string(kMargin, ' ') + line + "\n";
    }
    return lines;
}

std::string whenOf(const Incident& incident, std::int64_t now) {
    if (incident.open) {
        return "since " + localTimeText(incident.openedAt) + " (" +
               durationText(now - incident.openedAt) + ")";
    }
    return localTimeText(incident.openedAt) + ", resolved after " +
           durationText(incident.resolvedAt - incident.openedAt);
}

std::string survivesOf(const Incident& incident) {
    if (incident.survives < 0 || !incident.open || isWellAgain(incident)) return std::string();
    if (incident.survives == 0) return "One more drive failure loses data.";
    return "It survives " + std::to_string(incident.survives) + " more drive " +
           (incident.survives == 1 ? "failure." : "failures.");
}

std::string ackOf(const Incident& incident) {
    if (!incident.acknowledged() || !incident.open) return std::string();
    std::string text = "Acknowledged by " + (incident.ackBy.empty() ? "somebody" : incident.ackBy);
    if (incident.ackUntil != 0) text += " until " + localTimeText(incident.ackUntil);
    return text + (incident.ackComment.empty() ? "." : ": " + incident.ackComment);
}

// "   4  ERROR    md0 degraded" and what is known about it below.
std::string lines(const Incident& incident, std::int64_t now, std::size_t columns) {
    std::string word = !incident.open          ? "ended"
                       : isWellAgain(incident) ? "well"
                                               : severityWord(incident.severity);
    if (word.size() < kSeverityWidth) word.resize(kSeverityWidth, ' ');
    std::string head = paddedLeft(std::to_string(incident.id), kMargin - 2) + "  " + word;
    if (incident.origin == Origin::kDrill) head += "DRILL ";
    if (incident.origin == Origin::kTest) head += "TEST ";
    head += safeText(incident.objectName + " " + incident.value);
    if (incident.flapping) head += ", flapping";
    std::string text = head + "\n" + below(whenOf(incident, now), columns);
    for (const std::string& more : {incident.text, survivesOf(incident), ackOf(incident)}) {
        if (!more.empty()) text += below(more, columns);
    }
    return text;
}

bool isTrouble(const Incident& incident) { return incident.open && !isWellAgain(incident); }

// Trouble first, errors before warnings; then what is well again; then what has ended, by number.
bool isWorse(const Incident& a, const Incident& b) {
    const auto rank = [](const Incident& incident) {
        if (!incident.open) return std::pair(2, 0);
        return std::pair(isWellAgain(incident) ? 1 : 0, incident.severity);
    };
    return rank(a) < rank(b);
}

std::string headline(std::int64_t open, std::int64_t wellAgain) {
    const std::string verb = open == 1 ? " is open" : " are open";
    std::string words = open == 0 ? "No incident is open" : counted(open, "incident") + verb;
    if (wellAgain > 0) {
        words += "; " + std::to_string(wellAgain) +
                 (wellAgain == 1 ? " is well again, and ends when it stays so"
                                 : " are well again, and end when they stay so");
    }
    return words + ".";
}

}  // namespace

void IncidentsVerb::declare(Flags& flags) {
    flags.flag("--all", all, "those that have ended, too");
    flags.flag("--json", json, "one JSON object per incident");
}

int IncidentsVerb::work(const Context& context, Ask& agent) {
    const Json list = agent.ask({{"do", "incidents"}, {"all", all}});
    if (json) {
        for (const Json& row : list) context.out.line(jsonLine(row));
        return Failure::kDone;
    }
    std::vector<Incident> incidents;
    for (const Json& row : list) incidents.push_back(incidentFromJson(row));
    std::stable_sort(incidents.begin(), incidents.end(), isWorse);
    const auto count = [&](bool (*is)(const Incident&)) {
        return std::count_if(incidents.begin(), incidents.end(), is);
    };
    context.out.line(headline(count(isTrouble), count(isWellAgain)));
    const std::int64_t present = now();
    std::string text;
    for (const Incident& each : incidents) text += lines(each, present, context.style.pageWidth());
    context.out.write(text);
    return Failure::kDone;
}
