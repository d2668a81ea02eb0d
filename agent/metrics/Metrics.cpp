#include "agent/metrics/Metrics.h"

#include "agent/metrics/MetricsFamilies.h"

std::string render(const MetricsInput& input) {
    const MetricsView view(input);
    MetricsWriter out;
    for (const MetricsFamily& family : metricsFamilies()) {
        const std::string name = std::string("raidwatch_") + family.name;
        out.begin(name.c_str(), family.type, family.labels, family.help);
        family.write(view, out);
    }
    return out.take();
}
