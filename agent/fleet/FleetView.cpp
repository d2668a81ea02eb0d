#include "agent/fleet/FleetView.h"

#include <algorithm>
#include <climits>
#include <functional>

#include <nlohmann/json.hpp>

#include "agent/Duration.h"
#include "agent/EventJson.h"
#include "agent/JsonFields.h"
#include "agent/fleet/FleetNames.h"
#include "agent/fleet/FleetPresence.h"
#include "agent/incidents/IncidentRules.h"
#include "agent/spool/RecordJson.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t kOldestPoll = 300;  // what an agent itself calls too old, unless configured
constexpr std::size_t kLongestId = 120;

// What an account may send under is its own subject, PREFIX.MACHINE.KIND.SEVERITY; what the record
// says may be anything.
bool isFrom(const std::string& subject, const std::string& machine) {
    std::size_t end = subject.rfind('.');
    if (end != std::string::npos && end > 0) end = subject.rfind('.', end - 1);
    return end != std::string::npos && end >= machine.size() &&
           subject.compare(end - machine.size(), machine.size(), machine) == 0;
}

bool isDriveFailure(const Record& record) {
    if (record.kind != Record::Kind::kEvent) return false;
    if (record.origin != Origin::kLive && record.origin != Origin::kAtStart) return false;
    const std::vector<const EventRule*> rules = rulesOf(record.event.eventCode);
    return std::any_of(rules.begin(), rules.end(), [](const EventRule* rule) {
        return rule->kind == EventRule::Kind::kOpens && rule->condition == std::string("drive") &&
               rule->value == std::string("failed");
    });
}

// Who is looked at first. A machine that we know nothing of may be worse than one with a warning.
int rankOf(Verdict::Level level) {
    switch (level) {
        case Verdict::kCritical:
            return 0;
        case Verdict::kUnknown:
            return 1;
        case Verdict::kWarning:
            return 2;
        case Verdict::kOk:
            break;
    }
    return 3;
}

// Deeper is worse, whatever the time; at the same depth the longer one.
bool isMoreExposed(int survives, std::int64_t since, int otherSurvives, std::int64_t otherSince) {
    const auto depth = [](int number) { return number < 0 ? INT_MAX : number; };
    if (depth(survives) != depth(otherSurvives)) return depth(survives) < depth(otherSurvives);
    const auto start = [](std::int64_t time) { return time == 0 ? INT64_MAX : time; };
    return start(since) < start(otherSince);
}

bool isWorse(const FleetView::Machine& a, const FleetView::Machine& b) {
    if (rankOf(a.level) != rankOf(b.level)) return rankOf(a.level) < rankOf(b.level);
    if (isMoreExposed(a.survives, a.exposedSince, b.survives, b.exposedSince)) return true;
    if (isMoreExposed(b.survives, b.exposedSince, a.survives, a.exposedSince)) return false;
    if (a.silent != b.silent) return a.silent;
    if (a.silent && a.heardAt != b.heardAt) return a.heardAt < b.heardAt;
    return std::tie(a.host, a.id) < std::tie(b.host, b.id);
}

}  // namespace

void FleetView::addSummary(const std::string& machine, const FleetSummary& summary) {
    Known& known = all[machine];
    known.summary = summary;
    known.hasSummary = true;
}

void FleetView::addBeat(const FleetBeat& beat) { all[beat.machine].beat = beat; }

void FleetView::addRival(const FleetBeat& rival) { all[rival.machine].rivals.push_back(rival); }

FleetView::Arrival FleetView::addMessage(const FleetLink::StreamMessage& message) {
    Json json = shallowJson(message.body);
    const std::string id = textOf(json, "id");
    const std::string machine = id.substr(0, std::min(id.find(':'), id.size()));
    if (!FleetNames::isMachineId(machine) || id.size() > kLongestId ||
        !isFrom(message.subject, machine) || !json.contains("data") || !json["data"].is_object()) {
        return Arrival::kNothing;
    }
    Json& data = json["data"];
    const std::string host = shortTextOf(data, "host");
    const Json drive = data.value("drive", Json::object());
    // What the sender adds may be known at one time and not at another.
    data.erase("host");
    data.erase("drive");
    const FleetSeen::What what = seen.add(id, std::hash<std::string>()(jsonLine(data)));
    if (what == FleetSeen::kRepeat) return Arrival::kRepeat;
    Known& known = all[machine];
    if (what == FleetSeen::kOther) known.twoUnderOneId = true;
    if (!host.empty()) known.saidHost = host;

    const Record record = recordFromObject(json);
    if (isDriveFailure(record)) {
        addFailure(machine, record,
                   {shortTextOf(drive, "vendor"), shortTextOf(drive, "model"),
                    shortTextOf(drive, "firmware")},
                   shortTextOf(drive, "serial"), message.at / 1000);
    }
    return what == FleetSeen::kOther ? Arrival::kConflict : Arrival::kNew;
}

