// What becomes of an incident and who is told. Events: IncidentBookEvents.cpp; looking at the
// machine: IncidentBookReconcile.cpp.
#include "agent/incidents/IncidentBook.h"

#include <utility>

#include "agent/incidents/IncidentBookCall.h"

namespace {

using Kind = Notice::Kind;

// The end of what did not flap so far is told after this part of the flap window.
constexpr std::int64_t kPartOfWindow = 4;

void add(std::vector<std::string>& list, const std::string& key) {
    if (!key.empty() && std::find(list.begin(), list.end(), key) == list.end()) {
        list.push_back(key);
    }
}

bool isToldOnce(const Incident& incident) {
    const Standing* standing = findStanding(incident.condition, incident.value);
    return standing != nullptr && standing->toldOnce;
}

bool isLess(int survives, int than) { return survives >= 0 && than >= 0 && survives < than; }

}  // namespace

IncidentBook::IncidentBook(const AgentSettings& settingsIN, std::vector<Incident> open,
                           std::int64_t lastIdIN, Origin originIN)
    : settings(settingsIN),
      incidents(std::move(open)),
      lastId(lastIdIN),
      origin(originIN),
      hasHistory(lastIdIN > 0) {
    std::sort(incidents.begin(), incidents.end(),
              [](const Incident& a, const Incident& b) { return a.id < b.id; });
    if (!incidents.empty()) lastId = std::max(lastId, incidents.back().id);
}

IncidentBook::Effect IncidentBook::tick(const std::vector<Silence>& silences, std::int64_t now) {
    Call call{silences, now};
    for (Incident& incident : incidents) {
        followClock(incident, call);
        tickOne(incident, call);
    }
    for (auto& [place, when] : resolvedAt) when = std::min(when, now);
    return finished(call);
}

// A clock that was set back must not make everything wait until it is as late again.
void IncidentBook::followClock(Incident& incident, Call& call) {
    const std::int64_t latest = reminderAfter(incident, call.now);
    if (incident.updatedAt > call.now) {
        incident.updatedAt = call.now;
        incident.changesSince = std::min(incident.changesSince, call.now);
        call.touched.insert(incident.id);
    }
    if (latest != 0 && incident.nextReminder > latest) {
        incident.nextReminder = latest;
        call.touched.insert(incident.id);
    }
}

void IncidentBook::tickOne(Incident& incident, Call& call) {
    const std::int64_t lasted = call.now - incident.updatedAt;
    if (incident.ackUntil != 0 && call.now >= incident.ackUntil) {
        clearAcknowledgement(incident);
        incident.nextReminder = call.now;
        call.touched.insert(incident.id);
    }
    const bool heldStill = lasted >= settings.flapWindow;
    const bool settled = incident.flapping && heldStill;
    if (settled) {
        incident.flapping = false;
        incident.changes = 0;
        call.touched.insert(incident.id);
    }
    if (rankOf(incident) == 0) {
        if (lasted >= holdOfEnd(incident)) finish(incident, call);
        return;
    }
    const bool isOwed = incident.reminders < 0 && !incident.acknowledged();
    if (isToldOnce(incident) && lasted >= kToldOnceSeconds && !isOwed) {
        return closeQuietly(incident, call);
    }
    if (incident.acknowledged()) return;
    if (settled) return tell(incident, Kind::kUpdated, call);
    if (call.isSilenced(incident)) return;
    const bool isBetter = rankOf(incident) < toldOf(incident).rank;
    if (incident.reminders < 0) {
        tell(incident, isBetter ? Kind::kUpdated : Kind::kWorse, call);
    } else if (incident.flapping) {
        return;
    } else if (isBetter && heldStill) {
        tell(incident, Kind::kUpdated, call);
    } else if (incident.nextReminder != 0 && call.now >= incident.nextReminder) {
        tell(incident, Kind::kReminder, call);
    }
}

bool IncidentBook::acknowledge(std::int64_t id, const std::string& by, const std::string& comment,
                               std::int64_t until, std::int64_t now, Effect& effect) {
    for (Incident& incident : incidents) {
        if (incident.id != id) continue;
        incident.ackBy = by;
        incident.ackComment = comment;
        incident.ackValue = incident.value;
        incident.ackAt = now;
        incident.ackUntil = until;
        incident.nextReminder = 0;
        effect.changed.push_back(incident);
        return true;
    }
    return false;
}

bool IncidentBook::unacknowledge(std::int64_t id, std::int64_t now, Effect& effect) {
    for (Incident& incident : incidents) {
        if (incident.id != id) continue;
        clearAcknowledgement(incident);
        incident.nextReminder = reminderAfter(incident, now);
        effect.changed.push_back(incident);
        return true;
    }
    return false;
}

Incident* IncidentBook::find(const std::string& object, const std::string& condition) {
    for (Incident& incident : incidents) {
        if (incident.open && incident.object == object && incident.condition == condition) {
            return &incident;
        }
    }
    return nullptr;
}

