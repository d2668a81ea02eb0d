#include "agent/page/Timeline.h"

#include <algorithm>
#include <array>
#include <ctime>

#include "agent/Duration.h"
#include "agent/SafeText.h"
#include "agent/incidents/IncidentRules.h"
#include "agent/incidents/NoticeText.h"
#include "agent/page/EventList.h"
#include "agent/page/StateLook.h"

namespace {

constexpr int kWidth = 640;
constexpr int kBars = 4;  // incidents that have a line of their own
constexpr int kBarHeight = 13;
constexpr int kMarks = 18;  // height of the line of events
constexpr int kAxis = 18;
constexpr std::size_t kColumns = 80;  // events of one column are one mark
constexpr std::size_t kMostEvents = 5;
constexpr std::int64_t kHour = 3600;

std::string number(std::int64_t value) { return std::to_string(value); }

struct Cluster {
    std::size_t count = 0;
    int severity = kEventAll;
    const Record* last = nullptr;  // of the worst severity
};

class Strip {
public:
    Strip(Html& htmlIN, const PageModel& modelIN)
        : html(htmlIN), model(modelIN), to(modelIN.in().now), from(to - PageInput::kTimeline) {
        collectBars();
    }

    void draw() {
        html.open("svg", {{"class", "timeline"},
                          {"viewBox", "0 0 " + number(kWidth) + " " + number(axisAt() + kAxis)},
                          {"role", "img"},
                          {"aria-label", words()}});
        html.open("defs").open("pattern", {{"id", "hatch"},
                                           {"width", "7"},
                                           {"height", "7"},
                                           {"patternUnits", "userSpaceOnUse"},
                                           {"patternTransform", "rotate(45)"}});
        html.empty("rect", {{"class", "hatch"}, {"width", "2.5"}, {"height", "7"}});
        html.close().close();
        addAxis();
        addGaps();
        addBars();
        addMarks();
        html.close();
    }

    std::string words() const {
        std::string text = "The last 48 hours: " + eventCounts(model.in().records) + "; ";
        std::int64_t unwatched = 0;
        for (const WatchGap& gap : model.in().gaps) {
            unwatched += std::max<std::int64_t>(0, std::min(gap.to, to) - std::max(gap.from, from));
        }
        return text + (unwatched == 0 ? "watched all the time"
                                      : "nobody watched for " + durationText(unwatched));
    }

private:
    int at(std::int64_t when) const {
        const std::int64_t inside = std::min(to, std::max(from, when));
        return static_cast<int>((inside - from) * kWidth / (to - from));
    }
    int barsEnd() const { return static_cast<int>(bars.size()) * kBarHeight; }
    int axisAt() const { return barsEnd() + kMarks; }

    void collectBars() {
        for (const Incident& incident : model.in().incidents) {
            const std::int64_t end =
                incident.open && isTrouble(incident) ? to : incident.resolvedAt;
            if (end > from && incident.openedAt < to) bars.push_back(&incident);
        }
        std::stable_sort(bars.begin(), bars.end(), [](const Incident* a, const Incident* b) {
            return std::make_tuple(!isTrouble(*a), a->severity, -a->openedAt) <
                   std::make_tuple(!isTrouble(*b), b->severity, -b->openedAt);
        });
        if (bars.size() > kBars) bars.resize(kBars);
    }

    static bool isTrouble(const Incident& incident) {
        return incident.open && findStanding(incident.condition, incident.value) != nullptr;
    }

    void addAxis() {
        html.empty("rect",
                   {{"class", "ground"}, {"width", number(kWidth)}, {"height", number(axisAt())}});
        for (std::int64_t when = firstTick(); when < to; when += 6 * kHour) {
            const int x = at(when);
            const std::string label = clockText(when, to);
            const bool midnight =
                label.size() >= 5 && label.compare(label.size() - 5, 5, "00:00") == 0;
            html.empty("path", {{"class", midnight ? "tick day" : "tick"},
                                {"d", "M" + number(x) + " 0V" + number(axisAt())}});
            if (x < 14 || x > kWidth - 46) continue;
            html.element("text",
                         {{"class", midnight ? "hour day" : "hour"},
                          {"x", number(x)},
                          {"y", number(axisAt() + 13)}},
                         midnight ? label.substr(0, label.size() > 5 ? 5 : std::string::npos)
                                  : label.substr(label.size() - 5));
        }
        html.element("text",
                     {{"class", "hour now"}, {"x", number(kWidth)}, {"y", number(axisAt() + 13)}},
                     "now");
    }

