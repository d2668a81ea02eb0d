// What a look at the machine does to the incidents: it closes what no event closed and opens what
// no event told. A look that is older than an incident's last change says nothing about it.
//
// Left alone: arrays and drives that are gone without an event, because their controller may just
// have dropped off the bus, and empty places for fans and supplies, which may always have been so.
#include "agent/incidents/IncidentBook.h"

#include "agent/incidents/IncidentBookCall.h"

namespace {

constexpr char kDrive[] = "drive";
constexpr char kRedundancy[] = "redundancy";
constexpr char kStorage[] = "storage";  // condition, object and name

bool isInOrder(const std::string& state) {
    return state == "normal" || state == "unused" || state == "spare" || state == "rebuilding";
}

// "fan 2" of any name that ends with the number: events count units in the same way.
std::string unitCondition(const ElementState& element) {
    const std::size_t digits = element.name.find_last_not_of("0123456789") + 1;
    return element.kind + " " + element.name.substr(digits);
}

}  // namespace

IncidentBook::Effect IncidentBook::reconcile(const MachineState& state,
                                             const std::vector<Silence>& silences,
                                             std::int64_t now) {
    Call call{silences, now};
    if (state.polledAt == 0) return finished(call);
    remember(state);
    // After a restart: what has failed and has no incident was told in the one of its array.
    for (const DriveState& drive : machine.drives) {
        if (hasHistory && drive.state == "failed") drives[drive.key].failed = true;
    }
    for (const Incident& incident : incidents) {
        if (hasHistory) listDrives(toldOf(incident), incident);
    }
    hasHistory = false;
    for (const ArrayState& array : machine.arrays) reconcileArray(array, call);
    reconcileDrives(call);
    for (const EnclosureState& enclosure : machine.enclosures) reconcileEnclosure(enclosure, call);
    return finished(call);
}

IncidentBook::Effect IncidentBook::follow(const std::string& trouble,
                                          const std::vector<Silence>& silences, std::int64_t now) {
    Call call{silences, now};
    Incident* incident = find(kStorage, kStorage);
    if (trouble.empty()) {
        if (incident != nullptr) resolve(*incident, values::kNormal, nullptr, call);
        return finished(call);
    }
    const Standing& unreadable = *findStanding(kStorage, "unreadable");
    const std::string says = "The storage cannot be read: " + trouble;
    if (incident == nullptr) {
        Incident& opened = openNew({kStorage, kStorage}, unreadable, kStorage, nullptr, call);
        opened.text = says;
        tell(opened, Notice::Kind::kOpened, call);
    } else if (rankOf(*incident) == 0) {
        change(*incident, unreadable, nullptr, call);
        incident->text = says;
    }
    return finished(call);
}

bool IncidentBook::isFresh(const Incident& incident) const {
    return machine.polledAt >= incident.updatedAt;
}

void IncidentBook::reconcileArray(const ArrayState& array, Call& call) {
    const Standing* standing = standingOf(array);
    Incident* incident = find(array.key, kRedundancy);
    if (incident != nullptr) {
        if (!isFresh(*incident)) return;
        if (standing != nullptr) return change(*incident, *standing, nullptr, call);
        if (array.state == "normal" || array.state == "checking") {
            resolve(*incident, values::kNormal, nullptr, call);
        }
        return;
    }
    const auto ended = resolvedAt.find(array.key + " " + kRedundancy);
    const bool isOld = ended != resolvedAt.end() && machine.polledAt < ended->second;
    if (standing == nullptr || isOld) return;
    tell(openNew({array.key, array.name}, *standing, kRedundancy, nullptr, call),
         Notice::Kind::kOpened, call);
}

void IncidentBook::reconcileDrives(Call& call) {
    for (Incident& incident : incidents) {
        if (!incident.open || incident.condition != kDrive || !isFresh(incident)) continue;
        const DriveState* drive = findByKey(machine.drives, incident.object);
        if (drive == nullptr) {
            for (const DriveState& other : machine.drives) {
                if (other.name != incident.objectName) continue;
                resolve(incident, values::kReplaced, nullptr, call);
                break;
            }
        } else if (drive->state == "failed" || (drive->predicted && isInOrder(drive->state))) {
            const char* value = drive->state == "failed" ? "failed" : "predicted";
            change(incident, *findStanding(kDrive, value), nullptr, call);
        } else if (isInOrder(drive->state)) {
            resolve(incident, values::kNormal, nullptr, call);
        }
    }
    for (const DriveState& drive : machine.drives) reconcileNewDrive(drive, call);
}

void IncidentBook::reconcileNewDrive(const DriveState& drive, Call& call) {
    const bool hasFailed = drive.state == "failed";
    if ((!hasFailed && !drive.predicted) || find(drive.key, kDrive) != nullptr) return;
    SeenDrive& seen = drives[drive.key];
    if (seen.failed) return;
    seen.failed = hasFailed;
    if (hasFailed && arrayOfDrive(drive.key, drive.adapter) != nullptr) return;  // it tells
    const Standing& standing = *findStanding(kDrive, hasFailed ? "failed" : "predicted");
    tell(openNew({drive.key, drive.name}, standing, kDrive, nullptr, call), Notice::Kind::kOpened,
         call);
}

void IncidentBook::reconcileEnclosure(const EnclosureState& enclosure, Call& call) {
    Incident* lost = find(enclosure.key, "enclosure");
    const bool answers = enclosure.state == "normal" || enclosure.state == "degraded";
    if (lost != nullptr && answers && isFresh(*lost)) {
        resolve(*lost, values::kNormal, nullptr, call);
    }
    bool isHot = false;
    bool hasSensor = false;
    for (const ElementState& element : enclosure.elements) {
        if (element.kind == "temperature") {
            hasSensor = hasSensor || element.state == "normal";
            isHot = isHot || element.state == "too hot";
        } else if (element.kind == "fan" || element.kind == "supply") {
            reconcileUnit(enclosure, unitCondition(element), element.state, call);
        }
    }
    if (isHot) {
        reconcileUnit(enclosure, "temperature", "too hot", call);
    } else if (hasSensor) {
        reconcileUnit(enclosure, "temperature", "normal", call);
    }
}

void IncidentBook::reconcileUnit(const EnclosureState& enclosure, const std::string& condition,
                                 const std::string& value, Call& call) {
    const Standing* standing = findStanding(condition, value);
    Incident* incident = find(enclosure.key, condition);
    if (incident != nullptr) {
        if (!isFresh(*incident)) return;
        if (standing != nullptr) return change(*incident, *standing, nullptr, call);
        if (value == "normal") resolve(*incident, values::kNormal, nullptr, call);
        return;
    }
    const auto ended = resolvedAt.find(enclosure.key + " " + condition);
    const bool isOld = ended != resolvedAt.end() && machine.polledAt < ended->second;
    if (standing == nullptr || isOld || value == "missing") return;
    tell(openNew({enclosure.key, enclosure.name}, *standing, condition, nullptr, call),
         Notice::Kind::kOpened, call);
}
