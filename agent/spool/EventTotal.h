// EventTotal: how many events of one severity and code were ever recorded on this machine, by the
// spool that is kept now. Pruning does not lower it; tests and drills do not count.
#ifndef AGENT_SPOOL_EVENTTOTAL_H
#define AGENT_SPOOL_EVENTTOTAL_H

#include <cstdint>

struct EventTotal {
    int severity = 0;  // an EnumEventType
    int code = 0;
    std::int64_t count = 0;
};

#endif  // AGENT_SPOOL_EVENTTOTAL_H
