#include "agent/daemon/Pipeline.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "agent/Failure.h"
#include "agent/daemon/PollReport.h"
#include "agent/daemon/StateDocument.h"
#include "agent/daemon/StateFile.h"
#include "agent/spool/SafeSnapshot.h"
#include "util/Clock.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kTestCode = 299;  // the general note about a controller; nothing acts on it
constexpr char kTestIdentifier[] = "RAIDWATCH_TEST";
constexpr char kTestText[] = "This is a test of raidwatch. Nothing has happened.";
constexpr int kReadAtOnce = 500;
constexpr std::int64_t kMostRepeats = 5000;  // of a machine whose snapshot cannot be written
constexpr char kSpoolTopic[] = "spool";
constexpr char kCopyTopic[] = "snapshot";
constexpr char kStateTopic[] = "state";
constexpr char kStorageTopic[] = "storage";
// A disk that damages each new spool at once must not be filled with damaged ones.
constexpr std::chrono::minutes kReplacementPause{10};
constexpr std::size_t kMostRescued = 20000;
constexpr std::size_t kMostUnreadable = 1000;

std::int64_t seconds() { return Clock::current().now(); }

bool holds(const MachineState& state, const std::string& key) {
    const auto has = [&key](const auto& objects) {
        return std::any_of(objects.begin(), objects.end(),
                           [&key](const auto& object) { return object.key == key; });
    };
    return has(state.arrays) || has(state.drives) || has(state.enclosures);
}

}  // namespace

Pipeline::Pipeline(Spool& spoolIN, SafeSnapshot& safeIN, const AgentSettings& settingsIN,
                   Places placesIN, std::function<void()> wakeSinksIN)
    : spool(spoolIN),
      safe(safeIN),
      settings(settingsIN),
      places(std::move(placesIN)),
      wakeSinks(std::move(wakeSinksIN)),
      book(settingsIN, spoolIN.openIncidents(), spoolIN.lastIncident()),
      committed(spoolIN.lastSequence()),
      snapshot(spoolIN.snapshot()) {
    for (std::int64_t after = std::max(spool.snapshotMark(), committed - kMostRepeats);
         after < committed;) {
        const std::vector<Record> records = spool.read(after, kReadAtOnce);
        if (records.empty()) break;
        for (const Record& record : records) {
            const bool real = record.origin == Origin::kLive || record.origin == Origin::kAtStart;
            if (record.kind == Record::Kind::kEvent && real) {
                repeats.add(record.object, record.event, 0);
            }
            after = record.sequence;
        }
    }
}

void Pipeline::pass(MonitorThread::Batch batch) { take(std::move(batch), false); }

void Pipeline::finish(MonitorThread::Batch batch) {
    take(std::move(batch), true);
    stateIsOld = true;
    writeState();
}

void Pipeline::take(MonitorThread::Batch batch, bool holdNothing) {
    lookAtSpool();
    followReading(batch);
    const std::size_t finished = batch.report ? held.size() + batch.finished : 0;
    const auto now = SteadyClock::now();
    batch.sources.resize(batch.events.size());
    for (std::size_t i = 0; i < batch.events.size(); ++i) {
        held.push_back({std::move(batch.events[i]), batch.sources[i], now});
    }
    if (batch.report) {
        before = std::exchange(state, batch.report->state);
        stateIsOld = true;
        pollSeconds = batch.pollSeconds;
        const std::string& shown = batch.report->snapshot;
        process(finished, shown.empty());
        addEffect(book.reconcile(state, silences, seconds()), Origin::kLive);
        pending.polledAt = state.polledAt;
        if (!shown.empty()) {
            repeats.clear();
            pending.snapshot = shown == snapshot ? std::string() : shown;
            pending.snapshotMark = nextSequence() - 1;
        }
    }
    process(holdNothing ? held.size() : overdue(), true);
    addEffect(book.follow(failedTries >= kTriesUntilTold ? unreadable : std::string(), silences,
                          seconds()),
              Origin::kLive);
    addEffect(book.tick(silences, seconds()), Origin::kLive);
    (void)commit();
    writeState();
}