void FleetView::addFailure(const std::string& machine, const Record& record,
                           const FleetFailures::Kind& kind, std::string serial,
                           std::int64_t storedAt) {
    if (serial.empty()) serial = machine + " " + record.object;
    // By the machine's own clock, but nothing is stored before it has happened.
    std::int64_t at = record.event.timeStamp;
    if (storedAt != 0) at = std::min(at, storedAt);
    failedDrives.add(machine, kind, serial, at);
}

std::string FleetView::hostOf(const std::string& machine) const {
    const auto found = all.find(machine);
    if (found == all.end()) return machine;
    for (const std::string& name : {found->second.beat.host, found->second.summary.host}) {
        if (!name.empty()) return name;
    }
    return found->second.saidHost.empty() ? machine : found->second.saidHost;
}

FleetView::Machine FleetView::judged(const std::string& id, const Known& known, std::int64_t now,
                                     std::int64_t silentAfter) const {
    Machine machine;
    machine.id = id;
    machine.host = hostOf(id);
    machine.heardAt = known.beat.at / 1000;
    machine.polledAt = known.beat.polledAt;
    machine.silent = now - machine.heardAt > silentAfter;
    machine.level = known.summary.level;
    machine.sentence = known.hasSummary ? known.summary.sentence : "it has not said how it stands";
    for (const FleetSummary::Array& array : known.summary.arrays) {
        if (!array.isExposed() || !isMoreExposed(array.survives, array.exposedSince,
                                                 machine.survives, machine.exposedSince)) {
            continue;
        }
        machine.survives = array.survives;
        machine.exposedSince = array.exposedSince;
    }
    for (const FleetBeat& rival : known.rivals) {
        if (!FleetPresence::isAlive(rival, now * 1000)) continue;
        machine.conflict = FleetPresence::conflictText(rival, id);
    }
    if (machine.conflict.empty() && known.twoUnderOneId) {
        machine.conflict = "two machines share the id " + id + ": it names two different events";
    }

    // What a machine said last counts until somebody knows better; it is never better than unknown.
    const std::string why = reasonToDoubt(machine, now);
    if (why.empty()) return machine;
    if (rankOf(machine.level) > rankOf(Verdict::kUnknown)) machine.level = Verdict::kUnknown;
    machine.sentence = why + "; last: " + machine.sentence;
    return machine;
}

std::string FleetView::reasonToDoubt(const Machine& machine, std::int64_t now) {
    const std::int64_t age = now - machine.polledAt;
    if (machine.silent) {
        return machine.heardAt == 0 ? "not heard for days"
                                    : "silent for " + durationText(now - machine.heardAt);
    }
    if (age > kOldestPoll) {
        return machine.polledAt == 0 ? "has not looked at its storage yet"
                                     : "its last look is " + durationText(age) + " old";
    }
    // However old it is, such a look would never become too old.
    if (age < -kOldestPoll) return "its clock is ahead by " + durationText(-age);
    return machine.conflict.empty() ? "" : "its id is used twice";
}

std::vector<FleetView::Machine> FleetView::machines(std::int64_t now,
                                                    std::int64_t silentAfter) const {
    std::vector<Machine> list;
    for (const auto& [id, known] : all) list.push_back(judged(id, known, now, silentAfter));
    std::sort(list.begin(), list.end(), isWorse);
    return list;
}

std::vector<FleetView::Exposure> FleetView::exposures() const {
    std::vector<Exposure> list;
    for (const auto& [id, known] : all) {
        for (const FleetSummary::Array& array : known.summary.arrays) {
            if (array.isExposed()) list.push_back({id, hostOf(id), array});
        }
    }
    std::stable_sort(list.begin(), list.end(), [](const Exposure& a, const Exposure& b) {
        return isMoreExposed(a.array.survives, a.array.exposedSince, b.array.survives,
                             b.array.exposedSince);
    });
    return list;
}

std::vector<FleetView::Failures> FleetView::failures(std::int64_t since, int least) const {
    std::map<FleetFailures::Kind, std::int64_t> inUse;
    for (const auto& [id, known] : all) {
        for (const FleetSummary::Model& model : known.summary.models) {
            inUse[{model.vendor, model.model, model.firmware}] += model.drives;
        }
    }
    return failedDrives.list(since, least, inUse);
}

FleetView::Counts FleetView::count(const std::vector<Machine>& machines) {
    Counts counts;
    for (const Machine& machine : machines) {
        ++counts.machines;
        if (machine.silent) ++counts.silent;
        if (!machine.conflict.empty()) ++counts.conflicts;
        switch (machine.level) {
            case Verdict::kOk:
                ++counts.ok;
                break;
            case Verdict::kWarning:
                ++counts.warning;
                break;
            case Verdict::kCritical:
                ++counts.critical;
                break;
            case Verdict::kUnknown:
                ++counts.unknown;
                break;
        }
    }
    return counts;
}

Verdict::Level FleetView::worst(const Counts& counts) {
    if (counts.critical > 0) return Verdict::kCritical;
    if (counts.unknown > 0 || counts.machines == 0) return Verdict::kUnknown;
    return counts.warning > 0 ? Verdict::kWarning : Verdict::kOk;
}
