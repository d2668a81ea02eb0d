// RecordFilter: which records somebody wants to see. What is not set does not restrict.
#ifndef AGENT_SPOOL_RECORDFILTER_H
#define AGENT_SPOOL_RECORDFILTER_H

#include <cstdint>
#include <string>
#include <vector>

struct RecordFilter {
    std::int64_t after = 0;       // sequence
    std::int64_t since = 0;       // milliseconds since 1970-01-01 UTC, inclusive
    std::int64_t until = 0;       // exclusive; 0: no end
    std::vector<int> severities;  // EnumEventType values
    std::string object;           // object key; of an enclosure also its fans and supplies
    std::vector<int> codes;       // event codes
    bool undelivered = false;     // at least one sink still has it before it, or gave it up
    bool events = true;
    bool notices = true;
    int limit = 0;        // 0: no limit
    bool newest = false;  // with a limit: the last ones, still in ascending order
};

#endif  // AGENT_SPOOL_RECORDFILTER_H
