// Chart: a small drawing of numbers over time, for an object's page.
//
//   addLineChart(html, {"Rebuild", "%", 0, 100}, points, from, to);
//   addBarChart(html, "Errors and warnings per day", days, now);
//
// Points are ascending in time. Pure functions; any thread. Times in seconds since 1970-01-01 UTC.
#ifndef AGENT_PAGE_CHART_H
#define AGENT_PAGE_CHART_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/page/Html.h"

struct ChartPoint {
    std::int64_t at = 0;
    double value = 0;
};

struct ChartScale {
    std::string title;
    std::string unit;    // behind the numbers: " %"
    double top = 0;      // 0: the highest value
    bool steps = false;  // the value holds until the next point
};

void addLineChart(Html& html, const ChartScale& scale, const std::vector<ChartPoint>& points,
                  std::int64_t now);

// Of one day: how many of each.
struct ChartDay {
    std::int64_t begins = 0;
    int errors = 0;
    int warnings = 0;
};

void addDayChart(Html& html, const std::string& title, const std::vector<ChartDay>& days,
                 std::int64_t now);

#endif  // AGENT_PAGE_CHART_H
