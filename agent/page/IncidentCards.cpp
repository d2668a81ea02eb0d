#include "agent/page/IncidentCards.h"

#include <algorithm>

#include "agent/Duration.h"
#include "agent/Wording.h"
#include "agent/incidents/IncidentRules.h"
#include "agent/incidents/NoticeText.h"
#include "agent/incidents/Redundancy.h"
#include "agent/page/StateLook.h"

namespace {

constexpr std::size_t kMostOpen = 30;
constexpr std::size_t kMostEnded = 30;
constexpr std::size_t kMostSilences = 10;

using Incidents = std::vector<const Incident*>;

// Of that object; of a drive also those of its array, because that is what suffers.
Incidents onlyOf(const PageModel& model, const Incidents& all, std::string_view key) {
    if (key.empty()) return all;
    const DriveState* drive = model.drive(key);
    Incidents some;
    for (const Incident* each : all) {
        const bool ofArray =
            drive != nullptr && !drive->array.empty() && each->object == drive->array;
        if (each->object == key || ofArray) some.push_back(each);
    }
    return some;
}

const char* noneWords(const PageModel& model, bool ofOneObject) {
    if (model.isStale()) return "None was open when this was seen.";
    return ofOneObject ? "None about it." : "Nothing is wrong.";
}

std::string standingWords(const Incident& incident) {
    const Standing* standing = findStanding(incident.condition, incident.value);
    std::string words = incident.value;
    if (standing != nullptr && *standing->says != '\0') words += ": " + std::string(standing->says);
    if (incident.condition == "redundancy" && incident.value != "offline") {
        words = joined(words, ": ", survivesText(incident.survives));
    }
    return words;
}

const char* originWords(Origin origin) {
    switch (origin) {
        case Origin::kDrill:
            return "drill";
        case Origin::kTest:
            return "test";
        case Origin::kAtStart:
            return "found at start";
        case Origin::kLive:
            break;
    }
    return "";
}

void addTitle(Html& html, const PageModel& model, const Incident& incident) {
    html.open("h3");
    addIcon(html, toneOfSeverity(incident.severity));
    addObjectLink(html, model.knows(incident.object), incident.object,
                  NoticeText::subjectOf(incident));
    html.text(" " + standingWords(incident));
    const char* const origin = originWords(incident.origin);
    if (*origin != '\0') html.element("span", {{"class", "label"}}, origin);
    html.close();
}

void addSince(Html& html, const PageModel& model, const Incident& incident) {
    const std::int64_t now = model.in().now;
    html.open("p", {{"class", "facts"}}).text("for ");
    addAge(html, incident.openedAt, now);
    html.text(", since ");
    addClock(html, incident.openedAt, now);
    if (incident.acknowledged()) {
        html.text(" \u00b7 acknowledged by ").element("strong", {}, incident.ackBy);
        if (!incident.ackComment.empty()) html.text(": " + incident.ackComment);
        if (incident.ackUntil > 0) {
            html.text(", until ");
            addClock(html, incident.ackUntil, now);
        }
    } else {
        html.text(" \u00b7 ").element("code", {}, "raidwatch ack " + std::to_string(incident.id));
    }
    if (incident.flapping) html.text(" \u00b7 it comes and goes");
    html.close();
}

std::string advice(const PageModel& model, const Incident& incident) {
    const EventReference::Entry* entry = model.explanation(incident.code);
    if (entry != nullptr && !entry->action.empty()) return entry->action;
    if (incident.condition == "redundancy") {
        return "Replace the failed drive, or let a spare take over, before another drive fails.";
    }
    return "Look at the object; raidwatch show tells all that is known of it.";
}

// Replacing a drive is the right advice, and at the wrong time it is the end of the array.
std::string notYet(const PageModel& model, const Incident& incident) {
    const DriveState* drive = model.drive(incident.object);
    if (drive == nullptr || model.markOf(*drive) != PageModel::Mark::kKeep) return "";
    const ArrayState* array = model.array(drive->array);
    const std::string name = array == nullptr ? "its array" : array->name;
    if (array != nullptr && (array->state == "failed" || array->state == "offline")) {
        return " Do not pull it: " + name + " may need it to come back. After that:";
    }
    if (array != nullptr && toneOfArray(*array) == Tone::kGood) {
        return " Do not just pull it: " + name + " would be lost.";
    }
    return " Do not pull it yet: " + name + " lacks redundancy. Once it is whole again:";
}

// Which drives may leave: the advice for an array names none.
std::string failedOnes(const PageModel& model, const Incident& incident) {
    constexpr std::size_t kMostNamed = 3;
    std::string words;
    std::size_t count = 0;
    for (const DriveState& drive : model.in().state.drives) {
        if (drive.array != incident.object || model.markOf(drive) != PageModel::Mark::kPull) {
            continue;
        }
        if (++count > kMostNamed) continue;
        std::string one = joined(drive.name, ", ", drive.slotName);
        if (!drive.serial.empty()) one += ", serial " + drive.serial;
        words = joined(words, "; ", one);
    }
    if (count == 0) return "";
    const std::string more = count > kMostNamed ? "; and others" : "";
    return (count == 1 ? " Failed, may be pulled: " : " Failed, may be pulled, one at a time: ") +
           words + more + ".";
}

void addCard(Html& html, const PageModel& model, const Incident& incident) {
    const Tone tone = toneOfSeverity(incident.severity);
    html.open("li", {{"class", std::string("card incident t-") + toneWord(tone)}});
    addTitle(html, model, incident);
    addSince(html, model, incident);
    if (!incident.text.empty()) {
        html.element("p", {{"class", "said"}, {"title", incident.text}}, incident.text);
    }
    html.open("p", {{"class", "todo"}}).element("strong", {}, "What to do");
    html.text(notYet(model, incident));
    html.text(" " + advice(model, incident));
    const std::string failed = failedOnes(model, incident);
    if (!failed.empty()) html.element("span", {{"class", "mark"}}, failed);
    html.close();
    html.close();
}

void addEnded(Html& html, const PageModel& model, const Incidents& ended) {
    if (ended.empty()) return;
    html.open("details", {{"id", "ended"}, {"class", "ended"}});
    html.element("summary", {}, counted(ended.size(), "incident") + " ended within the last day");
    html.open("ul");
    for (std::size_t i = 0; i < std::min(ended.size(), kMostEnded); ++i) {
        const Incident& incident = *ended[i];
        html.open("li");
        addIcon(html, Tone::kGood);
        addObjectLink(html, model.knows(incident.object), incident.object,
                      NoticeText::subjectOf(incident));
        html.text(" " + incident.value);
        if (incident.resolvedAt > 0) {
            html.text(", ");
            addClock(html, incident.resolvedAt, model.in().now);
            html.text(" after " + durationText(incident.resolvedAt - incident.openedAt));
        }
        html.close();
    }
    html.close().close();
}

void addSilences(Html& html, const PageModel& model, std::string_view only) {
    std::size_t shown = 0;
    for (const Silence& silence : model.in().silences) {
        const std::int64_t now = model.in().now;
        const bool holds = silence.from <= now && now < silence.until;
        const bool concerns = only.empty() || silence.object.empty() || silence.object == only;
        if (!holds || !concerns || shown++ >= kMostSilences) continue;
        html.open("p", {{"class", "quiet silence"}});
        html.text(silence.object.empty()
                      ? "Nobody is told of anything until "
                      : "Nobody is told about " + silence.objectName + " until ");
        addClock(html, silence.until, now);
        html.text(joined(joined(". Silenced by ", "", silence.by), ": ", silence.reason)).close();
    }
}

}  // namespace

void addIncidentCards(Html& html, const PageModel& model, std::string_view only) {
    const Incidents open = onlyOf(model, model.openIncidents(), only);
    html.open(
        "section",
        {{"id", "incidents"}, {"data-part", "incidents"}, {"aria-labelledby", "h-incidents"}});
    html.open("h2", {{"id", "h-incidents"}}).text("Open incidents");
    if (!open.empty()) html.element("span", {{"class", "count"}}, std::to_string(open.size()));
    html.close();
    addSilences(html, model, only);
    if (open.empty()) {
        html.element("p", {{"class", "quiet"}}, noneWords(model, !only.empty()));
    } else {
        html.open("ol", {{"class", "cards"}});
        for (std::size_t i = 0; i < std::min(open.size(), kMostOpen); ++i) {
            addCard(html, model, *open[i]);
        }
        html.close();
    }
    if (open.size() > kMostOpen) {
        html.element("p", {{"class", "quiet"}},
                     "and " + std::to_string(open.size() - kMostOpen) +
                         " more; raidwatch incidents shows them all");
    }
    addEnded(html, model, onlyOf(model, model.endedIncidents(), only));
    html.close();
}
