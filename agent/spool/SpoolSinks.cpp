#include "agent/spool/Spool.h"

#include "agent/Milliseconds.h"
#include "agent/spool/SpoolDatabase.h"

namespace {

Receipt::Outcome outcomeOf(std::int64_t number) {
    switch (number) {
        case 1:
            return Receipt::Outcome::kFailed;
        case 2:
            return Receipt::Outcome::kDead;
        default:
            return Receipt::Outcome::kDelivered;
    }
}

// Later tries replace earlier ones: what counts is what became of the record.
void keepReceipt(SqliteFile& sql, const std::string& sink, std::int64_t sequence,
                 const Receipt& receipt, std::int64_t at) {
    sql.prepared("INSERT OR REPLACE INTO receipts VALUES (?, ?, ?, ?, ?, ?)")
        .bind(1, sequence)
        .bind(2, sink)
        .bind(3, at)
        .bind(4, static_cast<int>(receipt.outcome))
        .bind(5, receipt.tries)
        .bind(6, receipt.answer)
        .run();
}

std::int64_t timeOf(const Receipt& receipt) {
    return receipt.at == 0 ? nowMilliseconds() : receipt.at;
}

// A sink that was never seen begins behind the last record.
void begin(SqliteFile& sql, const std::string& sink, std::int64_t last) {
    sql.prepared("INSERT OR IGNORE INTO sinks (sink, cursor) VALUES (?, ?)")
        .bind(1, sink)
        .bind(2, last)
        .run();
}

bool readCursor(SqliteFile& sql, const std::string& sink, std::int64_t& cursor) {
    Statement& row = sql.prepared("SELECT cursor FROM sinks WHERE sink = ?").bind(1, sink);
    const bool known = row.step();
    if (known) cursor = row.number(0);
    row.reset();
    return known;
}

void move(SqliteFile& sql, const std::string& sink, std::int64_t sequence) {
    sql.prepared("UPDATE sinks SET cursor = max(cursor, ?) WHERE sink = ?")
        .bind(1, sequence)
        .bind(2, sink)
        .run();
}

}  // namespace

std::int64_t Spool::cursor(const std::string& sink) {
    std::int64_t cursor = 0;
    if (base().doing("read", [&] { return readCursor(base().sql, sink, cursor); })) return cursor;
    base().writing([&] {
        begin(base().sql, sink, base().number(spool::kLastSequence));
        (void)readCursor(base().sql, sink, cursor);
    });
    return cursor;
}

std::map<std::string, std::int64_t> Spool::cursors() const {
    std::map<std::string, std::int64_t> found;
    base().doing("read", [&] {
        Statement& rows = base().sql.prepared("SELECT sink, cursor FROM sinks");
        while (rows.step()) found[rows.text(0)] = rows.number(1);
    });
    return found;
}

void Spool::deliver(const std::string& sink, std::int64_t sequence, const Receipt& receipt) {
    const std::int64_t at = timeOf(receipt);
    const bool delivered = receipt.outcome == Receipt::Outcome::kDelivered;
    base().writing([&] {
        begin(base().sql, sink, sequence);
        keepReceipt(base().sql, sink, sequence, receipt, at);
        move(base().sql, sink, sequence);
        base()
            .sql
            .prepared(
                "UPDATE sinks SET tries = 0, last_answer = ?, ok = ?,"
                " last_delivered = CASE WHEN ? THEN ? ELSE last_delivered END WHERE sink = ?")
            .bind(1, receipt.answer)
            .bind(2, delivered ? 1 : 0)
            .bind(3, delivered ? 1 : 0)
            .bind(4, at)
            .bind(5, sink)
            .run();
        base().addToNumber(spool::totalOfSink(sink, delivered ? spool::kDelivered : spool::kDead),
                           1);
    });
}

void Spool::skip(const std::string& sink, std::int64_t sequence) {
    base().writing([&] {
        begin(base().sql, sink, sequence);
        move(base().sql, sink, sequence);
    });
}

void Spool::failed(const std::string& sink, std::int64_t sequence, const Receipt& receipt) {
    base().writing([&] {
        begin(base().sql, sink, sequence - 1);
        keepReceipt(base().sql, sink, sequence, receipt, timeOf(receipt));
        base()
            .sql.prepared("UPDATE sinks SET tries = ?, last_answer = ?, ok = 0 WHERE sink = ?")
            .bind(1, receipt.tries)
            .bind(2, receipt.answer)
            .bind(3, sink)
            .run();
        base().addToNumber(spool::totalOfSink(sink, spool::kFailed), 1);
    });
}

std::vector<Receipt> Spool::receipts(std::int64_t sequence) const {
    std::vector<Receipt> found;
    base().doing("read", [&] {
        Statement& rows = base()
                              .sql
                              .prepared(
                                  "SELECT sink, at, outcome, tries, answer FROM receipts"
                                  " WHERE sequence = ? ORDER BY sink")
                              .bind(1, sequence);
        while (rows.step()) {
            Receipt receipt;
            receipt.sink = rows.text(0);
            receipt.sequence = sequence;
            receipt.at = rows.number(1);
            receipt.outcome = outcomeOf(rows.number(2));
            receipt.tries = static_cast<int>(rows.number(3));
            receipt.answer = rows.text(4);
            found.push_back(receipt);
        }
    });
    return found;
}

std::vector<SinkStatus> Spool::sinkStatus() const {
    std::vector<SinkStatus> found;
    base().doing("read", [&] {
        Statement& rows = base().sql.prepared(
            "SELECT sink, cursor, last_delivered, tries, last_answer, ok,"
            " (SELECT count(*) FROM records WHERE sequence > cursor),"
            " (SELECT count(*) FROM receipts WHERE receipts.sink = sinks.sink AND outcome = 2)"
            " FROM sinks ORDER BY sink");
        while (rows.step()) {
            SinkStatus status;
            status.sink = rows.text(0);
            status.cursor = rows.number(1);
            status.lastDelivered = rows.number(2);
            status.tries = static_cast<int>(rows.number(3));
            status.lastAnswer = rows.text(4);
            status.ok = rows.number(5) != 0;
            status.waiting = rows.number(6);
            status.dead = rows.number(7);
            found.push_back(status);
        }
        for (SinkStatus& status : found) {
            const auto total = [&](const char* what) {
                return base().number(spool::totalOfSink(status.sink, what));
            };
            status.everDelivered = total(spool::kDelivered);
            status.everFailed = total(spool::kFailed);
            status.everDead = total(spool::kDead);
        }
    });
    return found;
}

void Spool::forgetSink(const std::string& sink) {
    base().writing([&] {
        base().sql.prepared("DELETE FROM sinks WHERE sink = ?").bind(1, sink).run();
        for (const char* what : {spool::kDelivered, spool::kFailed, spool::kDead}) {
            base()
                .sql.prepared("DELETE FROM numbers WHERE name = ?")
                .bind(1, spool::totalOfSink(sink, what))
                .run();
        }
    });
}
