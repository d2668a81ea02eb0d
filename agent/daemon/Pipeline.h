// Pipeline: from what the monitor found to what is safely stored: events become records, the
// incident book says what people must be told, and one transaction takes records, notices,
// incidents and the engine's snapshot. Then state.json is replaced and the sinks are called.
//
//   Pipeline pipeline(spool, safe, settings, places);
//   while (running) pipeline.pass(monitor.take());       // at least once a second
//   pipeline.finish(monitor.take());                     // after the monitor has stopped
//
// WHY NOTHING IS LOST. The engine finds changes by comparing with its snapshot, and replaces the
// snapshot before anybody has taken the events. So what counts is which snapshot the engine starts
// from. It is the one that was committed together with the events that it explains (the copy in
// the spool; SafeSnapshot puts it in the engine's place). A daemon that dies
//
//   * before the engine has replaced its snapshot: the next start finds the change;
//   * after that, with the events in the engine's queue or in our memory: the commit did not
//     happen, the spool holds the older snapshot, the next start finds the change again;
//   * inside the commit: SQLite rolls it back or completes it, events and snapshot alike;
//   * after the commit, before state.json, the file copy of the snapshot, or any sink: the next
//     start begins with the committed snapshot and finds nothing twice; the sinks' cursors are
//     where they were;
//   * inside a sink: the record is delivered again with the same id.
//
// Two cases are left. A poll that hangs or breaks off: its events are not kept from people for
// longer than kHoldSeconds, but spooled before their snapshot. The next start finds those changes
// again; they are recognised (Repeats) and not recorded twice. What nobody can find again is what
// leaves no trace in a snapshot (a line of a controller's own log, per cent of a task) while it is
// still in memory, and what came and went while nobody looked.
//
// The file copy is written after the commit. It is for the day on which the spool itself is damaged
// and set aside, and then at most one poll behind.
//
// WHEN THE DISK IS FULL, the batch stays in memory as it is and is tried again with each pass; what
// comes later queues up behind it. Beyond kMostWaiting records nothing is taken from the monitor
// (wantsMore()). state.json says what is wrong.
//
// WHEN THE SPOOL TURNS OUT TO BE DAMAGED, or somebody has removed its file, it is examined as soon
// as nobody else has it open (the sinks are asked to let go). One that is damaged is set aside, and
// a new one begins with all that is known here: open incidents, silences, the snapshot, what waits
// in memory, and whatever some sink had not yet taken and can still be read of the old one. Each
// sink goes on where it was. Nobody is waited for longer than kAlonePatience.
//
// WHEN THE STORAGE CANNOT BE READ, tries that failed are counted: at kTriesUntilTold in a row
// people are told, once, and again when it can be read.
//
// Threads  One at a time. Ownership: spool and safe are borrowed. Nobody else commits records.
// Errors   pass() and finish() throw nothing; problems() has them. The changes throw Failure.
// Units    Seconds, by Clock.
#ifndef AGENT_DAEMON_PIPELINE_H
#define AGENT_DAEMON_PIPELINE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "agent/MonitorThread.h"
#include "agent/daemon/Repeats.h"
#include "agent/incidents/IncidentBook.h"
#include "agent/incidents/NoticeText.h"
#include "agent/settings/AgentSettings.h"
#include "agent/spool/Spool.h"
#include "agent/state/MachineState.h"
#include "agent/state/ObjectKeys.h"

class SafeSnapshot;

class Pipeline {
public:
    static constexpr std::size_t kMostWaiting = 20000;
    static constexpr int kHoldSeconds = 5;       // for events of a poll that has not ended
    static constexpr int kPolledAtSeconds = 60;  // how often a poll without news is noted down
    static constexpr int kTriesUntilTold = 12;   // a minute of polls
    static constexpr std::chrono::seconds kAlonePatience{60};

    struct Places {
        std::string stateFile;      // replaced after each poll
        std::string lastStateFile;  // what the next start remembers; "" for none
    };

    // From the first to the last record of what a test or a drill made.
    struct Span {
        std::int64_t first = 0;
        std::int64_t last = 0;
    };

    // `wakeSinks` is called after records were committed; may be null.
    Pipeline(Spool& spoolIN, SafeSnapshot& safeIN, const AgentSettings& settingsIN, Places placesIN,
             std::function<void()> wakeSinksIN = nullptr);

    // The machine as the last run saw it: a drive that is gone is still known by its serial number.
    void remember(const MachineState& last) { state = last; }

