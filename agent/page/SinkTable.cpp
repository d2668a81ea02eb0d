#include "agent/page/SinkTable.h"

#include <algorithm>
#include <string>
#include <utility>

#include "agent/Wording.h"
#include "agent/page/StateLook.h"

namespace {

constexpr std::size_t kMostSinks = 50;
constexpr std::pair<const char*, const char*> kColumns[] = {{"name", "Sink"},
                                                            {"how", "State"},
                                                            {"lag", "Lag"},
                                                            {"when", "Last delivery"},
                                                            {"said", "Last error"}};

std::string stateWords(const SinkStatus& sink) {
    if (sink.ok) return "ok";
    return sink.tries > 0
               ? "failing, " + std::to_string(sink.tries) + (sink.tries == 1 ? " try" : " tries")
               : "failing";
}

std::string lagWords(const SinkStatus& sink) {
    std::string words = sink.waiting == 0 ? "" : std::to_string(sink.waiting) + " waiting";
    return joined(words, ", ", sink.dead == 0 ? "" : std::to_string(sink.dead) + " given up");
}

void addRow(Html& html, const PageModel& model, const SinkStatus& sink) {
    const Tone tone = !sink.ok ? Tone::kBad : sink.dead > 0 ? Tone::kWarn : Tone::kGood;
    html.open("tr", {{"class", std::string("t-") + toneWord(tone)}});
    html.element("th", {{"scope", "row"}}, sink.sink);
    html.open("td", {{"class", "how"}});
    addIcon(html, tone);
    html.text(stateWords(sink)).close();
    html.element("td", {{"class", "lag"}}, lagWords(sink).empty() ? "up to date" : lagWords(sink));
    html.open("td", {{"class", "when"}});
    if (sink.lastDelivered > 0) {
        addAge(html, sink.lastDelivered / 1000, model.in().now);
        html.text(" ago");
    } else {
        html.text("nothing yet");
    }
    html.close();
    const std::string answer = sink.ok ? "" : sink.lastAnswer;
    html.element("td", {{"class", "said"}, {"title", answer}}, answer);
    html.close();
}

}  // namespace

void addSinkTable(Html& html, const PageModel& model) {
    const std::vector<SinkStatus>& sinks = model.in().sinks;
    html.open("section", {{"id", "sinks"}, {"data-part", "sinks"}, {"aria-labelledby", "h-sinks"}});
    html.element("h2", {{"id", "h-sinks"}}, "Who is told");
    if (sinks.empty()) {
        html.element("p", {{"class", "quiet"}}, "Nobody: no sink is set up. See raidwatch doctor.");
        html.close();
        return;
    }
    html.open("table", {{"class", "sinks"}}).open("thead").open("tr");
    for (const auto& [look, title] : kColumns) {
        html.open("th", {{"scope", "col"}, {"class", look}});
        html.element("span", {{"class", "sr"}}, title).close();
    }
    html.close().close().open("tbody");
    for (std::size_t i = 0; i < std::min(sinks.size(), kMostSinks); ++i) {
        addRow(html, model, sinks[i]);
    }
    html.close().close().close();
}
