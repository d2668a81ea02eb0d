// What an event does to the incidents, and whose drive it is about.
#include "agent/incidents/IncidentBook.h"

#include "agent/incidents/IncidentBookCall.h"

namespace {

using Kind = EventRule::Kind;

constexpr char kDrive[] = "drive";
constexpr char kRedundancy[] = "redundancy";

// A warning that no row knows is told all the same.
constexpr EventRule kUnknownError = {0, Kind::kToldOnce, "event", "error"};
constexpr EventRule kUnknownWarning = {0, Kind::kToldOnce, "event", "warning"};
constexpr EventRule kUnknownNote = {0, Kind::kIgnored, "", ""};

std::vector<const EventRule*> rulesFor(const QELEvent& event) {
    std::vector<const EventRule*> rules = rulesOf(event.eventCode);
    if (!rules.empty()) return rules;
    if (event.severity == kEventError) return {&kUnknownError};
    if (event.severity == kEventWarning) return {&kUnknownWarning};
    return {&kUnknownNote};
}

// Units are counted from 1, as their labels are.
std::string conditionOf(const char* condition, const QELEvent& event) {
    int unit = QELEvent::kNotSet;
    if (event.objectType == QELEvent::kFan) unit = event.value2;
    if (event.objectType == QELEvent::kPowerSupply) unit = event.value3;
    // Of what no row knows, each code is a problem of its own.
    if (std::string(condition) == kUnknownError.condition) unit = event.eventCode - 1;
    if (unit == QELEvent::kNotSet) return condition;
    return std::string(condition) + " " + std::to_string(unit + 1);
}

bool isOfEnclosure(const QELEvent& event) {
    return event.objectType == QELEvent::kEnclosure || event.objectType == QELEvent::kFan ||
           event.objectType == QELEvent::kPowerSupply;
}

bool isAt(const EnclosureState& enclosure, const Addr& where) {
    return enclosure.adapter == static_cast<int>(where.controllerID) &&
           enclosure.channel == static_cast<int>(where.channelID) &&
           enclosure.device == static_cast<int>(where.deviceID);
}

}  // namespace

IncidentBook::Effect IncidentBook::apply(const Record& event, const MachineState& state,
                                         const std::vector<Silence>& silences, std::int64_t now) {
    Call call{silences, now};
    remember(state);
    for (const EventRule* rule : rulesFor(event.event)) {
        if (applyRule(*rule, event, call) && rule->kind != Kind::kResolves) break;
    }
    return finished(call);
}

bool IncidentBook::applyRule(const EventRule& rule, const Record& event, Call& call) {
    switch (rule.kind) {
        case Kind::kIgnored:
            return true;
        case Kind::kCompanion:
        case Kind::kProgress:
            fold(event, call);
            return true;
        case Kind::kResolves:
            resolveAsToldBy(rule, event, call);
            return true;
        case Kind::kUpdates: {
            Incident* incident = find(subjectOf(event).object, rule.condition);
            if (incident == nullptr) return false;
            change(*incident, *findStanding(rule.condition, rule.value), &event, call);
            return true;
        }
        case Kind::kOpens:
        case Kind::kToldOnce:
            break;
    }
    const Standing& standing = *findStanding(rule.condition, rule.value);
    if (std::string(rule.condition) == kDrive) {
        applyToDrive(standing, event, call);
    } else {
        openOrChange(standing, event, call);
    }
    return true;
}

void IncidentBook::resolveAsToldBy(const EventRule& rule, const Record& event, Call& call) {
    if (std::string(rule.condition) == kDrive) {
        resolveDrives(event, rule.value, call);
        return;
    }
    const Subject subject = subjectOf(event);
    const std::string condition = conditionOf(rule.condition, event.event);
    Incident* incident = find(subject.object, condition);
    // What was lost before we ever saw it was known by its place only.
    for (Incident& other : incidents) {
        if (incident == nullptr && other.open && other.condition == condition &&
            other.objectName == subject.name) {
            incident = &other;
        }
    }
    if (incident != nullptr) resolve(*incident, rule.value, &event, call);
}

void IncidentBook::openOrChange(const Standing& standing, const Record& event, Call& call) {
    const Subject subject = subjectOf(event);
    const std::string condition = conditionOf(standing.condition, event.event);
    const Standing* result = &standing;
    if (condition == kRedundancy && std::string(standing.value) == "degraded") {
        // A hot spare takes over within the same look: then that is the news.
        const ArrayState* array = findByKey(machine.arrays, subject.object);
        if (array != nullptr && array->state == "rebuilding") result = standingOf(*array);
    }
    Incident* incident = find(subject.object, condition);
    for (Incident& other : incidents) {
        if (standing.onePerMachine && other.open && other.condition == condition) incident = &other;
    }
    if (incident != nullptr) return change(*incident, *result, &event, call);
    tell(openNew(subject, *result, condition, &event, call), Notice::Kind::kOpened, call);
}

