#include "agent/sinks/SinkPump.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "agent/Milliseconds.h"
#include "agent/SafeText.h"
#include "agent/sinks/SinkRule.h"
#include "util/Clock.h"

namespace {

constexpr int kReadAtOnce = 100;
constexpr std::int64_t kLookSeconds = 60;     // between two looks at the open incidents
constexpr std::size_t kLongestAnswer = 4096;  // characters of a receipt

// One line, whatever the other side said.
std::string asLine(const std::string& text) { return cutText(safeText(text), kLongestAnswer); }

// The open incidents that the sink was told of; not those that a silence keeps from everybody.
std::vector<Incident> openOnes(const Spool& spool, const SinkSettings& settings) {
    std::vector<Incident> incidents;
    for (const Incident& incident : spool.openIncidents()) {
        Record record;
        record.kind = Record::Kind::kNotice;
        record.object = incident.object;
        record.objectName = incident.objectName;
        record.notice.incident = incident;
        if (incident.told() && passesFilter(settings.filter, record)) {
            incidents.push_back(incident);
        }
    }
    return incidents;
}

}  // namespace

SinkPump::SinkPump(std::string spoolFileIN, SinkSettings settingsIN, std::unique_ptr<Sink> sinkIN,
                   Note noteIN, BackOff::Random random)
    : spoolFile(std::move(spoolFileIN)),
      settings(std::move(settingsIN)),
      sink(std::move(sinkIN)),
      note(std::move(noteIN)),
      backOff(settings.firstRetry, settings.longestRetry, std::move(random)) {}

void SinkPump::stop() {
    stopping = true;
    sink->cancel();
}

// Steps come one after the other: one that leaves late, for an earlier call, has nothing open
// either.
bool SinkPump::stayAway(bool awayIN) {
    if (awayIN && !away) hasLeft = false;
    away = awayIN;
    return away && hasLeft;
}

std::int64_t SinkPump::step() {
    if (stopping) return 1;
    if (away) {
        spool.reset();
        hasLeft = true;
        return 1;
    }
    try {
        openSpool();
        lookAtOpenOnes();
        sink->tick();
        while (!stopping && !away && round()) {
        }
        spoolWell();
    } catch (const SpoolError& e) {
        if (e.kind == SpoolError::Kind::kDamaged) metDamage = true;
        spoolTrouble(e.what());
    } catch (const std::exception& e) {
        spoolTrouble(std::string("sink \"") + settings.name + "\": " + e.what());
    }
    return 1;
}

void SinkPump::openSpool() {
    if (spool != nullptr && !spool->isCurrent()) spool.reset();  // it was set aside
    if (spool == nullptr) {
        spool = std::make_unique<Spool>(spoolFile, Spool::Access::kExisting);
        const std::int64_t place = spool->cursor(settings.name);
        if (place != cursor) beginAt(place);
        sink->knowOpen(openOnes(*spool, settings));
    }
}

// Nobody else moves our place: this is another spool than before, and has other numbers.
void SinkPump::beginAt(std::int64_t place) {
    cursor = place;
    done.clear();
    tries = 0;
    nextTry = 0;
}

void SinkPump::lookAtOpenOnes() {
    const std::int64_t now = Clock::current().now();
    const bool clockWentBack = nextLook > now + kLookSeconds;
    if (now < nextLook && !clockWentBack) return;
    nextLook = now + kLookSeconds;
    sink->keepOnly(spool->openIncidents());
}

bool SinkPump::round() {
    settle();
    const std::vector<Record> read = spool->read(cursor, kReadAtOnce);
    if (read.empty()) return false;
    const std::int64_t before = cursor;
    const std::vector<Record> next = nextRecords(read);
    if (next.empty()) return cursor != before;
    const std::int64_t now = Clock::current().now();
    const bool clockWentBack = nextTry > now + backOff.limit();
    if (now < nextTry && !clockWentBack) return false;
    deliver(next);
    return nextTry == 0;
}

// The receipts of records right behind the cursor go to the spool, and the cursor with them.
void SinkPump::settle() {
    while (!done.empty()) {
        const std::vector<Record> read = spool->read(cursor, kReadAtOnce);
        if (read.empty()) done.clear();  // a new spool: nobody asks for these any more
        for (const Record& record : read) {
            const auto found = done.find(record.sequence);
            if (found == done.end() && wanted(record)) return;
            if (found == done.end()) {
                spool->skip(settings.name, record.sequence);
            } else {
                spool->deliver(settings.name, record.sequence, found->second);
                done.erase(found);
                tries = 0;
                nextTry = 0;
            }
            cursor = record.sequence;
            if (done.empty()) return;
        }
    }
}

