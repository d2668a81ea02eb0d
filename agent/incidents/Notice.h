// Notice: what people are told of an incident: one message with a subject and a few lines.
//
// Texts are UTF-8, already free of control characters (SafeText), the subject is one line.
#ifndef AGENT_INCIDENTS_NOTICE_H
#define AGENT_INCIDENTS_NOTICE_H

#include <string>

#include "agent/incidents/Incident.h"

struct Notice {
    enum class Kind {
        kOpened,
        kUpdated,   // another value, not worse
        kWorse,     // a worse value
        kResolved,  // with its duration
        kReminder,
        kFlapping,  // the last one until it holds still
        kTest,      // `raidwatch test`: nothing happened
    };

    Kind kind = Kind::kOpened;
    Incident incident;    // as it was then
    std::string subject;  // "DEGRADED md0 on host: survives 1 more drive failure"
    std::string body;     // lines of at most 78 columns, each with its line end
};

// "opened", "updated", "worse", "resolved", "reminder", "flapping", "test"
constexpr const char* noticeWord(Notice::Kind kind) {
    switch (kind) {
        case Notice::Kind::kUpdated:
            return "updated";
        case Notice::Kind::kWorse:
            return "worse";
        case Notice::Kind::kResolved:
            return "resolved";
        case Notice::Kind::kReminder:
            return "reminder";
        case Notice::Kind::kFlapping:
            return "flapping";
        case Notice::Kind::kTest:
            return "test";
        case Notice::Kind::kOpened:
            break;
    }
    return "opened";
}

#endif  // AGENT_INCIDENTS_NOTICE_H
