#include "agent/fleet/FleetFailures.h"

#include <algorithm>

void FleetFailures::add(const std::string& machine, const Kind& kind, const std::string& drive,
                        std::int64_t at) {
    const auto known = kinds.find(kind);
    if (known == kinds.end() || known->second.count(drive) == 0) {
        int& count = counts[machine];
        if (count == kMostOfOne) return;
        ++count;
    }
    Failed& failed = kinds[kind][drive];
    failed.firstAt = failed.firstAt == 0 ? at : std::min(failed.firstAt, at);
    failed.lastAt = std::max(failed.lastAt, at);
    failed.machines.insert(machine);
}

FleetFailures::Row FleetFailures::rowOf(const Kind& kind, const Drives& drives,
                                        std::int64_t since) {
    Row row;
    std::tie(row.vendor, row.model, row.firmware) = kind;
    std::set<std::string> where;
    for (const auto& [name, failed] : drives) {
        if (failed.lastAt < since) continue;
        ++row.failed;
        where.insert(failed.machines.begin(), failed.machines.end());
        row.firstAt = row.firstAt == 0 ? failed.firstAt : std::min(row.firstAt, failed.firstAt);
        row.lastAt = std::max(row.lastAt, failed.lastAt);
    }
    row.machines = static_cast<int>(where.size());
    return row;
}

std::vector<FleetFailures::Row> FleetFailures::list(
    std::int64_t since, int least, const std::map<Kind, std::int64_t>& inUse) const {
    std::vector<Row> rows;
    for (const auto& [kind, drives] : kinds) {
        Row row = rowOf(kind, drives, since);
        // Drives that nobody could name are not one kind.
        if (row.model.empty() || row.failed < least) continue;
        const auto used = inUse.find(kind);
        if (used != inUse.end()) row.inUse = used->second;
        rows.push_back(row);
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Row& a, const Row& b) { return a.failed > b.failed; });
    return rows;
}
