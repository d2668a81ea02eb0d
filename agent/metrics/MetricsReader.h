// MetricsReader: gathers what the metrics are made of from the files that the daemon keeps: its
// spool, read-only, and state.json. So it works beside a running daemon, in any process that may
// read them, and never holds up a poll.
//
//   MetricsReader reader({spoolFile, stateFile, settings.staleAfter});
//   const std::string text = render(reader.read());
//
// Threads  One at a time per object; the spool is opened by the first read() and kept.
// Errors   None leave. Without a state there are no objects and no poll; without a spool
//          `spoolReadable` is false.
#ifndef AGENT_METRICS_METRICSREADER_H
#define AGENT_METRICS_METRICSREADER_H

#include <cstdint>
#include <memory>
#include <string>

#include "agent/metrics/MetricsInput.h"

class Spool;

class MetricsReader {
public:
    struct Parts {
        std::string spoolFile;
        std::string stateFile;
        std::int64_t staleAfter = 300;  // seconds
    };

    explicit MetricsReader(Parts partsIN);
    ~MetricsReader();
    MetricsReader(const MetricsReader&) = delete;
    MetricsReader& operator=(const MetricsReader&) = delete;

    MetricsInput read();
    void forget();  // the connection; it comes again when it is needed

private:
    void readState(MetricsInput& input) const;
    void readSpool(MetricsInput& input);

    const Parts parts;
    std::unique_ptr<Spool> spool;
};

#endif  // AGENT_METRICS_METRICSREADER_H