    // A full six hours of the local clock.
    std::int64_t firstTick() const {
        const auto seconds = static_cast<std::time_t>(from);
        std::tm parts{};
        (void)localtime_r(&seconds, &parts);
        const std::int64_t since = parts.tm_hour % 6 * kHour + parts.tm_min * 60 + parts.tm_sec;
        return from - since + 6 * kHour;
    }

    void addGaps() {
        for (const WatchGap& gap : model.in().gaps) {
            if (gap.to <= from || gap.from >= to) continue;
            const int x = at(gap.from);
            html.open("g");
            html.element("title", {},
                         "nobody watched for " + durationText(gap.to - gap.from) +
                             (gap.rebooted ? ", the machine was started again" : ""));
            html.empty("rect", {{"class", "gap"},
                                {"fill", "url(#hatch)"},
                                {"x", number(x)},
                                {"width", number(std::max(2, at(gap.to) - x))},
                                {"height", number(axisAt())}});
            html.close();
        }
    }

    void addBars() {
        int y = 2;
        for (const Incident* incident : bars) {
            const bool open = isTrouble(*incident);
            const int x = at(incident->openedAt);
            const int end = at(open ? to : incident->resolvedAt);
            const Tone tone = open ? toneOfSeverity(incident->severity) : Tone::kGood;
            const std::string name = NoticeText::subjectOf(*incident) + " " +
                                     (open ? incident->value : "was in trouble");
            html.open("g", {{"class", std::string("span t-") + toneWord(tone)}});
            html.element("title", {}, name);
            html.empty("rect", {{"class", "box"},
                                {"x", number(x)},
                                {"y", number(y)},
                                {"width", number(std::max(4, end - x))},
                                {"height", number(kBarHeight - 3)},
                                {"rx", "3"}});
            const bool leftSide = x > kWidth / 2;
            html.element("text",
                         {{"class", leftSide ? "span-name before" : "span-name"},
                          {"x", number(leftSide                     ? x - 5
                                       : std::max(4, end - x) < 150 ? x + std::max(4, end - x) + 5
                                                                    : x + 5)},
                          {"y", number(y + kBarHeight - 5)}},
                         shortName(name));
            html.close();
            y += kBarHeight;
        }
    }

    static std::string shortName(const std::string& name) {
        const std::string safe = safeText(name);
        return textWidth(safe) <= 40 ? safe : cutText(safe, 39) + "\u2026";
    }

    void addMarks() {
        std::array<Cluster, kColumns> clusters;
        for (const Record& record : model.in().records) {
            const std::int64_t when = record.event.timeStamp;
            if (!isTelling(record) || when < from || when > to) continue;
            const auto column = std::min<std::size_t>(
                kColumns - 1,
                static_cast<std::size_t>((when - from) * static_cast<std::int64_t>(kColumns) /
                                         (to - from)));
            Cluster& cluster = clusters[column];
            ++cluster.count;
            if (record.event.severity > cluster.severity) continue;
            cluster.severity = record.event.severity;
            cluster.last = &record;
        }
        const int size = 11;
        const int step = kWidth / static_cast<int>(kColumns);
        for (std::size_t i = 0; i < kColumns; ++i) {
            const Cluster& cluster = clusters[i];
            if (cluster.last == nullptr) continue;
            const int x = std::min(kWidth - size,
                                   std::max(0, static_cast<int>(i) * step + step / 2 - size / 2));
            html.open("g");
            html.element(
                "title", {},
                (cluster.count > 1 ? std::to_string(cluster.count) + " events, the worst: " : "") +
                    cluster.last->event.text);
            html.empty("use", {{"href", iconPath(toneOfSeverity(cluster.severity))},
                               {"x", number(x)},
                               {"y", number(barsEnd() + 4)},
                               {"width", number(size)},
                               {"height", number(size)}});
            html.close();
        }
    }

    Html& html;
    const PageModel& model;
    const std::int64_t to;
    const std::int64_t from;
    std::vector<const Incident*> bars;
};

}  // namespace

void addTimeline(Html& html, const PageModel& model) {
    html.open("section",
              {{"id", "timeline"}, {"data-part", "timeline"}, {"aria-labelledby", "h-timeline"}});
    html.open("h2", {{"id", "h-timeline"}}).text("Last 48 hours");
    html.element("span", {{"class", "aside"}}, eventCounts(model.in().records));
    if (!model.in().gaps.empty()) {
        html.open("span", {{"class", "aside"}});
        html.element("span", {{"class", "swatch"}, {"aria-hidden", "true"}}, "");
        html.text("nobody watched").close();
    }
    html.close();
    Strip(html, model).draw();
    addEventList(html, model, model.in().records, kMostEvents, true);
    html.close();
}