// Nobody is told yet: the caller may add drives first.
Incident& IncidentBook::openNew(const Subject& subject, const Standing& standing,
                                const std::string& condition, const Record* event, Call& call) {
    Incident incident;
    incident.id = ++lastId;
    incident.object = subject.object;
    incident.objectName = subject.name;
    incident.condition = condition;
    incident.value = standing.value;
    incident.severity = standing.severity;
    incident.origin = event != nullptr ? event->origin : origin;
    incident.openedAt = incident.updatedAt = incident.changesSince = call.now;
    incident.changes = 1;
    incident.reminders = Incident::kUntold;
    incident.flapping = isBackSoon(incident, call.now);
    incident.text = subject.name + " is " + standing.value + "; no event told of it.";
    (void)copyRedundancy(incident);
    told[incident.id] = Told();
    incidents.push_back(incident);
    if (event != nullptr) {
        incidents.back().firstSequence = event->sequence;
        incidents.back().code = event->event.eventCode;
        incidents.back().text = event->event.text;
        countEvent(incidents.back(), *event, call);
    }
    call.touched.insert(incident.id);
    return incidents.back();
}

void IncidentBook::countEvent(Incident& incident, const Record& event, Call& call) {
    ++incident.events;
    incident.lastSequence = std::max(incident.lastSequence, event.sequence);
    call.effect.incident = incident.id;
    call.touched.insert(incident.id);
}

void IncidentBook::change(Incident& incident, const Standing& standing, const Record* event,
                          Call& call) {
    const bool isSame = incident.value == standing.value;
    const std::int64_t lasted = call.now - incident.updatedAt;
    if (event != nullptr) countEvent(incident, *event, call);
    const bool hasMoved = copyRedundancy(incident);
    if (hasMoved) call.touched.insert(incident.id);
    if (isSame && standing.toldOnce) incident.updatedAt = call.now;
    if (isSame && !hasMoved) return;
    if (!isSame) {
        incident.value = standing.value;
        incident.severity = standing.severity;
        incident.resolvedAt = 0;
        if (event != nullptr) {
            incident.code = event->event.eventCode;
            incident.text = event->event.text;
        } else {
            incident.code = 0;
            incident.text = incident.objectName + " is " + standing.value + " now.";
        }
    }
    decide(incident, isSame ? -1 : lasted, call);
}

void IncidentBook::resolve(Incident& incident, const char* value, const Record* event, Call& call) {
    if (event != nullptr) countEvent(incident, *event, call);
    if (rankOf(incident) == 0) return;
    const std::int64_t lasted = call.now - incident.updatedAt;
    incident.value = value;
    incident.severity = kEventInformation;
    incident.resolvedAt = call.now;
    incident.code = event != nullptr ? event->event.eventCode : 0;
    incident.text = event != nullptr ? event->event.text : incident.objectName + " is in order.";
    (void)copyRedundancy(incident);
    decide(incident, lasted, call);
}

// After the value or the redundancy changed. `lasted`: so long the value before; -1: it is the
// same.
void IncidentBook::decide(Incident& incident, std::int64_t lasted, Call& call) {
    call.touched.insert(incident.id);
    if (lasted >= 0) {
        if (call.now - incident.changesSince > settings.flapWindow) {
            incident.changes = 0;
            incident.changesSince = call.now;
        }
        ++incident.changes;
        incident.updatedAt = call.now;
    }

    const Told& known = toldOf(incident);
    const int rank = rankOf(incident);
    const bool isLessSafe = rank > 0 && isLess(incident.survives, known.survives);
    if (incident.acknowledged() &&
        (isLessSafe || rank > rankOf(incident.condition, incident.ackValue))) {
        clearAcknowledgement(incident);
    }
    const bool isWorst =
        rank > known.worstRank || (rank > 0 && isLess(incident.survives, known.leastSurvives));
    const bool wasFlapping = incident.flapping;
    incident.flapping = wasFlapping || (settings.flapWindow > 0 && settings.flapChanges > 0 &&
                                        incident.changes >= settings.flapChanges);
    const bool mayHear = !incident.acknowledged();
    if (incident.flapping) {
        if (isWorst && mayHear) {
            tell(incident, Kind::kWorse, call);
        } else if (!wasFlapping && mayHear) {
            tell(incident, Kind::kFlapping, call);
        }
        return;
    }
    if (rank > known.rank || isLessSafe) {
        if (mayHear) tell(incident, Kind::kWorse, call);
        return;
    }
    if (lasted < 0) return;
    // Good news wait, see tickOne.
    if (rank == 0 && lasted >= holdOfEnd(incident)) return finish(incident, call);
    if (rank == 0 || lasted < settings.flapWindow) return;
    if (rank < known.rank && mayHear) tell(incident, Kind::kUpdated, call);
}

// So long all must have been well, or not have been well before, until the end is told.
std::int64_t IncidentBook::holdOfEnd(const Incident& incident) const {
    return incident.flapping ? settings.flapWindow : settings.flapWindow / kPartOfWindow;
}

