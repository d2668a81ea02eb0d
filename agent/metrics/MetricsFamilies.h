// MetricsFamilies: every metric that there is, one row each: its name, what it means, its labels,
// and how its samples are found. render() walks the rows, and so does the reference in
// docs/formats/metrics.md.
//
// Pure data and functions; any thread.
#ifndef AGENT_METRICS_METRICSFAMILIES_H
#define AGENT_METRICS_METRICSFAMILIES_H

#include <map>
#include <string>
#include <vector>

#include "agent/metrics/MetricsInput.h"
#include "agent/metrics/MetricsWriter.h"

// The input with the labels of its objects, made once for all families. The input is borrowed.
struct MetricsView {
    explicit MetricsView(const MetricsInput& inputIN);

    // Labels of what others belong to; "" when there is no such object.
    std::string withKey(const std::string& key) const;  // an array or enclosure
    std::string controllerAt(int number) const;

    const MetricsInput& input;
    // One for each object of the list of the same name, in its order.
    std::vector<std::string> arrays;
    std::vector<std::string> drives;
    std::vector<std::string> enclosures;
    std::vector<std::string> controllers;
    std::vector<std::string> sinks;

private:
    std::map<std::string, std::string> byKey;
    std::map<int, std::string> byNumber;
};

struct MetricsFamily {
    const char* about;   // "raidwatch", "sinks", "arrays", "drives", "enclosures", "controllers"
    const char* name;    // without "raidwatch_"; it ends in its unit, where it has one
    const char* type;    // "gauge", "counter"
    const char* labels;  // with commas between
    const char* help;    // one sentence without a full stop
    void (*write)(const MetricsView& view, MetricsWriter& out);
};

std::vector<MetricsFamily> metricsFamilies();

std::string metricsMarkdown();  // the tables of docs/formats/metrics.md

#endif  // AGENT_METRICS_METRICSFAMILIES_H
