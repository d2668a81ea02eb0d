#include "agent/page/ArrayCards.h"

#include <algorithm>
#include <cstdio>

#include "agent/Duration.h"
#include "agent/Wording.h"
#include "agent/page/Page.h"
#include "agent/page/StateLook.h"

namespace {

constexpr std::size_t kMostCards = 60;
constexpr std::size_t kFewArrays = 4;    // so many are all shown in full
constexpr std::size_t kFewMembers = 36;  // of one card
constexpr std::size_t kMostMembers = 400;
constexpr std::size_t kBesideFacts = 6;  // so few stand on the line of the facts
constexpr int kMostPips = 4;

std::string percentText(double percent) {
    char text[16];
    std::snprintf(text, sizeof text, "%.0f", std::min(100.0, std::max(0.0, percent)));
    return text;
}

std::string redundancyWords(const ArrayState& array) {
    if (array.state == "failed" || array.state == "offline") return "its data cannot be reached";
    if (array.survives < 0) return "redundancy not known";
    if (array.survives == 0) {
        return array.fullSurvives == 0 ? "no redundancy by design"
                                       : "survives no further drive failure";
    }
    const bool reduced = array.survives < array.fullSurvives;
    return "survives " + std::to_string(array.survives) + (reduced ? " more" : "") +
           " drive failure" + (array.survives == 1 ? "" : "s");
}

// "drive 1:0:3" is "1:0:3" on a chip.
std::string shortName(const std::string& name) {
    return name.compare(0, 6, "drive ") == 0 ? name.substr(6) : name;
}

std::string memberWords(const PageModel& model, const MemberState& member) {
    std::string words = member.name.empty() ? "no drive" : member.name;
    words += ", " + member.state;
    if (member.slot >= 0) words += ", place " + std::to_string(member.slot);
    const DriveState* drive = model.drive(member.drive);
    if (drive == nullptr) return words;
    words = joined(words, ", ", drive->slotName);
    if (!drive->serial.empty()) words += ", serial " + drive->serial;
    return words;
}

void addChip(Html& html, const PageModel& model, const MemberState& member) {
    const Tone tone = toneOfMember(member);
    const std::string words = memberWords(model, member);
    const DriveState* drive = model.drive(member.drive);
    const std::string look = std::string("chip t-") + toneWord(tone);
    html.open("li");
    if (drive != nullptr) {
        html.open("a", {{"class", look},
                        {"href", Page::objectPath(drive->key)},
                        {"aria-label", words},
                        {"title", words}});
    } else {
        html.open("span", {{"class", look}, {"title", words}});
    }
    if (tone != Tone::kGood) addIcon(html, tone);
    html.text(member.name.empty() ? member.state : shortName(member.name));
    html.close().close();
}

void addMembers(Html& html, const PageModel& model, const ArrayState& array, std::size_t most) {
    if (array.members.empty()) {
        html.element("p", {{"class", "quiet"}}, "Its members are not known.");
        return;
    }
    std::vector<const MemberState*> order;
    for (const MemberState& member : array.members) order.push_back(&member);
    // What does not fit is in order.
    if (order.size() > most) {
        std::stable_partition(order.begin(), order.end(), [](const MemberState* member) {
            return toneOfMember(*member) != Tone::kGood;
        });
    }
    const std::size_t shown = std::min(order.size(), most);
    html.open("ul", {{"class", "chips"}, {"aria-label", "Members of " + array.name}});
    for (std::size_t i = 0; i < shown; ++i) addChip(html, model, *order[i]);
    if (shown < order.size()) {
        html.element("li", {{"class", "quiet"}},
                     "and " + std::to_string(order.size() - shown) + " more");
    }
    html.close();
}

std::string drivesWords(const ArrayState& array) {
    if (array.devices <= 0) return "";
    std::string words = array.working == array.devices
                            ? counted(array.devices, "drive")
                            : std::to_string(array.working) + " of " +
                                  std::to_string(array.devices) + " drives in order";
    if (array.spares > 0) {
        words += ", " + counted(array.spares, "spare");
    }
    return words;
}

void addNameLine(Html& html, const PageModel& model, const ArrayState& array) {
    html.open("h3");
    addObjectLink(html, model.array(array.key) == &array, array.key, array.name);
    if (!array.label.empty()) html.element("span", {{"class", "label"}}, array.label);
    html.close();
}

void addState(Html& html, const ArrayState& array) {
    const Tone tone = toneOfArray(array);
    html.open("span", {{"class", std::string("state t-") + toneWord(tone)}});
    addIcon(html, tone);
    html.text(array.state).close();
}

void addFactsLine(Html& html, const PageModel& model, const ArrayState& array) {
    const std::string facts = joined(joined(array.level, " \u00b7 ", sizeWords(array.sizeMB)),
                                     " \u00b7 ", drivesWords(array));
    html.open("p", {{"class", "facts"}}).text(facts);
    if (array.badStripes > 0) {
        html.text(" \u00b7 ")
            .element("strong", {},
                     std::to_string(array.badStripes) +
                         (array.badStripes == 1 ? " mismatch" : " mismatches") +
                         " at the last check");
    }
    if (array.exposedSince > 0) {
        html.text(" \u00b7 ").open("strong", {{"class", "exposed"}}).text("exposed for ");
        addAge(html, array.exposedSince, model.in().now);
        html.close().text(", since ");
        addClock(html, array.exposedSince, model.in().now);
    }
    html.close();
}

void addCard(Html& html, const PageModel& model, const ArrayState& array) {
    const std::string tone = toneWord(toneOfArray(array));
    html.open("li", {{"class", "card array t-" + tone}});
    html.open("div", {{"class", "line"}});
    addNameLine(html, model, array);
    addState(html, array);
    addRedundancy(html, array);
    html.close();
    const bool isShort = tone == toneWord(Tone::kGood) && array.task.kind.empty() &&
                         array.members.size() <= kBesideFacts;
    if (isShort) html.open("div", {{"class", "line low"}});
    addFactsLine(html, model, array);
    addTask(html, array.task);
    addMembers(html, model, array, kFewMembers);
    if (isShort) html.close();
    html.close();
}

// An array in order among many: one line.
void addRow(Html& html, const PageModel& model, const ArrayState& array) {
    html.open("li", {{"class", std::string("card array row t-") + toneWord(toneOfArray(array))}});
    html.open("div", {{"class", "line"}});
    addNameLine(html, model, array);
    addState(html, array);
    html.element("span", {{"class", "facts"}},
                 joined(array.level, " \u00b7 ", sizeWords(array.sizeMB)));
    addRedundancy(html, array);
    html.close();
    addTask(html, array.task);
    html.close();
}

}  // namespace

