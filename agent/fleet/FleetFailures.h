// FleetFailures: drives that have failed, anywhere in a fleet, by what they are: whether drives of
// one model and firmware fail together.
//
//   FleetFailures failures;
//   failures.add(machine, {"KOVA", "K500", "A7"}, "S1", failedAt);    // repeats do not count
//   for (const FleetFailures::Row& row : failures.list(now - 30 * 86400, 3, inUse)) ...
//
// Of one machine at most kMostOfOne drives are kept, so that what a machine sends does not make it
// grow. Threads as any value. Errors: none. Times in seconds since 1970-01-01 UTC.
#ifndef AGENT_FLEET_FLEETFAILURES_H
#define AGENT_FLEET_FLEETFAILURES_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

class FleetFailures {
public:
    static constexpr int kMostOfOne = 1000;

    // Vendor, model and firmware, as their makers write them.
    using Kind = std::tuple<std::string, std::string, std::string>;
    struct Row {
        std::string vendor;
        std::string model;
        std::string firmware;
        int failed = 0;          // different drives
        int machines = 0;        // on which they failed
        std::int64_t inUse = 0;  // drives of the kind that all machines have now
        std::int64_t firstAt = 0;
        std::int64_t lastAt = 0;
    };

    // `drive` tells one drive of a kind from another.
    void add(const std::string& machine, const Kind& kind, const std::string& drive,
             std::int64_t at);
    // Of at least `least` drives that failed since then, most first.
    std::vector<Row> list(std::int64_t since, int least,
                          const std::map<Kind, std::int64_t>& inUse) const;

private:
    struct Failed {
        std::int64_t firstAt = 0;
        std::int64_t lastAt = 0;
        std::set<std::string> machines;
    };
    using Drives = std::map<std::string, Failed>;

    static Row rowOf(const Kind& kind, const Drives& drives, std::int64_t since);

    std::map<Kind, Drives> kinds;
    std::map<std::string, int> counts;  // drives that a machine has added
};

#endif  // AGENT_FLEET_FLEETFAILURES_H
