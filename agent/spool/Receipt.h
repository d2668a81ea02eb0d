// Receipt: what came of handing one record to one sink. SinkStatus: how a sink stands.
#ifndef AGENT_SPOOL_RECEIPT_H
#define AGENT_SPOOL_RECEIPT_H

#include <cstdint>
#include <string>

struct Receipt {
    enum class Outcome { kDelivered, kFailed, kDead };  // kDead: given up, will not be tried again

    std::string sink;
    std::int64_t sequence = 0;
    std::int64_t at = 0;  // milliseconds since 1970-01-01 UTC
    Outcome outcome = Outcome::kDelivered;
    int tries = 0;
    std::string answer;  // of the other side, one safe line: "250 2.0.0 Ok: queued as 4F1A"
};

struct SinkStatus {
    std::string sink;
    std::int64_t cursor = 0;
    std::int64_t waiting = 0;        // records behind the cursor
    std::int64_t lastDelivered = 0;  // milliseconds, 0 never
    std::int64_t dead = 0;           // records given up
    int tries = 0;                   // failed ones for the next record
    std::string lastAnswer;          // of the last try
    bool ok = true;                  // the last try succeeded, or there was none

    // Counted since the sink has its place; pruning does not lower these.
    std::int64_t everDelivered = 0;  // records
    std::int64_t everFailed = 0;     // tries
    std::int64_t everDead = 0;       // records
};

#endif  // AGENT_SPOOL_RECEIPT_H