void addRedundancy(Html& html, const ArrayState& array) {
    const Tone tone = toneOfArray(array);
    const bool lost = tone == Tone::kBad || tone == Tone::kWarn;
    html.open("span", {{"class", lost ? "left lost" : "left"}});
    if (array.survives >= 0 && array.fullSurvives > 0 && array.fullSurvives <= kMostPips) {
        html.open("span", {{"class", "pips"}, {"aria-hidden", "true"}});
        for (int i = 0; i < array.fullSurvives; ++i) {
            html.element("span", {{"class", i < array.survives ? "pip full" : "pip"}}, "");
        }
        html.close();
    }
    html.text(redundancyWords(array)).close();
}

void addTask(Html& html, const TaskState& task) {
    if (task.kind.empty()) return;
    const std::string percent = percentText(task.percent);
    html.open("div", {{"class", task.waiting ? "task waiting" : "task"}});
    html.open("svg", {{"class", "bar"},
                      {"viewBox", "0 0 100 6"},
                      {"preserveAspectRatio", "none"},
                      {"role", "img"},
                      {"aria-label", task.kind + " " + percent + " percent done"}});
    html.empty("rect", {{"class", "bar-all"}, {"width", "100"}, {"height", "6"}});
    html.empty("rect", {{"class", "bar-done"}, {"width", percent}, {"height", "6"}}).close();
    html.open("p").element("strong", {}, task.kind + " " + percent + " %");
    if (task.waiting) html.text(", waits for its turn");
    if (task.megabytesPerSecond >= 1) {
        html.text(" \u00b7 " + std::to_string(static_cast<std::int64_t>(task.megabytesPerSecond)) +
                  " MB/s");
    }
    if (task.secondsLeft >= 0) {
        html.text(" \u00b7 about " + durationText(task.secondsLeft) + " left");
    }
    html.close().close();
}

void addArrayFacts(Html& html, const PageModel& model, const ArrayState& array) {
    html.open("div", {{"class", std::string("card array t-") + toneWord(toneOfArray(array))}});
    html.open("div", {{"class", "line"}});
    addState(html, array);
    addRedundancy(html, array);
    html.close();
    addFactsLine(html, model, array);
    addTask(html, array.task);
    addMembers(html, model, array, kMostMembers);
    html.close();
}

void addArrayCards(Html& html, const PageModel& model) {
    const std::vector<const ArrayState*>& arrays = model.arrays();
    html.open("section",
              {{"id", "arrays"}, {"data-part", "arrays"}, {"aria-labelledby", "h-arrays"}});
    html.element("h2", {{"id", "h-arrays"}}, "Arrays");
    if (arrays.empty()) {
        html.element("p", {{"class", "quiet"}}, "This machine has no arrays.");
    } else {
        html.open("ol", {{"class", "cards"}});
        const std::size_t shown = std::min(arrays.size(), kMostCards);
        for (std::size_t i = 0; i < shown; ++i) {
            const bool calm = toneOfArray(*arrays[i]) == Tone::kGood;
            const bool full = !calm || arrays.size() <= kFewArrays;
            full ? addCard(html, model, *arrays[i]) : addRow(html, model, *arrays[i]);
        }
        html.close();
        if (shown < arrays.size()) {
            const auto bad = static_cast<std::size_t>(std::count_if(
                arrays.begin() + static_cast<std::ptrdiff_t>(shown), arrays.end(),
                [](const ArrayState* each) { return toneOfArray(*each) != Tone::kGood; }));
            html.element("p", {{"class", "quiet"}},
                         "and " + std::to_string(arrays.size() - shown) + " more, " +
                             (bad == 0 ? std::string("all in order")
                                       : std::to_string(bad) + " of them not in order") +
                             "; raidwatch list arrays shows them all");
        }
    }
    html.close();
}