// Moves the cursor over what the sink is not told of, and picks what comes next.
std::vector<Record> SinkPump::nextRecords(std::vector<Record> read) {
    const std::size_t window = std::max<std::size_t>(sink->window(), 1);
    std::vector<Record> next;
    std::int64_t skipped = cursor;
    for (Record& record : read) {
        if (!wanted(record)) {
            if (next.empty() && done.empty()) skipped = record.sequence;
        } else if (done.count(record.sequence) == 0) {
            next.push_back(std::move(record));
            if (next.size() == window) break;
        }
    }
    if (skipped > cursor) {
        spool->skip(settings.name, skipped);
        cursor = skipped;
    }
    return next;
}

bool SinkPump::wanted(const Record& record) {
    if (isTestOfAnother(settings, record)) return false;
    if (isTestNotice(record)) return true;
    if (!sink->wants(record)) return false;
    if (record.origin == Origin::kTest || passesFilter(settings.filter, record)) return true;
    return record.kind == Record::Kind::kNotice && record.notice.kind == Notice::Kind::kResolved &&
           wasTold(record);
}

bool SinkPump::wasTold(const Record& resolved) {
    if (resolved.incident == 0) return false;
    RecordFilter filter;
    filter.object = resolved.object;
    filter.events = false;
    const std::vector<Record> notices = spool->query(filter);
    return std::any_of(notices.begin(), notices.end(), [&](const Record& notice) {
        return notice.incident == resolved.incident && notice.sequence < resolved.sequence &&
               passesFilter(settings.filter, notice);
    });
}

void SinkPump::deliver(const std::vector<Record>& records) {
    std::vector<Parcel> parcels;
    parcels.reserve(records.size());
    for (const Record& record : records) parcels.push_back({&record, spool->idOf(record.sequence)});
    std::vector<Answer> answers = sink->deliverAll(parcels);
    answers.resize(records.size(), {Answer::Kind::kRetry, "no answer"});
    // What is delivered is kept here first: a spool that fails now must not make it come again.
    for (std::size_t i = 0; i < records.size(); ++i) take(records[i], answers[i], i == 0);
    const bool mustWait = done.count(records[0].sequence) == 0;
    settle();
    if (mustWait) failedTry(records[0], answers[0]);
}

void SinkPump::take(const Record& record, const Answer& answer, bool isFirst) {
    const std::int64_t sequence = record.sequence;
    if (answer.kind == Answer::Kind::kDelivered) {
        done[sequence] = receipt(record, Receipt::Outcome::kDelivered, answer.text, isFirst);
    } else if (answer.kind == Answer::Kind::kRefused) {
        done[sequence] = receipt(record, Receipt::Outcome::kDead, answer.text, isFirst);
        note("sink \"" + settings.name + "\" gave up on record " + std::to_string(sequence) + ": " +
             asLine(answer.text));
    } else if (isFirst && !stopping && tooOld(record)) {
        done[sequence] = receipt(record, Receipt::Outcome::kDead,
                                 "given up, it is too old; last answer: " + answer.text, isFirst);
        note("sink \"" + settings.name + "\" gave up on record " + std::to_string(sequence) +
             ", it is too old: " + asLine(answer.text));
    }
    if (isFirst && answer.kind == Answer::Kind::kDelivered && failing) {
        failing = false;
        note("sink \"" + settings.name + "\" delivers again");
    }
}

// Only the first record of a step counts its tries: those behind it wait for it anyway.
void SinkPump::failedTry(const Record& record, const Answer& answer) {
    if (stopping) return;  // cut short by us; that is no failure of the other side
    const Receipt line = receipt(record, Receipt::Outcome::kFailed, answer.text, true);
    ++tries;
    nextTry = Clock::current().now() + backOff.wait(tries);
    if (!failing) note("sink \"" + settings.name + "\" cannot deliver: " + line.answer);
    failing = true;
    spool->failed(settings.name, record.sequence, line);
}

Receipt SinkPump::receipt(const Record& record, Receipt::Outcome outcome, const std::string& answer,
                          bool isFirst) {
    Receipt receipt;
    receipt.sink = settings.name;
    receipt.sequence = record.sequence;
    receipt.at = nowMilliseconds();
    receipt.outcome = outcome;
    receipt.tries = isFirst ? tries + 1 : 1;
    receipt.answer = asLine(answer);
    return receipt;
}

bool SinkPump::tooOld(const Record& record) const {
    if (settings.giveUpAfter <= 0) return false;
    return Clock::current().now() - record.at / 1000 > settings.giveUpAfter;
}

void SinkPump::spoolTrouble(const std::string& what) {
    spool.reset();  // a fresh start may be all that it needs
    if (what == trouble) return;
    trouble = what;
    note(what);
}

void SinkPump::spoolWell() {
    if (trouble.empty()) return;
    trouble.clear();
    note("sink \"" + settings.name + "\" can use the spool again");
}
