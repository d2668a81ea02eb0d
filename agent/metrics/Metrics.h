// Metrics: what a Prometheus server reads from /metrics, in its text format 0.0.4.
//
//   response.set_content(render(MetricsReader({spoolFile, stateFile, staleAfter}).read()),
//                        kMetricsContentType);
//
// The families are rows of data (MetricsFamilies); docs/formats/metrics.md is made of the same
// rows. Whatever the hardware calls itself, the text is one that Prometheus accepts: label values
// are valid UTF-8 in one line and of bounded length, and no two samples have the same labels.
//
// A stale picture is still told, as it was; raidwatch_up_to_date is 0 then, and
// raidwatch_last_completed_poll_timestamp_seconds says how old it is. Before the first poll there
// are no series of objects at all.
//
// Pure functions; any thread. Errors: none.
#ifndef AGENT_METRICS_METRICS_H
#define AGENT_METRICS_METRICS_H

#include <string>

#include "agent/metrics/MetricsInput.h"

constexpr char kMetricsContentType[] = "text/plain; version=0.0.4; charset=utf-8";

std::string render(const MetricsInput& input);

#endif  // AGENT_METRICS_METRICS_H
