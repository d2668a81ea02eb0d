#include "agent/spool/Spool.h"

#include <algorithm>
#include <cstdint>
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
constexpr char kEnclosure[] = "enclosure:";

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
        if (!filter.object.empty()) ofObject(filter.object);
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
        for (const std::string& each : texts) statement.bind(++place, each);
        return place;
    }

private:
    void add(const std::string& condition) {
        text += (text.empty() ? " WHERE " : " AND ") + condition;
    }
    // A fan of an enclosure is "KEY/fan2"; what happened to it happened to the enclosure.
    void ofObject(const std::string& key) {
        texts = {key};
        if (key.compare(0, sizeof kEnclosure - 1, kEnclosure) != 0) return add("object = ?");
        add("(object = ? OR (object > ? AND object < ?))");
        texts.push_back(key + "/");
        texts.push_back(key + static_cast<char>('/' + 1));
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
    std::vector<std::int64_t> numbers;  // all of them stand before the texts
    std::vector<std::string> texts;
};

}  // namespace

Spool::Spool(const std::string& fileIN, Access accessIN) : file(fileIN), access(accessIN) {
    open();
}

// Numbers that were given and are not in the database were in one that is lost, or at the end of
// this one.
void Spool::Database::goOnBehind(const HighWater::Marks& given) {
    const std::int64_t leap = file.isNew() ? kLeap : 0;
    std::int64_t last = number(spool::kLastSequence);
    // A sector of old contents may hold an older counter than its neighbours hold records.
    const std::int64_t held = sql.number("SELECT max(sequence) FROM records");
    if (held > last) {
        setNumber(spool::kLastSequence, held);
        remark("the counter of the spool " + path + " stood at " + std::to_string(last) +
               "; it goes on behind its last record, " + std::to_string(held));
        last = held;
    }
    if (given.sequence > last || (file.isNew() && last == 0)) {
        setNumber(spool::kLastSequence, given.sequence + leap);
        if (!file.isNew()) {
            remark("records " + std::to_string(last + 1) + " to " + std::to_string(given.sequence) +
                   " are missing at the end of the spool " + path);
        }
    }
    const std::int64_t known = number(spool::kLastIncident);
    const std::int64_t behind = std::max(known, sql.number("SELECT max(id) FROM incidents"));
    const std::int64_t next = given.incident > behind ? given.incident + leap : behind;
    if (next != known) setNumber(spool::kLastIncident, next);  // no write where none is needed
}

void Spool::open() {
    // It stays closed unless all of this works.
    auto opening = std::make_unique<Database>(file, access);
    opening->note = opening->file.note();
    const std::string idFile = machineIdFile(file);
    if (access == Access::kReadOnly) {
        opening->id = readMachineId(idFile);
        if (opening->id.empty()) {
            throw SpoolError("no machine id in " + idFile + "; start the daemon");
        }
        db = std::move(opening);
        return;
    }
    try {
        opening->id = readOrMakeMachineId(idFile);
    } catch (const std::system_error& e) {
        const bool full = e.code() == std::errc::no_space_on_device;
        throw SpoolError(std::string("cannot keep the machine id: ") + e.what() +
                             "; see that there is room and that this user may write there",
                         full ? SpoolError::Kind::kFull : SpoolError::Kind::kOther);
    }

    const HighWater::Marks given = opening->high.read();
    opening->writing([&] {
        opening->goOnBehind(given);
        opening->beginTotals();
    });
    opened = opening->file.number();
    db = std::move(opening);
}

Spool::~Spool() = default;

// Closed before it is opened: while this process has it open, nobody is alone with it, and a
// database that is closed late would remove the journal of the new one.
Spool::Renewal Spool::renew() {
    const std::uint64_t before = opened;
    db.reset();
    open();
    // A new file may get the number of one that is gone.
    if (opened != before || db->file.isNew()) return Renewal::kReplaced;
    return db->file.isExamined() ? Renewal::kSound : Renewal::kHeldByOthers;
}

bool Spool::isCurrent() const { return base().file.isCurrent(); }

Spool::Database& Spool::base() const {
    if (!db) {
        throw SpoolError("the spool " + file +
                         " is closed; it is opened again as soon as that works");
    }
    return *db;
}

const std::string& Spool::openingNote() const { return base().note; }

const std::string& Spool::machineId() const { return base().id; }

std::string Spool::idOf(std::int64_t sequence) const {
    return base().id + ":" + std::to_string(sequence);
}

