// Record: one line of the spool: an event of the engine, or a notice about an incident. Both share
// one sequence, so that a sink needs one cursor and sees cause before effect.
//
// A plain value. The id that receivers drop repeats by is "<machine-id>:<sequence>".
#ifndef AGENT_SPOOL_RECORD_H
#define AGENT_SPOOL_RECORD_H

#include <cstdint>
#include <string>

#include "agent/incidents/Notice.h"
#include "agent/spool/Origin.h"
#include "events/QELEvent.h"

struct Record {
    enum class Kind { kEvent, kNotice };

    std::int64_t sequence = 0;  // from 1, without gaps but for what was pruned; 0: not yet spooled
    std::int64_t at = 0;        // when it was spooled, milliseconds since 1970-01-01 UTC
    Kind kind = Kind::kEvent;
    Origin origin = Origin::kLive;
    std::string object;         // key of the object that it is about, see MachineState; may be ""
    std::string objectName;     // for people
    std::int64_t incident = 0;  // that it belongs to; 0 for none

    QELEvent event;  // kEvent
    Notice notice;   // kNotice

    int severity() const {
        return kind == Kind::kEvent ? event.severity : notice.incident.severity;
    }
};

#endif  // AGENT_SPOOL_RECORD_H