void IncidentBook::applyToDrive(const Standing& standing, const Record& event, Call& call) {
    SeenDrive& drive = seenDrive(event);
    const std::string value = standing.value;
    if (value == "predicted") {
        drive.state.predicted = true;
        if (!drive.failed) openOrChange(standing, event, call);
        return;
    }
    const bool hadFailed = drive.failed;
    drive.failed = true;
    drive.state.state = value;
    // Taking out a drive that has failed is a part of the repair.
    if (value == "missing" && hadFailed) return fold(event, call);

    const ArrayState* array =
        arrayOfDrive(event.object, static_cast<int>(event.event.location.controllerID));
    if (array != nullptr) return joinArray(*array, event, call);
    const bool didNoWork = value == "missing" && drive.work == SeenDrive::Work::kUnused;
    openOrChange(didNoWork ? *findStanding(kDrive, "removed") : standing, event, call);
}

void IncidentBook::joinArray(const ArrayState& array, const Record& event, Call& call) {
    const Standing* seen = standingOf(array);
    const Standing& degraded = *findStanding(kRedundancy, "degraded");
    Incident* incident = find(array.key, kRedundancy);
    if (incident == nullptr) {
        Incident& opened = openNew({array.key, array.name}, seen != nullptr ? *seen : degraded,
                                   kRedundancy, &event, call);
        toldOf(opened).drives.push_back(event.object);
        tell(opened, Notice::Kind::kOpened, call);
        incident = &opened;
    } else {
        std::vector<std::string>& named = toldOf(*incident).drives;
        const bool isNamed = std::find(named.begin(), named.end(), event.object) != named.end();
        if (!isNamed) named.push_back(event.object);
        const std::size_t noticesBefore = call.effect.notices.size();
        const Standing* present = findStanding(kRedundancy, incident->value);
        const Standing* worst = present != nullptr ? present : &degraded;
        if (seen != nullptr && seen->rank > worst->rank) worst = seen;
        change(*incident, *worst, &event, call);
        if (!isNamed) {
            incident->code = event.event.eventCode;
            incident->text = event.event.text;
        }
        const bool isTold = call.effect.notices.size() > noticesBefore;
        // One more drive is news even where the array's value and redundancy stay as they were, as
        // those of a RAID 10 may: no acknowledgement was meant for it, and it is no flapping.
        if (!isNamed && !isTold) {
            clearAcknowledgement(*incident);
            tell(*incident, Notice::Kind::kUpdated, call);
        }
    }
    if (Incident* own = find(event.object, kDrive)) {
        own->text = "The drive failed; this goes on as incident " + std::to_string(incident->id) +
                    " of " + array.name + ".";
        closeQuietly(*own, call);
    }
}

void IncidentBook::resolveDrives(const Record& event, const char* value, Call& call) {
    SeenDrive& drive = seenDrive(event);
    const bool isBack = event.event.eventCode == 407;
    if (isBack) {
        drive.failed = false;
        drive.state.state = "unknown";
    }
    for (Incident& incident : incidents) {
        if (!incident.open || incident.condition != kDrive) continue;
        if (incident.object == event.object) {
            resolve(incident, isBack ? values::kNormal : value, &event, call);
        } else if (!event.objectName.empty() && incident.objectName == event.objectName) {
            resolve(incident, values::kReplaced, &event, call);
        }
    }
}

// Counts an event where it belongs; people learn nothing new from it.
void IncidentBook::fold(const Record& event, Call& call) {
    const std::string object = subjectOf(event).object;
    const auto drive = drives.find(event.object);
    const std::string array = drive != drives.end() ? drive->second.array : "";
    for (Incident& incident : incidents) {
        if (!incident.open) continue;
        const std::vector<std::string>& named = toldOf(incident).drives;
        const bool isNamed = std::find(named.begin(), named.end(), object) != named.end();
        const bool isOfArray = !array.empty() && incident.object == array;
        if (incident.object == object || isNamed || isOfArray) {
            return countEvent(incident, event, call);
        }
    }
}

