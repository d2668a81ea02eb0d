// SpoolDatabase: what the files Spool*.cpp share. Private to them.
#ifndef AGENT_SPOOL_SPOOLDATABASE_H
#define AGENT_SPOOL_SPOOLDATABASE_H

#include <string>

#include "agent/spool/HighWater.h"
#include "agent/spool/Spool.h"
#include "agent/spool/SpoolFile.h"
#include "agent/spool/SqliteFile.h"

struct Spool::Database {
    Database(const std::string& name, Access access)
        : path(name), file(name, access), sql(file.database()), high(name + ".high") {}

    // A number by name, 0 when it was never set.
    std::int64_t number(const std::string& name) {
        Statement& row = sql.prepared("SELECT value FROM numbers WHERE name = ?").bind(1, name);
        const std::int64_t value = row.step() ? row.number(0) : 0;
        row.reset();
        return value;
    }
    void setNumber(const std::string& name, std::int64_t value) {
        sql.prepared(
               "INSERT INTO numbers VALUES (?, ?)"
               " ON CONFLICT (name) DO UPDATE SET value = excluded.value")
            .bind(1, name)
            .bind(2, value)
            .run();
    }

    void addToNumber(const std::string& name, std::int64_t more) {
        sql.prepared(
               "INSERT INTO numbers VALUES (?, ?)"
               " ON CONFLICT (name) DO UPDATE SET value = value + excluded.value")
            .bind(1, name)
            .bind(2, more)
            .run();
    }

    // The same for texts; "" when it was never set.
    std::string text(const std::string& name) {
        Statement& row = sql.prepared("SELECT value FROM texts WHERE name = ?").bind(1, name);
        const std::string value = row.step() ? row.text(0) : std::string();
        row.reset();
        return value;
    }
    void setText(const std::string& name, const std::string& value) {
        sql.prepared(
               "INSERT INTO texts VALUES (?, ?)"
               " ON CONFLICT (name) DO UPDATE SET value = excluded.value")
            .bind(1, name)
            .bind(2, value)
            .run();
    }

    // Runs `work`; what the database says becomes a line for people.
    template <typename Work>
    auto doing(const char* attempt, Work work) -> decltype(work()) {
        try {
            return work();
        } catch (const SqliteError& e) {
            throw file.explained(e, attempt);
        }
    }

    // The same in one transaction.
    template <typename Work>
    void writing(Work work) {
        doing("write", [&] {
            SqliteFile::Transaction step(sql);
            work();
            step.commit();
        });
    }

    // Sets the counters behind every number that was ever given, and says in `note` what that had
    // to mend; inside a transaction.
    void goOnBehind(const HighWater::Marks& given);
    void insertRecord(std::int64_t sequence, const Record& record, std::int64_t now);
    void storeIncident(const Incident& incident);
    // Counts the records of a batch; inside a transaction.
    void countEvents(const std::vector<Record>& records);
    // Counts what a spool without totals holds; inside a transaction.
    void beginTotals();

    void remark(const std::string& line) { note += (note.empty() ? "" : "; ") + line; }

    const std::string path;
    SpoolFile file;
    SqliteFile& sql;
    HighWater high;
    std::string id;    // of the machine
    std::string note;  // of the opening
};

namespace spool {

constexpr char kLastSequence[] = "last_sequence";  // in the table of numbers
constexpr char kLastIncident[] = "last_incident";
constexpr char kSnapshotMark[] = "snapshot_mark";
constexpr char kPrunedTo[] = "pruned_to";  // milliseconds
constexpr char kSnapshot[] = "snapshot";   // in the table of texts

// Totals, in the table of numbers: "sink/<name>/delivered" and so on.
std::string totalOfSink(const std::string& sink, const char* what);
constexpr char kDelivered[] = "delivered";
constexpr char kFailed[] = "failed";
constexpr char kDead[] = "dead";

}  // namespace spool

#endif  // AGENT_SPOOL_SPOOLDATABASE_H