    bool wantsMore() const { return pending.records.size() < kMostWaiting; }
    // Who is called (true), again and again, when all sinks must leave the spool alone, until he
    // says that they have; and (false) when they may come back.
    void keepSinksAwayBy(std::function<bool(bool)> how) { keepSinksAway = std::move(how); }
    std::vector<std::string> takeNotes() { return std::exchange(notes, {}); }  // for people

    void pass(MonitorThread::Batch batch);
    void finish(MonitorThread::Batch batch);  // holds nothing back

    // Spool::prune(), in seconds. Trouble is a problem like any other.
    void prune(std::int64_t time);
    // Somebody else met damage in the spool: the next pass examines it.
    void distrustSpool();

    // --- what is wrong at the moment, by topic; shown in state.json ---
    void setProblem(const std::string& topic, const std::string& line);  // "" ends it
    const std::map<std::string, std::string>& problems() const { return trouble; }

    // Where the page is served, for state.json.
    void setPages(const std::vector<std::string>& addresses);

    // --- changes. Failure when there is no such thing, or when they could not be stored (they
    // hold nevertheless, and storing is tried again) ---
    // Both return the incident as it is then.
    Incident acknowledge(std::int64_t id, const std::string& by, const std::string& comment,
                         std::int64_t until);
    Incident unacknowledge(std::int64_t id);
    std::int64_t addSilence(const Silence& silence);
    void removeSilence(std::int64_t id);
    // An event and a notice for each of `sinks`, or, with none named, one of each for all.
    Span test(const std::vector<std::string>& sinks);
    // The events of a rehearsal, through an incident book of their own. What it leaves open is
    // closed at its end, and that is told too.
    Span drill(const std::string& name, const std::vector<QELEvent>& events);

    void use(const AgentSettings& settingsIN);

    const MachineState& machine() const { return state; }

private:
    struct Held {
        QELEvent event;
        MonitorThread::Source source;
        std::chrono::steady_clock::time_point since;
    };

    // Of a damaged spool: what could still be read.
    struct Rescued {
        std::vector<Record> records;                // that not every sink has taken, in order
        std::map<std::string, std::int64_t> sinks;  // with their cursors
        std::size_t unreadable = 0;                 // records that were lost
    };

    void take(MonitorThread::Batch batch, bool holdNothing);
    void followReading(const MonitorThread::Batch& batch);
    void setSpoolProblem(const SpoolError& error, const std::string& more);
    bool replaceSpool();
    void rescue();
    void moveIntoNewSpool();
    void giveSinksTheirPlaces();
    void process(std::size_t count, bool spooledBeforeSnapshot);
    std::size_t overdue() const;
    ObjectKey keyOf(const QELEvent& event) const;
    Record recordOf(const QELEvent& event, Origin origin, const ObjectKey& key) const;
    void addEvent(IncidentBook& with, const Record& record, const MachineState& seen);
    std::int64_t addRecord(Record record);
    void addEffect(const IncidentBook::Effect& effect, Origin origin);
    void addNotice(const Notice& notice, Origin origin);
    Notice written(Notice::Kind kind, const Incident& incident) const;
    std::int64_t nextSequence() const;
    std::string waitingText() const;
    void letSinksBack();
    void lookAtSpool();
    bool commit();
    void commitChange();
    void keepCopy();
    void writeState();

    Spool& spool;
    SafeSnapshot& safe;
    AgentSettings settings;
    const Places places;
    const std::function<void()> wakeSinks;
    std::function<bool(bool)> keepSinksAway;
    IncidentBook book;
    const NoticeText text;

    MachineState state;
    MachineState before;  // the poll before: what has gone is known there
    std::deque<Held> held;
    Repeats repeats;

    Spool::Batch pending;        // not yet in the spool
    std::int64_t committed = 0;  // last sequence in the spool
    std::string snapshot;        // that the spool holds
    bool copyIsOld = true;       // the file copy may differ from `snapshot`
    std::int64_t polledAtStored = 0;
    double pollSeconds = -1;  // that the last poll took; -1: not known
    std::vector<Silence> silences;
    std::map<std::string, std::string> trouble;
    std::vector<std::string> pages;
    bool stateIsOld = true;
    std::vector<std::string> notes;

    int failedTries = 0;  // to read the storage, in a row
    std::string unreadable;

    bool damaged = false;  // the spool, and not yet replaced
    Rescued rescued;
    std::chrono::steady_clock::time_point alonePatience;  // so long others are waited for
    std::chrono::steady_clock::time_point nextReplacement;
};

#endif  // AGENT_DAEMON_PIPELINE_H
