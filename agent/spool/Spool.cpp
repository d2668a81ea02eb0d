#include "agent/spool/Spool.h"

#include <algorithm>
#include <system_error>

#include "agent/Milliseconds.h"
#include "agent/spool/MachineId.h"
#include "agent/spool/RecordBody.h"
#include "agent/spool/SpoolDatabase.h"

namespace {

constexpr char kColumns[] =
    "sequence, at, kind, origin, object, object_name, incident, severity, code, body";

// Above what was given before a database was lost: its last step may not have been noted.
constexpr std::int64_t kLeap = 1000;

std::string machineIdFile(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    return (slash == std::string::npos ? "" : file.substr(0, slash + 1)) + "machine-id";
}

int codeOf(const Record& record) {
    return record.kind == Record::Kind::kEvent ? record.event.eventCode
                                               : record.notice.incident.code;
}

// Of a record whose body was damaged, the columns tell what they can.
void tellDamage(Record& record, int severity, int code) {
    const std::string text =
        "Record " + std::to_string(record.sequence) + " of the spool is damaged; its text is lost.";
    if (record.kind == Record::Kind::kEvent) {
        record.event = QELEvent(code, severity, text, std::string());
        record.event.timeStamp = static_cast<std::time_t>(record.at / 1000);
        return;
    }
    record.notice.subject = text;
    record.notice.incident.id = record.incident;
    record.notice.incident.object = record.object;
    record.notice.incident.objectName = record.objectName;
    record.notice.incident.severity = severity;
    record.notice.incident.code = code;
}

Record recordAt(const Statement& row) {
    Record record;
    record.sequence = row.number(0);
    record.at = row.number(1);
    record.kind = row.number(2) == 0 ? Record::Kind::kEvent : Record::Kind::kNotice;
    const std::int64_t origin = row.number(3);
    record.origin = origin >= 0 && origin <= 3 ? static_cast<Origin>(origin) : Origin::kLive;
    record.object = row.text(4);
    record.objectName = row.text(5);
    record.incident = row.number(6);
    if (!readRecordBody(row.text(9), record)) {
        tellDamage(record, static_cast<int>(row.number(7)), static_cast<int>(row.number(8)));
    }
    return record;
}

// The conditions of a filter, with what is bound to them.
class Conditions {
public:
    explicit Conditions(const RecordFilter& filter) {
        number("sequence > ?", filter.after);
        if (filter.since != 0) number("at >= ?", filter.since);
        if (filter.until != 0) number("at < ?", filter.until);
        list("severity", filter.severities);
        list("code", filter.codes);
        if (!filter.object.empty()) {
            add("object = ?");
            object = filter.object;
        }
        if (!filter.events) add("kind <> 0");
        if (!filter.notices) add("kind <> 1");
        if (filter.undelivered) {
            add("(sequence > (SELECT min(cursor) FROM sinks) OR EXISTS (SELECT 1 FROM receipts"
                " WHERE receipts.sequence = records.sequence AND outcome = 2))");
        }
    }

    const std::string& sql() const { return text; }

    int bindTo(Statement& statement) const {
        int place = 0;
        for (const std::int64_t value : numbers) statement.bind(++place, value);
        if (!object.empty()) statement.bind(++place, object);
        return place;
    }

private:
    void add(const std::string& condition) {
        text += (text.empty() ? " WHERE " : " AND ") + condition;
    }
    void number(const char* condition, std::int64_t value) {
        add(condition);
        numbers.push_back(value);
    }
    void list(const std::string& column, const std::vector<int>& values) {
        if (values.empty()) return;
        std::string places;
        for (const int value : values) {
            places += places.empty() ? "?" : ", ?";
            numbers.push_back(value);
        }
        add(column + " IN (" + places + ")");
    }

    std::string text;
    std::vector<std::int64_t> numbers;  // all of them stand before the object
    std::string object;
};

}  // namespace

Spool::Spool(const std::string& file, Access access) {
    db = std::make_unique<Database>(file, access);
    db->note = db->file.note();
    const std::string idFile = machineIdFile(file);
    if (access == Access::kReadOnly) {
        db->id = readMachineId(idFile);
        if (db->id.empty()) throw SpoolError("no machine id in " + idFile + "; start the daemon");
        return;
    }
    try {
        db->id = readOrMakeMachineId(idFile);
    } catch (const std::system_error& e) {
        throw SpoolError(std::string("cannot keep the machine id: ") + e.what() +
                         "; see that there is room and that this user may write there");
    }

    // Numbers that were given and are not in the database were in one that is lost, or at the end
    // of this one.
    const HighWater::Marks given = db->high.read();
    db->writing([&] {
        std::int64_t last = db->number(spool::kLastSequence);
        // A sector of old contents may hold an older counter than its neighbours hold records.
        const std::int64_t held = db->sql.number("SELECT max(sequence) FROM records");
        if (held > last) {
            db->setNumber(spool::kLastSequence, held);
            db->note += (db->note.empty() ? "" : "; ") + std::string("the counter of the spool ") +
                        file + " stood at " + std::to_string(last) +
                        "; it goes on behind its last record, " + std::to_string(held);
            last = held;
        }
        if (given.sequence > last || (db->file.isNew() && last == 0)) {
            const std::int64_t leap = db->file.isNew() ? kLeap : 0;
            db->setNumber(spool::kLastSequence, given.sequence + leap);
            if (!db->file.isNew()) {
                db->note += (db->note.empty() ? "" : "; ") + std::string("records ") +
                            std::to_string(last + 1) + " to " + std::to_string(given.sequence) +
                            " are missing at the end of the spool " + file;
            }
        }
        const std::int64_t heldIncident = db->sql.number("SELECT max(id) FROM incidents");
        if (heldIncident > db->number(spool::kLastIncident)) {
            db->setNumber(spool::kLastIncident, heldIncident);
        }
        if (given.incident > db->number(spool::kLastIncident)) {
            db->setNumber(spool::kLastIncident, given.incident + (db->file.isNew() ? kLeap : 0));
        }
        db->beginTotals();
    });
}

