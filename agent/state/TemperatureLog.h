// TemperatureLog: how warm drives, controllers and enclosures were within the last two days, a
// sample every ten minutes, for the charts of the page.
//
//   TemperatureLog log = TemperatureLog::parse(file.read());
//   if (log.note(machine)) file.write(log.text());        // after each poll
//   for (const TemperatureLog::Sample& sample : log.of("drive:S1")) draw(sample);
//
// The text is {"at": [time, ...], "of": {"drive:S1": [34, -1, ...], ...}}, one number for each
// time. An enclosure is as warm as its warmest sensor. What tells no temperature has no samples.
//
// Threads  One at a time. Errors: a text that is none of ours is an empty log.
// Units    Seconds since 1970-01-01 UTC, degrees Celsius.
#ifndef AGENT_STATE_TEMPERATURELOG_H
#define AGENT_STATE_TEMPERATURELOG_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "agent/state/MachineState.h"

class TemperatureLog {
public:
    static constexpr std::int64_t kEverySeconds = 600;
    static constexpr std::int64_t kKeptSeconds = 48 * 3600;

    struct Sample {
        std::int64_t at = 0;
        int degrees = 0;
    };

    static TemperatureLog parse(const std::string& text);
    std::string text() const;

    // Takes a sample when the last one is old enough; whether it did.
    bool note(const MachineState& machine);
    std::vector<Sample> of(std::string_view key) const;  // ascending

private:
    static constexpr int kNone = -1;

    void dropBefore(std::int64_t when);
    void set(const std::string& key, int degrees);  // of the last sample; the warmest counts

    std::vector<std::int64_t> times;
    std::map<std::string, std::vector<int>, std::less<>> columns;  // each as long as `times`
};

#endif  // AGENT_STATE_TEMPERATURELOG_H
