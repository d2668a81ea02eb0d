#include "agent/page/Chart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "agent/TimeWords.h"
#include "agent/Wording.h"
#include "agent/page/StateLook.h"

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 120;
constexpr int kLeft = 34;
constexpr int kRight = 312;
constexpr int kTop = 10;
constexpr int kBottom = 96;
constexpr std::size_t kMostPoints = 400;

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", std::round(value * 10) / 10);
    return text;
}

void addText(Html& html, const char* look, double x, double y, const std::string& words) {
    html.element("text", {{"class", look}, {"x", number(x)}, {"y", number(y)}}, words);
}

class Frame {
public:
    Frame(Html& htmlIN, const std::string& title, const std::string& words) : html(htmlIN) {
        html.open("figure", {{"class", "chart"}});
        html.element("figcaption", {}, title);
        html.open("svg", {{"viewBox", "0 0 " + number(kWidth) + " " + number(kHeight)},
                          {"role", "img"},
                          {"aria-label", title + ": " + words}});
        html.empty("path", {{"class", "axis"},
                            {"d", "M" + number(kLeft) + " " + number(kTop) + "V" + number(kBottom) +
                                      "H" + number(kRight)}});
    }
    void close() { html.close().close(); }

    void value(double y, const std::string& words) {
        html.empty("path", {{"class", "rule"},
                            {"d", "M" + number(kLeft) + " " + number(y) + "H" + number(kRight)}});
        addText(html, "tick-y", kLeft - 4, y + 3.5, words);
    }
    void time(const char* look, double x, const std::string& words) {
        addText(html, look, x, kBottom + 15, words);
    }

private:
    Html& html;
};

std::string path(const ChartScale& scale, const std::vector<ChartPoint>& points, double top,
                 std::int64_t from, std::int64_t to) {
    std::string d;
    double lastY = 0;
    const std::size_t stride = points.size() / kMostPoints + 1;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (i % stride != 0 && i + 1 != points.size()) continue;
        const double x = kLeft + (kRight - kLeft) * static_cast<double>(points[i].at - from) /
                                     static_cast<double>(std::max<std::int64_t>(1, to - from));
        const double y = kBottom - (kBottom - kTop) * std::min(1.0, points[i].value / top);
        if (d.empty()) {
            d = "M" + number(x) + " " + number(y);
        } else {
            if (scale.steps) d += "L" + number(x) + " " + number(lastY);
            d += "L" + number(x) + " " + number(y);
        }
        lastY = y;
    }
    return d;
}

}  // namespace

void addLineChart(Html& html, const ChartScale& scale, const std::vector<ChartPoint>& points,
                  std::int64_t now) {
    if (points.size() < 2) return;
    double top = scale.top;
    for (const ChartPoint& point : points) top = scale.top > 0 ? top : std::max(top, point.value);
    if (top <= 0) top = 1;
    const std::int64_t from = points.front().at;
    const std::int64_t to = points.back().at;
    Frame frame(html, scale.title,
                number(points.front().value) + scale.unit + " at " + clockText(from, now) + " to " +
                    number(points.back().value) + scale.unit + " at " + clockText(to, now));
    frame.value(kBottom, "0");
    frame.value(kTop, number(top) + scale.unit);
    html.empty("path", {{"class", "line"}, {"d", path(scale, points, top, from, to)}});
    frame.time("tick-x", kLeft, clockText(from, now));
    frame.time("tick-x end", kRight, clockText(to, now));
    frame.close();
}

void addDayChart(Html& html, const std::string& title, const std::vector<ChartDay>& days,
                 std::int64_t now) {
    if (days.empty()) return;
    int most = 0;
    int errors = 0;
    int warnings = 0;
    for (const ChartDay& day : days) {
        most = std::max(most, day.errors + day.warnings);
        errors += day.errors;
        warnings += day.warnings;
    }
    Frame frame(html, title,
                counted(errors, "error") + " and " + counted(warnings, "warning") + " in " +
                    counted(days.size(), "day"));
    frame.value(kBottom, "0");
    frame.value(kTop, number(std::max(1, most)));
    const double slot = static_cast<double>(kRight - kLeft) / static_cast<double>(days.size());
    const double unit = static_cast<double>(kBottom - kTop) / std::max(1, most);
    for (std::size_t i = 0; i < days.size(); ++i) {
        const double x = kLeft + slot * static_cast<double>(i) + slot * 0.15;
        double y = kBottom;
        const auto addBar = [&](const char* look, int count) {
            if (count == 0) return;
            y -= unit * count;
            html.empty("rect", {{"class", look},
                                {"x", number(x)},
                                {"y", number(y)},
                                {"width", number(slot * 0.7)},
                                {"height", number(unit * count)}});
        };
        addBar("f-bad", days[i].errors);
        addBar("f-warn", days[i].warnings);
    }
    frame.time("tick-x", kLeft, localTimeText(days.front().begins).substr(5, 5));
    frame.time("tick-x end", kRight, localTimeText(now).substr(5, 5));
    frame.close();
}