IncidentBook::Subject IncidentBook::subjectOf(const Record& event) const {
    if (isOfEnclosure(event.event)) {
        for (const EnclosureState& enclosure : enclosures) {
            if (isAt(enclosure, event.event.location)) return {enclosure.key, enclosure.name};
        }
    }
    if (event.object.empty()) return {"system", "the monitor"};
    const ArrayState* array = findByKey(machine.arrays, event.object);
    if (array != nullptr && !array->name.empty()) return {event.object, array->name};
    return {event.object, event.objectName.empty() ? event.object : event.objectName};
}

// --- whose drive it is --------------------------------------------------------------------------

void IncidentBook::remember(const MachineState& state) {
    const bool isKnown = state.polledAt == machine.polledAt && state.polls == machine.polls;
    if (state.polledAt == 0 || isKnown) return;
    machine = state;
    for (const DriveState& drive : machine.drives) rememberDrive(drive);
    for (const EnclosureState& enclosure : machine.enclosures) rememberEnclosure(enclosure);

    std::set<std::string> wholeArrays;
    std::set<std::string> members;
    for (const ArrayState& array : machine.arrays) {
        if (!array.members.empty() && standingOf(array) == nullptr) wholeArrays.insert(array.key);
        for (const MemberState& member : array.members) {
            if (member.drive.empty()) continue;
            members.insert(member.drive);
            SeenDrive& drive = drives[member.drive];
            if (drive.state.key.empty()) {
                drive.state.key = member.drive;
                drive.state.name = member.name;
                drive.state.state = member.state;
            }
            const bool works = member.state == "active" || member.state == "rebuilding";
            if (member.state == "spare") drive.work = SeenDrive::Work::kSpare;
            if (works || drive.work == SeenDrive::Work::kUnknown) {
                drive.work = SeenDrive::Work::kMember;
            }
            if (drive.work == SeenDrive::Work::kMember) drive.array = array.key;
        }
    }
    // What was a member of an array that is whole without it has left it.
    for (auto& [key, drive] : drives) {
        if (members.count(key) == 0 && wholeArrays.count(drive.array) != 0) drive.array.clear();
    }
}

void IncidentBook::rememberDrive(const DriveState& state) {
    SeenDrive& drive = drives[state.key];
    drive.state = state;
    if (state.state == "normal" || state.state == "rebuilding") {
        drive.work = SeenDrive::Work::kMember;
        drive.failed = false;
        if (!state.array.empty()) drive.array = state.array;
    } else if (state.state == "spare") {
        drive.work = SeenDrive::Work::kSpare;
        drive.failed = false;
        drive.array.clear();
    } else if (state.state == "unused") {
        // A failed drive that was taken out of its array is unused, and failed all the same.
        drive.work = SeenDrive::Work::kUnused;
        drive.array.clear();
    } else if (!state.array.empty() && drive.work == SeenDrive::Work::kUnknown) {
        drive.work = SeenDrive::Work::kMember;
        drive.array = state.array;
    }
}

// One that is lost is still the one that it was.
void IncidentBook::rememberEnclosure(const EnclosureState& state) {
    const auto isSamePlace = [&state](const EnclosureState& other) {
        return other.adapter == state.adapter && other.channel == state.channel &&
               other.device == state.device;
    };
    auto seen = std::find_if(enclosures.begin(), enclosures.end(), isSamePlace);
    if (seen == enclosures.end()) seen = enclosures.insert(seen, EnclosureState());
    *seen = state;
    seen->elements.clear();
}

IncidentBook::SeenDrive& IncidentBook::seenDrive(const Record& event) {
    SeenDrive& drive = drives[event.object];
    if (drive.state.key.empty()) {
        drive.state.key = event.object;
        drive.state.name = event.objectName;
        drive.state.serial = event.event.extra1;
        drive.state.partNumber = event.event.detail;
        drive.state.adapter = static_cast<int>(event.event.location.controllerID);
    }
    return drive;
}

// Null when it has none, or nobody can tell which.
const ArrayState* IncidentBook::arrayOfDrive(const std::string& key, int adapter) const {
    const auto found = drives.find(key);
    if (found != drives.end()) {
        const SeenDrive& drive = found->second;
        if (!drive.array.empty()) return findByKey(machine.arrays, drive.array);
        if (drive.work == SeenDrive::Work::kSpare || drive.work == SeenDrive::Work::kUnused) {
            return nullptr;
        }
    }
    const ArrayState* only = nullptr;
    for (const ArrayState& array : machine.arrays) {
        if (array.adapter != adapter || !array.members.empty() || standingOf(array) == nullptr) {
            continue;
        }
        if (only != nullptr) return nullptr;
        only = &array;
    }
    return only;
}
