#include "agent/page/Page.h"

#include <cctype>

#include "agent/SafeText.h"
#include "agent/Wording.h"
#include "agent/page/ArrayCards.h"
#include "agent/page/BayMap.h"
#include "agent/page/Html.h"
#include "agent/page/IncidentCards.h"
#include "agent/page/ObjectView.h"
#include "agent/page/PageModel.h"
#include "agent/page/SinkTable.h"
#include "agent/page/StateLook.h"
#include "agent/page/Timeline.h"

namespace {

// Without a script the browser itself looks again.
constexpr char kRefreshSeconds[] = "60";

void addHead(Html& html, const std::string& title) {
    html.open("head").empty("meta", {{"charset", "utf-8"}});
    html.empty("meta", {{"name", "viewport"}, {"content", "width=device-width, initial-scale=1"}});
    html.empty("meta", {{"name", "color-scheme"}, {"content", "light dark"}});
    html.element("title", {}, title);
    html.empty("link", {{"rel", "icon"}, {"href", "/icon.svg"}, {"type", "image/svg+xml"}});
    html.empty("link", {{"rel", "stylesheet"}, {"href", "/style.css"}});
    html.open("script", {{"src", "/page.js"}, {"defer", "defer"}}).close();
    html.open("noscript");
    html.empty("meta", {{"http-equiv", "refresh"}, {"content", kRefreshSeconds}}).close();
    html.close();
}

// Opens html and body; the caller closes both.
void beginDocument(Html& html, const std::string& title, const char* bodyClass) {
    html.doctype().open("html", {{"lang", "en"}});
    addHead(html, title);
    html.open("body", {{"class", bodyClass}});
    html.element("a", {{"class", "skip"}, {"href", "#main"}}, "Skip to the content");
    addIconShapes(html);
    html.element("p", {{"id", "news"}, {"class", "sr"}, {"role", "status"}}, "");
}

std::string hostOf(const PageInput& input) {
    return input.state.host.empty() ? "this machine" : input.state.host;
}

void addLooked(Html& html, const PageInput& input) {
    html.open("p", {{"class", "looked"}}).element("strong", {}, hostOf(input));
    if (input.state.polledAt > 0) {
        html.text(" \u00b7 last completed poll ");
        addAge(html, input.state.polledAt, input.now);
        html.text(" ago");
    } else {
        html.text(" \u00b7 no completed poll yet");
    }
    html.text(" \u00b7 raidwatch " + input.version).close();
}

// The header: the verdict in a shape, a word and a sentence, and how old it is.
void addHeader(Html& html, const PageModel& model, const std::string& heading) {
    const PageInput& input = model.in();
    const std::string tone = toneWord(toneOfVerdict(model.verdict().level));
    html.open("header", {{"class", "top t-" + tone},
                         {"data-part", "top"},
                         {"data-now", std::to_string(input.now)},
                         {"data-polled", std::to_string(input.state.polledAt)},
                         {"data-stale-after", std::to_string(input.staleAfter)},
                         {"data-stream", Page::kStream}});
    const bool isOverview = heading.empty();
    html.open("div", {{"class", "verdict"}});
    html.open(isOverview ? "h1" : "p", {{"class", "sentence"}});
    html.open("span", {{"class", "level"}, {"id", "level"}});
    addIcon(html, toneOfVerdict(model.verdict().level));
    html.element("span", {{"class", "word"}}, levelWord(model.verdict().level)).close();
    html.text(" ").element("span", {{"id", "sentence"}}, model.verdict().sentence).close();
    addLooked(html, input);
    html.close();
    for (const std::string& problem : input.problems) {
        html.open("p", {{"class", "problem"}});
        addIcon(html, Tone::kWarn);
        html.text(problem).close();
    }
    html.close();
}

void addFooter(Html& html, const PageInput& input) {
    html.open("footer", {{"data-part", "foot"}});
    html.open("p").text("Seen through ").element("code", {}, input.state.source);
    html.text(" \u00b7 this page changes nothing \u00b7 times are those of the host").close();
    html.close();
}

std::string inUrl(std::string_view raw) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const char c : raw) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain =
            (byte < 0x80 && std::isalnum(byte) != 0) || c == '-' || c == '.' || c == '_';
        if (plain) {
            text += c;
        } else {
            text += '%';
            text += kDigits[byte >> 4];
            text += kDigits[byte & 15];
        }
    }
    return text;
}

std::string titleOf(const PageModel& model, const std::string& what) {
    return std::string(levelWord(model.verdict().level)) + " " +
           joined(what, " on ", hostOf(model.in())) + " \u2013 raidwatch";
}

const char* bodyClass(const PageModel& model) { return model.isStale() ? "stale" : ""; }

}  // namespace

std::string Page::overview(const PageInput& input) const {
    const PageModel model(input, reference);
    Html html;
    beginDocument(html, titleOf(model, ""), bodyClass(model));
    addHeader(html, model, "");
    html.open("main", {{"id", "main"}, {"class", "overview"}});
    html.open("div", {{"class", "column"}});
    addArrayCards(html, model);
    addIncidentCards(html, model);
    html.close().open("div", {{"class", "column"}});
    addBayMaps(html, model);
    addTimeline(html, model);
    addSinkTable(html, model);
    html.close().close();
    addFooter(html, input);
    html.close().close();
    return html.str();
}

std::string Page::object(const PageInput& input, std::string_view key) const {
    const PageModel model(input, reference);
    const std::string title = objectTitle(model, key);
    if (title.empty()) return "";
    Html html;
    beginDocument(html, titleOf(model, title), bodyClass(model));
    addHeader(html, model, title);
    html.open("main", {{"id", "main"}, {"class", "object"}});
    html.open("nav", {{"aria-label", "Back"}}).element("a", {{"href", "/"}}, "Everything").close();
    html.element("h1", {}, title);
    addObjectView(html, model, key);
    html.close();
    addFooter(html, input);
    html.close().close();
    return html.str();
}

std::string Page::message(std::string_view title, std::string_view sentence) const {
    Html html;
    beginDocument(html, std::string(title) + " \u2013 raidwatch", "message");
    html.open("main", {{"id", "main"}}).element("h1", {}, title).element("p", {}, sentence);
    html.open("p").element("a", {{"href", "/"}}, "To the overview").close().close();
    html.close().close();
    return html.str();
}

std::string Page::objectPath(std::string_view key) { return "/object?key=" + inUrl(key); }

std::string Page::dataPath(const char* kind, std::string_view key) {
    return std::string("/api/v1/") + kind + "/" + inUrl(key);
}
