// What was ever recorded and delivered: numbers that pruning leaves alone, kept in the table of
// numbers and moved in the transaction of what they count.

#include "agent/spool/Spool.h"

#include <cstdlib>
#include <utility>

#include "agent/spool/SpoolDatabase.h"
#include "monitor/EventRows.h"

namespace {

constexpr char kBegun[] = "totals";
constexpr char kEvents[] = "events/";     // "events/<severity>/<code>"
constexpr char kBadBlocks[] = "medium/";  // "medium/<key of the object>"

std::string totalOfEvents(std::int64_t severity, std::int64_t code) {
    return kEvents + std::to_string(severity) + "/" + std::to_string(code);
}

// What happened here, and not what somebody rehearsed.
bool isReal(Origin origin) { return origin == Origin::kLive || origin == Origin::kAtStart; }

// All numbers whose name begins so, by the rest of the name.
std::map<std::string, std::int64_t> numbersBelow(SqliteFile& sql, const std::string& prefix) {
    std::map<std::string, std::int64_t> found;
    Statement& rows = sql.prepared("SELECT name, value FROM numbers WHERE substr(name, 1, ?) = ?")
                          .bind(1, static_cast<std::int64_t>(prefix.size()))
                          .bind(2, prefix);
    while (rows.step()) found[rows.text(0).substr(prefix.size())] = rows.number(1);
    return found;
}

}  // namespace

std::string spool::totalOfSink(const std::string& sink, const char* what) {
    return "sink/" + sink + "/" + what;
}

void Spool::Database::countEvents(const std::vector<Record>& records) {
    std::map<std::string, std::int64_t> more;
    for (const Record& record : records) {
        if (record.kind != Record::Kind::kEvent || !isReal(record.origin)) continue;
        ++more[totalOfEvents(record.severity(), record.event.eventCode)];
        if (record.event.eventCode == rows::kBadBlockFound.code && !record.object.empty()) {
            ++more[kBadBlocks + record.object];
        }
    }
    for (const auto& [name, count] : more) addToNumber(name, count);
}

void Spool::Database::beginTotals() {
    if (number(kBegun) != 0) return;
    setNumber(kBegun, 1);
    std::map<std::string, std::int64_t> held;
    Statement& events = sql.prepared(
        "SELECT severity, code, count(*) FROM records WHERE kind = 0 AND origin IN (0, 1)"
        " GROUP BY severity, code");
    while (events.step()) {
        held[totalOfEvents(events.number(0), events.number(1))] = events.number(2);
    }
    Statement& blocks = sql.prepared(
        "SELECT object, count(*) FROM records WHERE kind = 0 AND origin IN (0, 1) AND code = ?"
        " AND object <> '' GROUP BY object");
    blocks.bind(1, rows::kBadBlockFound.code);
    while (blocks.step()) held[kBadBlocks + blocks.text(0)] = blocks.number(1);
    Statement& receipts = sql.prepared(
        "SELECT sink, outcome, count(*), sum(tries) FROM receipts GROUP BY sink, outcome");
    while (receipts.step()) {
        const bool delivered = receipts.number(1) == 0;
        const bool dead = receipts.number(1) == 2;
        const char* what = delivered ? spool::kDelivered : dead ? spool::kDead : spool::kFailed;
        held[spool::totalOfSink(receipts.text(0), what)] =
            receipts.number(delivered || dead ? 2 : 3);
    }
    for (const auto& [name, count] : held) setNumber(name, count);
}

std::vector<EventTotal> Spool::eventTotals() const {
    std::map<std::pair<int, int>, std::int64_t> sorted;
    base().doing("read", [&] {
        for (const auto& [name, count] : numbersBelow(base().sql, kEvents)) {
            char* rest = nullptr;
            const long severity = std::strtol(name.c_str(), &rest, 10);
            if (*rest != '/') continue;
            const long code = std::strtol(rest + 1, nullptr, 10);
            sorted[{static_cast<int>(severity), static_cast<int>(code)}] = count;
        }
    });
    std::vector<EventTotal> totals;
    totals.reserve(sorted.size());
    for (const auto& [kind, count] : sorted) totals.push_back({kind.first, kind.second, count});
    return totals;
}

std::map<std::string, std::int64_t> Spool::badBlocks() const {
    return base().doing("read", [&] { return numbersBelow(base().sql, kBadBlocks); });
}