void Pipeline::followReading(const MonitorThread::Batch& batch) {
    if (batch.ended == 0) return;
    unreadable = batch.unreadable;
    failedTries = unreadable.empty() ? 0 : std::min(failedTries + batch.ended, kTriesUntilTold);
    setProblem(kStorageTopic, unreadable.empty() ? "" : "it cannot be read: " + unreadable);
}

// How many of the oldest events have waited long enough for the end of their poll.
std::size_t Pipeline::overdue() const {
    const auto limit = SteadyClock::now() - std::chrono::seconds(kHoldSeconds);
    return static_cast<std::size_t>(
        std::find_if(held.begin(), held.end(),
                     [limit](const Held& one) { return one.since > limit; }) -
        held.begin());
}

void Pipeline::process(std::size_t count, bool spooledBeforeSnapshot) {
    std::vector<ObjectKey> keys;
    std::vector<Repeats::Found> found;
    for (std::size_t i = 0; i < count; ++i) {
        const Held& one = held[i];
        keys.push_back(keyOf(one.event));
        found.push_back({&one.event, keys.back().key, one.source.atStart, one.source.poll});
    }
    const std::vector<bool> known = repeats.find(found);
    for (std::size_t i = 0; i < count; ++i) {
        if (known[i]) continue;
        const Held& one = held[i];
        const Origin origin = one.source.atStart ? Origin::kAtStart : Origin::kLive;
        addEvent(book, recordOf(one.event, origin, keys[i]), state);
        if (spooledBeforeSnapshot) repeats.add(keys[i].key, one.event, one.source.poll);
    }
    held.erase(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(count));
}

// What has gone is not in the present state, but it was in the one before.
ObjectKey Pipeline::keyOf(const QELEvent& event) const {
    const ObjectKey now = objectOf(event, state);
    if (holds(state, now.key)) return now;
    const ObjectKey then = objectOf(event, before);
    return holds(before, then.key) ? then : now;
}

Record Pipeline::recordOf(const QELEvent& event, Origin origin, const ObjectKey& key) const {
    Record record;
    record.kind = Record::Kind::kEvent;
    record.origin = origin;
    record.object = key.key;
    record.objectName = key.name;
    record.event = event;
    record.sequence = nextSequence();  // commit() gives the same: nobody else makes records
    return record;
}

void Pipeline::addEvent(IncidentBook& with, const Record& record, const MachineState& seen) {
    const IncidentBook::Effect effect = with.apply(record, seen, silences, seconds());
    Record known = record;
    known.incident = effect.incident;
    (void)addRecord(std::move(known));
    addEffect(effect, record.origin);
}

std::int64_t Pipeline::addRecord(Record record) {
    const std::int64_t sequence = nextSequence();
    record.sequence = sequence;
    pending.records.push_back(std::move(record));
    return sequence;
}

void Pipeline::addEffect(const IncidentBook::Effect& effect, Origin origin) {
    for (const Incident& changed : effect.changed) {
        const auto same = std::find_if(pending.incidents.begin(), pending.incidents.end(),
                                       [&](const Incident& one) { return one.id == changed.id; });
        if (same == pending.incidents.end()) {
            pending.incidents.push_back(changed);
        } else {
            *same = changed;
        }
    }
    for (const Notice& notice : effect.notices) addNotice(notice, origin);
}

void Pipeline::addNotice(const Notice& notice, Origin origin) {
    Record record;
    record.kind = Record::Kind::kNotice;
    record.origin = origin;
    record.object = notice.incident.object;
    record.objectName = notice.incident.objectName;
    record.incident = notice.incident.id;
    record.notice = notice;
    (void)addRecord(std::move(record));
}

Notice Pipeline::written(Notice::Kind kind, const Incident& incident) const {
    Notice notice;
    notice.kind = kind;
    notice.incident = incident;
    text.write(notice, state, {}, seconds());
    return notice;
}

