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
// ONE FAILURE, ONE INCIDENT
// A drive that fails or disappears joins the incident of its array. Whose drive it is says the
// machine's state, as long as we have looked. Of a controller that does not tell which drives an
// array has, the one array that is not normal takes the drive; where there are two of them, or
// none, the drive has an incident of its own, as a spare or an unused drive always has. A drive
// added at a place ends the problem of the drive that was there.
//
// WHO IS TOLD WHEN
// Bad news at once: a new problem, a worse value, less redundancy, one more drive. A better value
// at once too when what it ends had lasted for settings.flapWindow, otherwise when it has itself
// lasted so long. For the end of an incident a quarter of that is enough, as long as it does not
// flap. So a drive that comes and goes makes three messages: opened; flapping, after
// settings.flapChanges changes within the window; and how it stands when it has held still for the
// window. Such an incident stays open with the value "normal" until then. One that comes and goes
// so slowly that its end was told, and is back within the window, flaps from its beginning: opened,
// resolved, opened, and how it stands in the end. A flapWindow of 0 tells all at once.
//
// ACKNOWLEDGED  No reminders and no better values; a worse value, less redundancy or one more drive
// ends the acknowledgement and is told. The end of the incident is told.
// SILENCED  Nothing is told. When the silence ends and it is still open: one message. What people
// were told of before stays open until then, so that they hear of its end.
//
// What the book remembers beyond the incidents (which drive belonged where, what exactly was told)
// is lost with the process; then it may tell one value again, and never one too few.
//
// Threads  One at a time. Errors: none; the constructor as EventReference.
#ifndef AGENT_INCIDENTS_INCIDENTBOOK_H
#define AGENT_INCIDENTS_INCIDENTBOOK_H

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "agent/incidents/Incident.h"
#include "agent/incidents/IncidentRules.h"
#include "agent/incidents/Notice.h"
#include "agent/incidents/NoticeText.h"
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

    // `originIN` is of what is found by looking; events say theirs.
    IncidentBook(const AgentSettings& settingsIN, std::vector<Incident> open, std::int64_t lastIdIN,
                 Origin originIN = Origin::kLive);

    // `event` is of kind kEvent and has its object; `state` is the machine as last seen.
    Effect apply(const Record& event, const MachineState& state,
                 const std::vector<Silence>& silences, std::int64_t now);
    // After a completed poll: the truth about arrays, drives and enclosures.
    Effect reconcile(const MachineState& state, const std::vector<Silence>& silences,
                     std::int64_t now);
    // `trouble`: why the storage cannot be read; "" ends that incident.
    Effect follow(const std::string& trouble, const std::vector<Silence>& silences,
                  std::int64_t now);
    // Reminders, the end of flapping, acknowledgements and silences that run out.
    Effect tick(const std::vector<Silence>& silences, std::int64_t now);

    // False when there is no open incident with that id.
    bool acknowledge(std::int64_t id, const std::string& by, const std::string& comment,
                     std::int64_t until, std::int64_t now, Effect& effect);
    bool unacknowledge(std::int64_t id, std::int64_t now, Effect& effect);

    const std::vector<Incident>& open() const { return incidents; }  // by id

    void use(const AgentSettings& settingsIN) { settings = settingsIN; }  // after a reload
    // Numbers up to `used` are taken by somebody else.
    void skipNumbers(std::int64_t used) { lastId = std::max(lastId, used); }

private:
    // What people know of an incident.
    struct Told {
        int rank = 0;
        int survives = -1;
        int worstRank = 0;
        int leastSurvives = -1;
        std::vector<std::string> drives;  // keys of those that it is about
    };
    // A drive as last seen, and what it did while it was in order.
    struct SeenDrive {
        DriveState state;
        enum class Work { kUnknown, kMember, kSpare, kUnused } work = Work::kUnknown;
        std::string array;    // key; of a member
        bool failed = false;  // since it was last in order
    };
    struct Subject {
        std::string object;
        std::string name;
    };
    struct Call;  // what one public call works with

    void remember(const MachineState& state);
    void rememberDrive(const DriveState& drive);
    void rememberEnclosure(const EnclosureState& enclosure);
    SeenDrive& seenDrive(const Record& event);

    bool applyRule(const EventRule& rule, const Record& event, Call& call);  // it took hold
    void openOrChange(const Standing& standing, const Record& event, Call& call);
    void applyToDrive(const Standing& standing, const Record& event, Call& call);
    void joinArray(const ArrayState& array, const Record& event, Call& call);
    void resolveAsToldBy(const EventRule& rule, const Record& event, Call& call);
    void resolveDrives(const Record& event, const char* value, Call& call);
    void fold(const Record& event, Call& call);
    const ArrayState* arrayOfDrive(const std::string& key, int adapter) const;
    Subject subjectOf(const Record& event) const;

    void reconcileArray(const ArrayState& array, Call& call);
    void reconcileDrives(Call& call);
    void reconcileNewDrive(const DriveState& drive, Call& call);
    void reconcileEnclosure(const EnclosureState& enclosure, Call& call);
    void reconcileUnit(const EnclosureState& enclosure, const std::string& condition,
                       const std::string& value, Call& call);

    Incident* find(const std::string& object, const std::string& condition);
    Incident& openNew(const Subject& subject, const Standing& standing,
                      const std::string& condition, const Record* event, Call& call);
    void change(Incident& incident, const Standing& standing, const Record* event, Call& call);
    void resolve(Incident& incident, const char* value, const Record* event, Call& call);
    void decide(Incident& incident, std::int64_t lasted, Call& call);
    void followClock(Incident& incident, Call& call);
    void tickOne(Incident& incident, Call& call);
    std::int64_t holdOfEnd(const Incident& incident) const;
    bool isBackSoon(const Incident& incident, std::int64_t now) const;
    void finish(Incident& incident, Call& call);
    void closeQuietly(Incident& incident, Call& call);
    void tell(Incident& incident, Notice::Kind kind, Call& call);
    void countEvent(Incident& incident, const Record& event, Call& call);
    bool copyRedundancy(Incident& incident) const;  // true when it changed
    void listDrives(Told& known, const Incident& incident) const;
    std::vector<DriveState> drivesOf(const Incident& incident, const Told& known) const;
    Told& toldOf(const Incident& incident);
    std::int64_t reminderAfter(const Incident& incident, std::int64_t now) const;
    bool isFresh(const Incident& incident) const;
    Effect finished(Call& call);

    AgentSettings settings;
    std::vector<Incident> incidents;
    std::int64_t lastId;
    Origin origin;

    NoticeText text;
    MachineState machine;  // as last seen
    bool hasHistory;       // incidents of an earlier process; until the first look
    std::map<std::int64_t, Told> told;
    std::map<std::string, SeenDrive> drives;  // by key
    std::vector<EnclosureState> enclosures;   // that were ever seen, without elements
    // By object and condition: when the last one ended; and of short ones that people were told of
    // when all was well again.
    std::map<std::string, std::int64_t> resolvedAt;
    std::map<std::string, std::int64_t> shortOnes;
};

#endif  // AGENT_INCIDENTS_INCIDENTBOOK_H
