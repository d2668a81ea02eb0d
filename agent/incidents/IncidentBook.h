// IncidentBook: the open incidents, and what an event, a look at the machine or the passing of time
// does to them. It decides who must be told what; it neither stores nor sends.
//
//   IncidentBook book(settings, spool.openIncidents(), spool.lastIncident());
//   IncidentBook::Effect effect = book.apply(record, state, silences, now);
//   batch.incidents = effect.changed; ... one Record per notice
//
// What an event does is a row of IncidentRules; the state after a poll (reconcile) closes what no
// event closed and opens what no event told. Test and drill events have books of their own: they
// never touch a real incident.
//
// Threads  One at a time. Errors: none.
#ifndef AGENT_INCIDENTS_INCIDENTBOOK_H
#define AGENT_INCIDENTS_INCIDENTBOOK_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/incidents/Incident.h"
#include "agent/incidents/Notice.h"
#include "agent/incidents/Silence.h"
#include "agent/settings/AgentSettings.h"
#include "agent/spool/Record.h"
#include "agent/state/MachineState.h"

class IncidentBook {
public:
    struct Effect {
        std::vector<Incident> changed;  // complete, to be stored
        std::vector<Notice> notices;    // to be told, in order; silenced ones are left out
        std::int64_t incident = 0;      // that the event belongs to; 0 for none
    };

    IncidentBook(const AgentSettings& settings, std::vector<Incident> open, std::int64_t lastId);

    // `event` is of kind kEvent and has its object; `state` is the machine as last seen.
    Effect apply(const Record& event, const MachineState& state,
                 const std::vector<Silence>& silences, std::int64_t now);
    // After a completed poll: the truth about arrays, drives and enclosures.
    Effect reconcile(const MachineState& state, const std::vector<Silence>& silences,
                     std::int64_t now);
    // Reminders, the end of flapping, acknowledgements and silences that run out.
    Effect tick(const std::vector<Silence>& silences, std::int64_t now);

    // False when there is no open incident with that id.
    bool acknowledge(std::int64_t id, const std::string& by, const std::string& comment,
                     std::int64_t until, std::int64_t now, Effect& effect);
    bool unacknowledge(std::int64_t id, std::int64_t now, Effect& effect);

    const std::vector<Incident>& open() const { return incidents; }  // by id

    void use(const AgentSettings& settings);  // after a reload

private:
    AgentSettings settings;
    std::vector<Incident> incidents;
    std::int64_t lastId = 0;
};

#endif  // AGENT_INCIDENTS_INCIDENTBOOK_H
