// Incident: one problem of one object from its beginning to its end: a drive fails, the spare takes
// over, the array is rebuilt, all is well. People are told of incidents, not of events.
//
// A plain value. Times in seconds since 1970-01-01 UTC, 0 where it did not happen.
#ifndef AGENT_INCIDENTS_INCIDENT_H
#define AGENT_INCIDENTS_INCIDENT_H

#include <cstdint>
#include <string>

#include "agent/spool/Origin.h"

struct Incident {
    std::int64_t id = 0;     // from 1, never used again
    std::string object;      // key of the object, see MachineState: "array:md:0", "drive:S7K2M9Q0"
    std::string objectName;  // for people: "md0", "drive 1:0:3"
    std::string condition;   // what is wrong: "redundancy", "drive", "fan", ...; see IncidentRules
    std::string value;       // how it stands: "degraded", "rebuilding", "failed", "normal", ...
    int severity = 0;        // of the present value, an EnumEventType
    bool open = true;
    Origin origin = Origin::kLive;

    std::int64_t openedAt = 0;
    std::int64_t updatedAt = 0;      // when the value last changed
    std::int64_t resolvedAt = 0;     // when all was well again; still open until people may be told
    std::int64_t firstSequence = 0;  // spool sequence of the first event, 0 when found by looking
    std::int64_t lastSequence = 0;
    int events = 0;  // that belong to it, companions included

    int code = 0;       // of the event that decided the present value; 0 when found by looking
    std::string text;   // of that event, or a sentence of our own
    int survives = -1;  // further drive failures that its array survives; -1 not known
    std::int64_t exposedSince = 0;  // since when its array has less redundancy than it should

    // An acknowledgement holds for this object, condition and value; a worse value ends it.
    std::string ackBy;
    std::string ackComment;
    std::string ackValue;
    std::int64_t ackAt = 0;
    std::int64_t ackUntil = 0;  // 0: until the value gets worse or the incident ends

    int changes = 0;  // of value within the flap window
    std::int64_t changesSince = 0;
    bool flapping = false;
    // Since people were last told something else; kUntold and kOwed while a silence keeps us from
    // telling them at all, or from telling how it stands now.
    int reminders = 0;
    std::int64_t nextReminder = 0;  // 0: none is due

    static constexpr int kUntold = -1;
    static constexpr int kOwed = -2;

    bool acknowledged() const { return ackAt != 0; }
    bool told() const { return reminders != kUntold; }
};

#endif  // AGENT_INCIDENTS_INCIDENT_H
