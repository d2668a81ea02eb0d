// What one public call of the IncidentBook works with; private to its files.
#ifndef AGENT_INCIDENTS_INCIDENTBOOKCALL_H
#define AGENT_INCIDENTS_INCIDENTBOOKCALL_H

#include <algorithm>
#include <cstdint>
#include <set>
#include <vector>

#include "agent/incidents/IncidentBook.h"

struct IncidentBook::Call {
    const std::vector<Silence>& silences;
    std::int64_t now;
    Effect effect = {};
    std::set<std::int64_t> touched = {};  // incidents to be stored

    bool isSilenced(const Incident& incident) const {
        return std::any_of(silences.begin(), silences.end(), [&](const Silence& silence) {
            return silence.covers(incident.object, now);
        });
    }
};

// 0 when all is well.
inline int rankOf(const std::string& condition, const std::string& value) {
    const Standing* standing = findStanding(condition, value);
    return standing == nullptr ? 0 : standing->rank;
}
inline int rankOf(const Incident& incident) { return rankOf(incident.condition, incident.value); }

inline void clearAcknowledgement(Incident& incident) {
    incident.ackBy.clear();
    incident.ackComment.clear();
    incident.ackValue.clear();
    incident.ackAt = 0;
    incident.ackUntil = 0;
}

// The standing of an array in that state; null when it is in order or nobody knows.
inline const Standing* standingOf(const ArrayState& array) {
    if (array.state == "degraded") return findStanding("redundancy", "degraded");
    if (array.state == "rebuilding") return findStanding("redundancy", "rebuilding");
    if (array.state == "failed" || array.state == "offline") {
        return findStanding("redundancy", "offline");
    }
    return nullptr;
}

template <class Object>
const Object* findByKey(const std::vector<Object>& objects, const std::string& key) {
    for (const Object& object : objects) {
        if (object.key == key) return &object;
    }
    return nullptr;
}

#endif  // AGENT_INCIDENTS_INCIDENTBOOKCALL_H