std::int64_t Pipeline::nextSequence() const {
    return committed + static_cast<std::int64_t>(pending.records.size()) + 1;
}

// The last known silences hold where it cannot be read. A file that was removed would take records
// that nobody finds again.
void Pipeline::lookAtSpool() {
    if (!spool.isOpen()) return;
    try {
        if (!spool.isCurrent()) {
            throw SpoolError("the file of the spool was removed or replaced; a new one begins",
                             SpoolError::Kind::kDamaged);
        }
        silences = spool.silences();
    } catch (const SpoolError& e) {
        setSpoolProblem(e, "");
    }
}

void Pipeline::setSpoolProblem(const SpoolError& error, const std::string& more) {
    damaged = damaged || error.kind == SpoolError::Kind::kDamaged;
    setProblem(kSpoolTopic, error.what() + more);
}

void Pipeline::distrustSpool() {
    setSpoolProblem(SpoolError("a sink has found it damaged; it is examined as soon as nobody else "
                               "has it open",
                               SpoolError::Kind::kDamaged),
                    "");
}

void Pipeline::prune(std::int64_t time) {
    try {
        (void)spool.prune(time * 1000);
    } catch (const SpoolError& e) {
        setSpoolProblem(e, "");
    }
}

std::string Pipeline::waitingText() const {
    return "; " + std::to_string(pending.records.size()) + " records wait in memory, trying again";
}

bool Pipeline::commit() {
    if (damaged && replaceSpool()) moveIntoNewSpool();
    if (!spool.isOpen()) return false;
    const bool news =
        !pending.records.empty() || !pending.incidents.empty() || !pending.snapshot.empty();
    // Also when the clock was set back: what is stored lies in the future then.
    const bool noteDown =
        pending.polledAt != 0 && (pending.polledAt >= polledAtStored + kPolledAtSeconds ||
                                  pending.polledAt < polledAtStored);
    if (!news && !noteDown) {
        if (copyIsOld) keepCopy();
        return true;
    }
    try {
        const std::int64_t last = spool.commit(pending);
        if (!pending.records.empty()) committed = last;
    } catch (const SpoolError& e) {
        setSpoolProblem(e, waitingText());
        return false;
    }
    if (!damaged) setProblem(kSpoolTopic, "");
    if (pending.polledAt != 0) polledAtStored = pending.polledAt;
    if (!pending.snapshot.empty()) {
        snapshot = std::move(pending.snapshot);
        copyIsOld = true;
    }
    const bool records = !pending.records.empty();
    pending = Spool::Batch{};
    if (records && wakeSinks) wakeSinks();
    if (copyIsOld) keepCopy();
    return true;
}

// True when another spool is open now.
bool Pipeline::replaceSpool() {
    const auto now = SteadyClock::now();
    if (now < nextReplacement) return false;
    if (alonePatience == SteadyClock::time_point()) alonePatience = now + kAlonePatience;
    const bool sinksHaveLeft = !keepSinksAway || keepSinksAway(true);
    if (!sinksHaveLeft && now < alonePatience) return false;
    rescue();  // no sink moves on any more
    Spool::Renewal result = Spool::Renewal::kHeldByOthers;
    try {
        result = spool.renew();
    } catch (const SpoolError& e) {
        setProblem(kSpoolTopic, e.what() + waitingText());
        return false;  // closed now: each pass tries again
    }
    if (result == Spool::Renewal::kHeldByOthers && now < alonePatience) return false;
    alonePatience = SteadyClock::time_point();
    nextReplacement = now + kReplacementPause;
    damaged = false;  // told again when it is met again
    if (result == Spool::Renewal::kReplaced) return true;
    if (result == Spool::Renewal::kSound) setProblem(kSpoolTopic, "");
    letSinksBack();
    return false;
}

void Pipeline::letSinksBack() {
    if (keepSinksAway) (void)keepSinksAway(false);
}