void Spool::Database::insertRecord(std::int64_t sequence, const Record& record, std::int64_t now) {
    sql.prepared(std::string("INSERT INTO records (") + kColumns +
                 ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(1, sequence)
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

std::int64_t Spool::commit(Batch& batch) {
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::int64_t incident = 0;
    const std::int64_t now = nowMilliseconds();
    base().writing([&] {
        first = base().number(spool::kLastSequence) + 1;
        last = first - 1;
        for (const Record& record : batch.records) base().insertRecord(++last, record, now);
        if (!batch.records.empty()) base().setNumber(spool::kLastSequence, last);
        base().countEvents(batch.records);
        for (const Incident& changed : batch.incidents) base().storeIncident(changed);
        incident = base().number(spool::kLastIncident);
        if (batch.polledAt != 0) {
            base()
                .sql
                .prepared(
                    "UPDATE spans SET last_poll = ? WHERE id = (SELECT max(id) FROM spans)"
                    " AND ended = 0")
                .bind(1, batch.polledAt)
                .run();
        }
        if (!batch.snapshot.empty()) base().setText(spool::kSnapshot, batch.snapshot);
        if (batch.snapshotMark != 0) base().setNumber(spool::kSnapshotMark, batch.snapshotMark);
    });
    base().high.raise({last, incident});
    for (Record& record : batch.records) {
        record.sequence = first++;
        if (record.at == 0) record.at = now;
    }
    return last;
}

std::int64_t Spool::lastSequence() const {
    return base().doing("read", [&] { return base().number(spool::kLastSequence); });
}

std::int64_t Spool::firstSequence() const {
    return base().doing("read",
                        [&] { return base().sql.number("SELECT min(sequence) FROM records"); });
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
    base().doing("read", [&] {
        Statement rows(base().sql.get(), sql);
        const int bound = conditions.bindTo(rows);
        if (filter.limit > 0) rows.bind(bound + 1, filter.limit);
        while (rows.step()) found.push_back(recordAt(rows));
    });
    if (backwards) std::reverse(found.begin(), found.end());
    return found;
}

std::string Spool::snapshot() const {
    return base().doing("read", [&] { return base().text(spool::kSnapshot); });
}

std::int64_t Spool::snapshotMark() const {
    return base().doing("read", [&] { return base().number(spool::kSnapshotMark); });
}

void Spool::setSnapshotMark(std::int64_t sequence) {
    base().writing([&] { base().setNumber(spool::kSnapshotMark, sequence); });
}

namespace {

constexpr std::int64_t kClockError = std::int64_t{86400} * 1000;  // more is a clock that was wrong

std::int64_t numberOf(Statement& row) {
    const std::int64_t found = row.step() ? row.number(0) : 0;
    row.reset();
    return found;
}

// How far to go at once: kPruneStep beyond where the last call ended, or beyond the oldest record
// that is to go; without such a record nothing can be lost. The oldest is the first in the list:
// the smallest time may be one of a clock that was far back.
std::int64_t limitOfPruning(SqliteFile& sql, std::int64_t wanted, std::int64_t lastTime) {
    Statement& row = sql.prepared("SELECT at FROM records WHERE at < ? ORDER BY sequence LIMIT 1");
    const std::int64_t oldest = numberOf(row.bind(1, wanted));
    if (oldest == 0) return wanted;
    return std::min(wanted, std::max(lastTime, oldest) + Spool::kPruneStep);
}

// The last record, by its number, that is too old and has none before it that must stay; 0 for
// none. What is from the future was stamped by a clock that was wrong, and says nothing.
std::int64_t lastToGo(SqliteFile& sql, std::int64_t limit) {
    Statement& young = sql.prepared("SELECT min(sequence) FROM records WHERE at >= ? AND at <= ?");
    const std::int64_t stays =
        numberOf(young.bind(1, limit).bind(2, nowMilliseconds() + kClockError));
    Statement& old =
        sql.prepared("SELECT max(sequence) FROM records WHERE at < ? AND sequence < ?");
    return numberOf(old.bind(1, limit).bind(2, stays == 0 ? INT64_MAX : stays));
}

}  // namespace

// Records behind the mark are still needed to recognise what the snapshot shows again.
std::int64_t Spool::prune(std::int64_t wanted) {
    std::int64_t dropped = 0;
    base().writing([&] {
        const std::int64_t time =
            limitOfPruning(base().sql, wanted, base().number(spool::kPrunedTo));
        base().setNumber(spool::kPrunedTo, time);
        std::int64_t passed = lastToGo(base().sql, time);
        if (base().sql.number("SELECT count(*) FROM sinks") > 0) {
            passed = std::min(passed, base().sql.number("SELECT min(cursor) FROM sinks"));
        }
        const std::int64_t mark = base().number(spool::kSnapshotMark);
        if (mark > 0) passed = std::min(passed, mark);
        base().sql.prepared("DELETE FROM records WHERE sequence <= ?").bind(1, passed).run();
        dropped = base().sql.changedRows();
        if (dropped > 0) {
            base().sql.run(
                "DELETE FROM receipts WHERE sequence NOT IN (SELECT sequence FROM records)");
        }
        base()
            .sql.prepared("DELETE FROM incidents WHERE open = 0 AND resolved_at < ?")
            .bind(1, time / 1000)
            .run();
        base().sql.prepared("DELETE FROM silences WHERE until < ?").bind(1, time / 1000).run();
        base()
            .sql
            .prepared(
                "DELETE FROM spans WHERE max(began, last_poll, ended) < ?"
                " AND id <> (SELECT max(id) FROM spans)")
            .bind(1, time / 1000)
            .run();
    });
    return dropped;
}
