#include "agent/spool/Spool.h"

#include <fstream>

#include "agent/spool/SpoolDatabase.h"

namespace {

std::string bootId() {
    std::ifstream in("/proc/sys/kernel/random/boot_id");
    std::string id;
    std::getline(in, id);
    return id;
}

}  // namespace

// A span that was not ended in order keeps its 0: it ended at its last poll, by a kill or a crash.
void Spool::beginWatch(std::int64_t now) {
    base().writing([&] {
        base()
            .sql
            .prepared(
                "INSERT INTO spans (began, last_poll, ended, boot_id, first_sequence)"
                " VALUES (?, 0, 0, ?, ?)")
            .bind(1, now)
            .bind(2, bootId())
            .bind(3, base().number(spool::kLastSequence))
            .run();
    });
}

void Spool::endWatch(std::int64_t now) {
    base().writing([&] {
        base()
            .sql
            .prepared(
                "UPDATE spans SET ended = ? WHERE id = (SELECT max(id) FROM spans) AND ended = 0")
            .bind(1, now)
            .run();
    });
}

std::vector<WatchSpan> Spool::watchSpans(std::int64_t since) const {
    std::vector<WatchSpan> found;
    base().doing("read", [&] {
        Statement& rows =
            base()
                .sql
                .prepared(
                    "SELECT began, last_poll, ended, boot_id, first_sequence FROM spans"
                    " WHERE max(began, last_poll, ended) >= ?"
                    " OR id = (SELECT max(id) FROM spans) ORDER BY id")
                .bind(1, since);
        while (rows.step()) {
            WatchSpan span;
            span.began = rows.number(0);
            span.lastPoll = rows.number(1);
            span.ended = rows.number(2);
            span.bootId = rows.text(3);
            span.firstSequence = rows.number(4);
            found.push_back(span);
        }
    });
    return found;
}