// One by one: behind a page that is lost there may be good ones.
void Pipeline::rescue() {
    Rescued found;
    try {
        std::int64_t last = committed;
        found.sinks = spool.cursors();
        for (const auto& [sink, cursor] : found.sinks) last = std::min(last, cursor);
        while (last < committed && found.records.size() < kMostRescued &&
               found.unreadable < kMostUnreadable) {
            ++last;
            try {
                std::vector<Record> one = spool.read(last - 1, 1);
                if (!one.empty() && one[0].sequence == last) found.records.push_back(one[0]);
            } catch (const SpoolError&) {
                ++found.unreadable;
            }
        }
    } catch (const SpoolError&) {
        return;  // closed, or worse: what was read before counts
    }
    rescued = std::move(found);
}

// What is known here is in no file now.
void Pipeline::moveIntoNewSpool() {
    if (!spool.openingNote().empty()) notes.push_back(spool.openingNote());
    if (!rescued.records.empty() || rescued.unreadable != 0) {
        notes.push_back(std::to_string(rescued.records.size()) +
                        " records that some sink had not yet taken go on in the new spool, " +
                        std::to_string(rescued.unreadable) + " could not be read");
    }
    committed = spool.lastSequence();
    giveSinksTheirPlaces();
    pending.records.insert(pending.records.begin(),
                           std::make_move_iterator(rescued.records.begin()),
                           std::make_move_iterator(rescued.records.end()));
    for (const Incident& open : book.open()) {
        const bool isThere =
            std::any_of(pending.incidents.begin(), pending.incidents.end(),
                        [&open](const Incident& one) { return one.id == open.id; });
        if (!isThere) pending.incidents.push_back(open);
    }
    if (pending.snapshot.empty()) pending.snapshot = snapshot;
    if (pending.snapshotMark != 0 || repeats.empty()) pending.snapshotMark = nextSequence() - 1;
    polledAtStored = 0;
    rescued = Rescued();
    letSinksBack();
}

// Before anything is committed: a sink that finds no place begins behind the last record.
void Pipeline::giveSinksTheirPlaces() {
    try {
        for (const auto& [name, sink] : settings.sinks) {
            (void)spool.cursor(name);
            const auto place = rescued.sinks.find(name);
            if (place == rescued.sinks.end()) continue;
            const auto taken = std::count_if(
                rescued.records.begin(), rescued.records.end(),
                [&](const Record& record) { return record.sequence <= place->second; });
            if (taken > 0) spool.skip(name, committed + taken);
        }
        for (const Silence& silence : silences) (void)spool.addSilence(silence);
        spool.beginWatch(seconds());
    } catch (const SpoolError& e) {
        notes.emplace_back(e.what());
    }
}

void Pipeline::commitChange() {
    if (!commit()) throw Failure(Failure::kFailed, trouble[kSpoolTopic]);
}

void Pipeline::keepCopy() {
    if (snapshot.empty()) return;
    try {
        safe.keep(snapshot);
        copyIsOld = false;
        setProblem(kCopyTopic, "");
    } catch (const std::exception& e) {
        setProblem(kCopyTopic, e.what());
    }
}

// --- what others see ---

void Pipeline::setProblem(const std::string& topic, const std::string& line) {
    const auto known = trouble.find(topic);
    if (line == (known == trouble.end() ? std::string() : known->second)) return;
    if (line.empty()) {
        trouble.erase(topic);
    } else {
        trouble[topic] = line;
    }
    stateIsOld = true;
}

void Pipeline::setPages(const std::vector<std::string>& addresses) {
    if (addresses == pages) return;
    pages = addresses;
    stateIsOld = true;
}

void Pipeline::writeState() {
    if (!stateIsOld) return;
    const std::string document =
        stateDocument(state, {pending.records.size() + held.size(), pollSeconds, trouble, pages});
    try {
        StateFile(places.stateFile).write(document);
        // Not with every poll: it may be on a disk that would like to sleep.
        if (!places.lastStateFile.empty() && state.polledAt != 0) {
            StateFile(places.lastStateFile).writeAtMost(document, std::chrono::minutes(10));
        }
        stateIsOld = false;
        trouble.erase(kStateTopic);
    } catch (const Failure& e) {
        trouble[kStateTopic] = e.what();
    }
}