Spool::~Spool() = default;

const std::string& Spool::openingNote() const { return db->note; }

const std::string& Spool::machineId() const { return db->id; }

std::string Spool::idOf(std::int64_t sequence) const {
    return db->id + ":" + std::to_string(sequence);
}

std::int64_t Spool::commit(Batch& batch) {
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::int64_t incident = 0;
    const std::int64_t now = nowMilliseconds();
    db->writing([&] {
        first = db->number(spool::kLastSequence) + 1;
        last = first - 1;
        for (const Record& record : batch.records) {
            db->sql
                .prepared(std::string("INSERT INTO records (") + kColumns +
                          ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
                .bind(1, ++last)
                .bind(2, record.at == 0 ? now : record.at)
                .bind(3, record.kind == Record::Kind::kEvent ? 0 : 1)
                .bind(4, static_cast<int>(record.origin))
                .bind(5, record.object)
                .bind(6, record.objectName)
                .bind(7, record.incident)
                .bind(8, record.severity())
                .bind(9, codeOf(record))
                .bind(10, recordBody(record))
                .run();
        }
        if (!batch.records.empty()) db->setNumber(spool::kLastSequence, last);
        db->countEvents(batch.records);
        for (const Incident& changed : batch.incidents) db->storeIncident(changed);
        incident = db->number(spool::kLastIncident);
        if (batch.polledAt != 0) {
            db->sql
                .prepared(
                    "UPDATE spans SET last_poll = ? WHERE id = (SELECT max(id) FROM spans)"
                    " AND ended = 0")
                .bind(1, batch.polledAt)
                .run();
        }
        if (!batch.snapshot.empty()) db->setText(spool::kSnapshot, batch.snapshot);
        if (batch.snapshotMark != 0) db->setNumber(spool::kSnapshotMark, batch.snapshotMark);
    });
    db->high.raise({last, incident});
    for (Record& record : batch.records) {
        record.sequence = first++;
        if (record.at == 0) record.at = now;
    }
    return last;
}

std::int64_t Spool::lastSequence() const {
    return db->doing("read", [&] { return db->number(spool::kLastSequence); });
}

std::int64_t Spool::firstSequence() const {
    return db->doing("read", [&] { return db->sql.number("SELECT min(sequence) FROM records"); });
}

std::vector<Record> Spool::read(std::int64_t after, int limit) const {
    RecordFilter filter;
    filter.after = after;
    filter.limit = limit;
    return query(filter);
}

std::vector<Record> Spool::query(const RecordFilter& filter) const {
    const Conditions conditions(filter);
    const bool backwards = filter.newest && filter.limit > 0;
    std::string sql = std::string("SELECT ") + kColumns + " FROM records" + conditions.sql() +
                      " ORDER BY sequence" + (backwards ? " DESC" : "");
    if (filter.limit > 0) sql += " LIMIT ?";
    std::vector<Record> found;
    db->doing("read", [&] {
        Statement rows(db->sql.get(), sql);
        const int bound = conditions.bindTo(rows);
        if (filter.limit > 0) rows.bind(bound + 1, filter.limit);
        while (rows.step()) found.push_back(recordAt(rows));
    });
    if (backwards) std::reverse(found.begin(), found.end());
    return found;
}

std::string Spool::snapshot() const {
    return db->doing("read", [&] { return db->text(spool::kSnapshot); });
}

std::int64_t Spool::snapshotMark() const {
    return db->doing("read", [&] { return db->number(spool::kSnapshotMark); });
}

void Spool::setSnapshotMark(std::int64_t sequence) {
    db->writing([&] { db->setNumber(spool::kSnapshotMark, sequence); });
}

// Records behind the mark are still needed to recognise what the snapshot shows again.
std::int64_t Spool::prune(std::int64_t time) {
    std::int64_t dropped = 0;
    db->writing([&] {
        std::int64_t passed = db->number(spool::kLastSequence);
        if (db->sql.number("SELECT count(*) FROM sinks") > 0) {
            passed = db->sql.number("SELECT min(cursor) FROM sinks");
        }
        const std::int64_t mark = db->number(spool::kSnapshotMark);
        if (mark > 0) passed = std::min(passed, mark);
        Statement& records = db->sql.prepared("DELETE FROM records WHERE at < ? AND sequence <= ?");
        records.bind(1, time).bind(2, passed).run();
        dropped = db->sql.changedRows();
        if (dropped > 0) {
            db->sql.run(
                "DELETE FROM receipts WHERE sequence NOT IN (SELECT sequence FROM records)");
        }
        db->sql.prepared("DELETE FROM incidents WHERE open = 0 AND resolved_at < ?")
            .bind(1, time / 1000)
            .run();
        db->sql.prepared("DELETE FROM silences WHERE until < ?").bind(1, time / 1000).run();
        db->sql
            .prepared(
                "DELETE FROM spans WHERE max(began, last_poll, ended) < ?"
                " AND id <> (SELECT max(id) FROM spans)")
            .bind(1, time / 1000)
            .run();
    });
    return dropped;
}
