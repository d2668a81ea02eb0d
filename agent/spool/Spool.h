// Spool: everything that must survive: events and notices in one numbered list, the position and
// the receipts of each sink, incidents, silences, and when we were watching. One SQLite file in WAL
// mode with full synchronisation: what commit() returned from survives a power cut.
//
//   Spool spool(folder + "/spool.db");
//   spool.commit(batch);                                // all of it or nothing
//   for (const Record& record : spool.read(cursor, 100)) ...
//
// A file that is damaged or no database is set aside as "spool.db.damaged-<date>-<time>" and a new
// one begins; openingNote() tells. The machine id stays (it has a file of its own) and the sequence
// goes on above what it was, as far as that can be known.
//
// Threads  One object per thread; any number of objects and processes on one file.
// Errors   SpoolError with one line: what failed, on which file, what to do. Nothing was written.
#ifndef AGENT_SPOOL_SPOOL_H
#define AGENT_SPOOL_SPOOL_H

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/incidents/Incident.h"
#include "agent/incidents/Silence.h"
#include "agent/spool/EventTotal.h"
#include "agent/spool/Receipt.h"
#include "agent/spool/Record.h"
#include "agent/spool/RecordFilter.h"
#include "agent/spool/WatchSpan.h"

class SpoolError : public std::runtime_error {
public:
    enum class Kind {
        kOther,
        kFull,     // it goes on when there is room
        kDamaged,  // what the file holds cannot be what was written; see renew()
    };

    explicit SpoolError(const std::string& line, Kind kindIN = Kind::kOther)
        : std::runtime_error(line), kind(kindIN) {}

    Kind kind;
};

class Spool {
public:
    enum class Access {
        kReadWrite,
        kExisting,  // the same, for who leaves it to others to make the file: throws without one
        kReadOnly,  // never creates or repairs; throws when there is no usable file
    };

    explicit Spool(const std::string& file, Access access = Access::kReadWrite);
    ~Spool();
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    // Opens the file anew; when nobody else has it open it is examined, and set aside if it is
    // damaged. After an exception the spool is closed, and every call but this one throws.
    enum class Renewal {
        kHeldByOthers,  // the same file, not examined
        kSound,         // the same file, and nothing is wrong with it
        kReplaced,      // another file than before
    };
    Renewal renew();
    bool isOpen() const { return db != nullptr; }
    // False when the name now stands for another file: somebody has set this one aside.
    bool isCurrent() const;

    // "" or one line for people: what was wrong with the file and where it is now.
    const std::string& openingNote() const;
    // A random UUID, made once per machine, kept beside the database in "machine-id".
    const std::string& machineId() const;
    std::string idOf(std::int64_t sequence) const;  // "<machine-id>:<sequence>"

    // One step of the pipeline.
    struct Batch {
        std::vector<Record> records;      // without sequence; commit() fills it in
        std::vector<Incident> incidents;  // new or changed, complete
        std::int64_t polledAt = 0;        // the last completed poll, seconds; 0: none yet
        // What the engine starts from next time, and the highest sequence whose cause it shows.
        std::string snapshot;           // "" leaves what is kept
        std::int64_t snapshotMark = 0;  // 0 leaves what is kept
    };
    // One transaction. Gives the records their sequence and time. Returns the last sequence.
    std::int64_t commit(Batch& batch);

    // --- records ---
    std::int64_t lastSequence() const;   // 0 when there is none
    std::int64_t firstSequence() const;  // of those that are kept; 0 when there is none
    std::vector<Record> read(std::int64_t after, int limit) const;  // in order
    std::vector<Record> query(const RecordFilter& filter) const;
    // What was ever recorded; see EventTotal.
    std::vector<EventTotal> eventTotals() const;            // by severity and code
    std::map<std::string, std::int64_t> badBlocks() const;  // found, by object key

    // --- sinks ---
    // A sink that was never seen starts behind the last record: it does not tell old news.
    std::int64_t cursor(const std::string& sink);
    // Moves the cursor, records the receipt, in one transaction.
    void deliver(const std::string& sink, std::int64_t sequence, const Receipt& receipt);
    // Moves the cursor over records that the sink does not want, without a receipt.
    void skip(const std::string& sink, std::int64_t sequence);
    // Records a failed try; the cursor stays.
    void failed(const std::string& sink, std::int64_t sequence, const Receipt& receipt);
    std::vector<Receipt> receipts(std::int64_t sequence) const;  // of one record, all sinks
    std::vector<SinkStatus> sinkStatus() const;                  // by name
    std::map<std::string, std::int64_t> cursors() const;         // of all sinks
    void forgetSink(const std::string& sink);  // no longer configured: cursor and tries go

    // --- incidents ---
    std::vector<Incident> openIncidents() const;                    // by id
    std::vector<Incident> incidentsSince(std::int64_t time) const;  // open, or ended since; by id
    std::int64_t lastIncident() const;                              // highest id ever used
    void putIncident(const Incident& incident);

    // --- silences ---
    std::vector<Silence> silences() const;            // by id, also those that have ended
    std::int64_t addSilence(const Silence& silence);  // returns its id
    bool removeSilence(std::int64_t id);              // false when there is none

    // --- when we were watching ---
    void beginWatch(std::int64_t now);  // a new span; the last one ends at its last poll
    void endWatch(std::int64_t now);
    std::vector<WatchSpan> watchSpans(std::int64_t since) const;

    // --- the snapshot that belongs to the spool; see Batch and SafeSnapshot ---
    std::string snapshot() const;  // "" when none was committed
    // The highest sequence whose cause the kept snapshot already shows.
    std::int64_t snapshotMark() const;
    void setSnapshotMark(std::int64_t sequence);

    // Drops the oldest records that every sink has passed, from the first one on, up to the last
    // that is older than `time` (milliseconds). Returns how many. What ended before `time` of
    // incidents, silences and spans goes too. Against a clock that is wrong for a while:
    //
    //   * one call goes no further than kPruneStep beyond the oldest record, or beyond where the
    //     last call ended: with a call an hour, an hour in the future costs a day of history, and
    //     history of a year that is too old is gone within sixteen days;
    //   * what stands behind a record that must stay, stays, whatever its own time says; a record
    //     from the future keeps nothing that stands before it or behind it from going, and goes
    //     with the next one behind it that is too old.
    static constexpr std::int64_t kPruneStep = std::int64_t{86400} * 1000;
    std::int64_t prune(std::int64_t time);

private:
    struct Database;

    void open();
    Database& base() const;  // throws when it is closed

    const std::string file;
    const Access access;
    std::unique_ptr<Database> db;  // null: closed
    std::uint64_t opened = 0;      // number of the file that was open last
};

#endif  // AGENT_SPOOL_SPOOL_H