// --- changes ---

Incident Pipeline::acknowledge(std::int64_t id, const std::string& by, const std::string& comment,
                               std::int64_t until) {
    IncidentBook::Effect effect;
    if (!book.acknowledge(id, by, comment, until, seconds(), effect)) {
        throw Failure(Failure::kFailed, "there is no open incident " + std::to_string(id) +
                                            "; raidwatch incidents lists them");
    }
    addEffect(effect, Origin::kLive);
    commitChange();
    return effect.changed.front();
}

Incident Pipeline::unacknowledge(std::int64_t id) {
    IncidentBook::Effect effect;
    if (!book.unacknowledge(id, seconds(), effect)) {
        throw Failure(Failure::kFailed, "there is no open incident " + std::to_string(id) +
                                            "; raidwatch incidents lists them");
    }
    addEffect(effect, Origin::kLive);
    commitChange();
    return effect.changed.front();
}

std::int64_t Pipeline::addSilence(const Silence& silence) { return spool.addSilence(silence); }

void Pipeline::removeSilence(std::int64_t id) {
    if (!spool.removeSilence(id)) {
        throw Failure(Failure::kFailed, "there is no silence " + std::to_string(id) +
                                            "; raidwatch silence list shows them");
    }
}

Pipeline::Span Pipeline::test(const std::vector<std::string>& sinks) {
    Span span{nextSequence(), 0};
    std::vector<std::string> objects;
    objects.reserve(sinks.size() + 1);
    for (const std::string& sink : sinks) objects.push_back("sink:" + sink);
    if (objects.empty()) objects.emplace_back();
    for (const std::string& object : objects) {
        QELEvent event(kTestCode, kEventInformation, kTestText, kTestIdentifier);
        event.timeStamp = static_cast<std::time_t>(seconds());
        event.objectType = QELEvent::kSystem;
        const Record record = recordOf(event, Origin::kTest, {object, "raidwatch"});
        (void)addRecord(record);
        Incident tested;
        tested.object = object;
        tested.objectName = record.objectName;
        tested.origin = Origin::kTest;
        tested.severity = kEventInformation;
        tested.openedAt = tested.updatedAt = seconds();
        tested.firstSequence = tested.lastSequence = record.sequence;
        tested.text = kTestText;
        addNotice(written(Notice::Kind::kTest, tested), Origin::kTest);
    }
    span.last = nextSequence() - 1;
    commitChange();
    return span;
}

// The incidents of a drill take numbers that no real one gets, because receivers thread by them;
// they are stored as ended.
Pipeline::Span Pipeline::drill(const std::string& name, const std::vector<QELEvent>& events) {
    lookAtSpool();
    Span span{nextSequence(), 0};
    std::int64_t highest = spool.lastIncident();
    for (const Incident& one : pending.incidents) highest = std::max(highest, one.id);
    for (const Incident& one : book.open()) highest = std::max(highest, one.id);
    IncidentBook rehearsal(settings, {}, highest);
    const MachineState nothing;
    for (const QELEvent& event : events) {
        Record record = recordOf(event, Origin::kDrill, objectOf(event, nothing));
        record.event.extra2 = name;
        addEvent(rehearsal, record, nothing);
    }
    for (Incident over : rehearsal.open()) {
        over.open = false;
        over.origin = Origin::kDrill;
        over.resolvedAt = over.updatedAt = seconds();
        over.text = "The drill " + name + " is over.";
        IncidentBook::Effect effect;
        effect.changed.push_back(over);
        effect.notices.push_back(written(Notice::Kind::kResolved, over));
        addEffect(effect, Origin::kDrill);
    }
    for (const Incident& one : pending.incidents) highest = std::max(highest, one.id);
    book.skipNumbers(highest);
    span.last = nextSequence() - 1;
    commitChange();
    return span;
}

void Pipeline::use(const AgentSettings& settingsIN) {
    settings = settingsIN;
    book.use(settings);
}
