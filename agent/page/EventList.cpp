#include "agent/page/EventList.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "agent/EventNames.h"
#include "agent/Wording.h"
#include "agent/page/StateLook.h"

namespace {

std::string severityText(int severity) {
    std::string word = severityWord(severity);
    for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return word;
}

// Its title is for who cannot see that a time is a time.
void addColumn(Html& html, const char* look, const char* title) {
    html.open("th", {{"scope", "col"}, {"class", look}});
    html.element("span", {{"class", "sr"}}, title).close();
}

// A fan, "KEY/fan2", stands on the page of its enclosure.
std::string_view pageOf(const PageModel& model, std::string_view object) {
    const std::string_view whole = object.substr(0, object.rfind('/'));
    return model.enclosure(whole) == nullptr ? object : whole;
}

void addRow(Html& html, const PageModel& model, const Record& record, bool withObject) {
    const Tone tone = toneOfSeverity(record.event.severity);
    html.open("tr", {{"class", std::string("t-") + toneWord(tone)}});
    html.open("td", {{"class", "when"}});
    addClock(html, record.event.timeStamp, model.in().now);
    html.close().open("td", {{"class", "how"}});
    addIcon(html, tone);
    html.element("span", {{"class", "word"}}, severityText(record.event.severity)).close();
    if (withObject) {
        html.open("td", {{"class", "what"}});
        const std::string_view key = pageOf(model, record.object);
        addObjectLink(html, model.knows(key), key,
                      record.objectName.empty() ? record.object : record.objectName);
        html.close();
    }
    html.open("td", {{"class", "said"}, {"title", record.event.text}}).text(record.event.text);
    html.element("span", {{"class", "code"}}, std::to_string(record.event.eventCode));
    if (record.origin == Origin::kAtStart) {
        html.element("span", {{"class", "label"}}, "found at start");
    }
    if (record.origin == Origin::kDrill) html.element("span", {{"class", "label"}}, "drill");
    html.close().close();
}

}  // namespace

bool isTelling(const Record& record) {
    return record.kind == Record::Kind::kEvent && record.event.severity != kEventProgress &&
           !isCompanion(record.event.eventCode);
}

std::string eventCounts(const std::vector<Record>& records) {
    std::size_t errors = 0;
    std::size_t warnings = 0;
    std::size_t others = 0;
    for (const Record& record : records) {
        if (!isTelling(record)) continue;
        const int severity = record.event.severity;
        ++(severity == kEventError ? errors : severity == kEventWarning ? warnings : others);
    }
    if (errors + warnings + others == 0) return "no events";
    std::string words = errors == 0 ? "" : counted(errors, "error");
    words = joined(words, ", ", warnings == 0 ? "" : counted(warnings, "warning"));
    return joined(words, ", ", others == 0 ? "" : counted(others, "other"));
}

void addEventList(Html& html, const PageModel& model, const std::vector<Record>& records,
                  std::size_t most, bool withObject) {
    const auto all =
        static_cast<std::size_t>(std::count_if(records.begin(), records.end(), isTelling));
    if (all == 0) return;
    html.open("table", {{"class", "events"}});
    html.open("thead").open("tr");
    addColumn(html, "when", "Time");
    addColumn(html, "how", "Severity");
    if (withObject) addColumn(html, "what", "Object");
    addColumn(html, "said", "Event");
    html.close().close().open("tbody");
    std::size_t shown = 0;
    for (auto record = records.rbegin(); record != records.rend() && shown < most; ++record) {
        if (!isTelling(*record)) continue;
        addRow(html, model, *record, withObject);
        ++shown;
    }
    html.close().close();
    if (all > shown && !withObject) {
        html.element("p", {{"class", "quiet"}},
                     "and " + std::to_string(all - shown) +
                         " earlier ones; raidwatch events shows them all");
    }
}