// Whether the same problem was over only a short time ago, and people were told so.
bool IncidentBook::isBackSoon(const Incident& incident, std::int64_t now) const {
    const auto before = shortOnes.find(incident.object + " " + incident.condition);
    return settings.flapChanges > 0 && before != shortOnes.end() &&
           now - before->second < settings.flapWindow;
}

void IncidentBook::finish(Incident& incident, Call& call) {
    if (incident.told() && call.isSilenced(incident)) return;  // told when the silence ends
    incident.open = false;
    if (incident.resolvedAt == 0) incident.resolvedAt = call.now;
    const std::string place = incident.object + " " + incident.condition;
    const bool isShort = incident.resolvedAt - incident.openedAt < settings.flapWindow;
    if (isShort && incident.told() && incident.value != values::kDeleted) {
        shortOnes[place] = incident.resolvedAt;
    }
    resolvedAt[place] = call.now;
    call.touched.insert(incident.id);
    if (incident.told()) tell(incident, Kind::kResolved, call);
}

void IncidentBook::closeQuietly(Incident& incident, Call& call) {
    incident.open = false;
    incident.resolvedAt = call.now;
    resolvedAt[incident.object + " " + incident.condition] = call.now;
    call.touched.insert(incident.id);
}

void IncidentBook::tell(Incident& incident, Kind kind, Call& call) {
    call.touched.insert(incident.id);
    Told& known = toldOf(incident);
    listDrives(known, incident);
    if (call.isSilenced(incident)) {
        if (incident.told()) incident.reminders = Incident::kOwed;
        return;
    }
    if (!incident.told() && kind != Kind::kFlapping) kind = Kind::kOpened;
    incident.reminders = kind == Kind::kReminder ? incident.reminders + 1 : 0;
    incident.nextReminder = incident.open ? reminderAfter(incident, call.now) : 0;

    Notice notice;
    notice.kind = kind;
    notice.incident = incident;
    text.write(notice, machine, drivesOf(incident, known), call.now);
    call.effect.notices.push_back(notice);

    known.rank = rankOf(incident);
    known.survives = incident.survives;
    known.worstRank = std::max(known.worstRank, known.rank);
    if (known.leastSurvives < 0 || isLess(incident.survives, known.leastSurvives)) {
        known.leastSurvives = incident.survives;
    }
}

std::int64_t IncidentBook::reminderAfter(const Incident& incident, std::int64_t now) const {
    if (settings.reminders.empty() || isToldOnce(incident)) return 0;
    const auto given = static_cast<std::size_t>(std::max(incident.reminders, 0));
    return now + settings.reminders[std::min(given, settings.reminders.size() - 1)];
}

bool IncidentBook::copyRedundancy(Incident& incident) const {
    if (incident.condition != "redundancy") return false;
    const ArrayState* array = findByKey(machine.arrays, incident.object);
    if (array == nullptr) return false;
    const bool hasChanged =
        incident.survives != array->survives ||
        (array->exposedSince != 0 && incident.exposedSince != array->exposedSince);
    incident.survives = array->survives;
    // When it is over the array is exposed no more; the incident keeps since when it was.
    if (array->exposedSince != 0) incident.exposedSince = array->exposedSince;
    if (!array->name.empty()) incident.objectName = array->name;
    return hasChanged;
}

// The drives of an array that are in trouble, as far as one look tells.
void IncidentBook::listDrives(Told& known, const Incident& incident) const {
    if (incident.condition != "redundancy" || rankOf(incident) == 0) return;
    for (const auto& [key, drive] : drives) {
        if (drive.array != incident.object || drive.work != SeenDrive::Work::kMember) continue;
        const DriveState* now = findByKey(machine.drives, key);
        const std::string state = now != nullptr ? now->state : "missing";
        if (state == "failed" || state == "missing") add(known.drives, key);
    }
}

std::vector<DriveState> IncidentBook::drivesOf(const Incident& incident, const Told& known) const {
    std::vector<std::string> keys = known.drives;
    if (incident.condition != "redundancy") add(keys, incident.object);
    std::vector<DriveState> found;
    for (const std::string& key : keys) {
        const auto drive = drives.find(key);
        if (drive != drives.end()) found.push_back(drive->second.state);
    }
    return found;
}

// After a restart people are taken to know what the incident says.
IncidentBook::Told& IncidentBook::toldOf(const Incident& incident) {
    const auto found = told.find(incident.id);
    if (found != told.end()) return found->second;
    Told known;
    known.rank = known.worstRank = rankOf(incident);
    known.survives = known.leastSurvives = incident.survives;
    return told[incident.id] = known;
}

IncidentBook::Effect IncidentBook::finished(Call& call) {
    for (const Incident& incident : incidents) {
        if (call.touched.count(incident.id) != 0) call.effect.changed.push_back(incident);
        if (!incident.open) told.erase(incident.id);
    }
    incidents.erase(std::remove_if(incidents.begin(), incidents.end(),
                                   [](const Incident& incident) { return !incident.open; }),
                    incidents.end());
    return std::move(call.effect);
}
