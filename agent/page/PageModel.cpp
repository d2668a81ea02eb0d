#include "agent/page/PageModel.h"

#include <algorithm>
#include <tuple>

#include "agent/incidents/IncidentRules.h"
#include "agent/page/StateLook.h"

namespace {

std::vector<Incident> openOnes(const std::vector<Incident>& incidents) {
    std::vector<Incident> open;
    for (const Incident& incident : incidents) {
        if (incident.open) open.push_back(incident);
    }
    return open;
}

template <class Kind>
std::unordered_map<std::string_view, const Kind*> byKey(const std::vector<Kind>& list) {
    std::unordered_map<std::string_view, const Kind*> index;
    index.reserve(list.size());
    for (const Kind& each : list) index.emplace(each.key, &each);
    return index;
}

template <class Kind>
const Kind* findIn(const std::unordered_map<std::string_view, const Kind*>& index,
                   std::string_view key) {
    const auto found = index.find(key);
    return found == index.end() ? nullptr : found->second;
}

bool lacksRedundancy(const ArrayState& array) {
    return toneOfArray(array) == Tone::kBad || toneOfArray(array) == Tone::kWarn;
}

bool isLost(const ArrayState& array) { return array.state == "failed" || array.state == "offline"; }

// Smaller is worse; what is in order keeps its place.
auto badness(const ArrayState& array) {
    return std::make_tuple(rankOfArray(array), lacksRedundancy(array) ? array.survives : 0);
}

auto placeIn(const DriveState* drive) {
    return std::make_tuple(drive->slot < 0, drive->slot, drive->adapter, drive->channel,
                           drive->device);
}

}  // namespace

PageModel::PageModel(const PageInput& inputIN, const EventReference& referenceIN)
    : input(inputIN),
      reference(referenceIN),
      judged(::verdict(input.state, openOnes(input.incidents), input.now, input.staleAfter)),
      arraysByKey(byKey(input.state.arrays)),
      drivesByKey(byKey(input.state.drives)),
      enclosuresByKey(byKey(input.state.enclosures)),
      controllersByKey(byKey(input.state.controllers)) {
    for (const ArrayState& each : input.state.arrays) {
        worstFirst.push_back(&each);
        if (lacksRedundancy(each)) threatenedAdapters.insert(each.adapter);
    }
    std::stable_sort(
        worstFirst.begin(), worstFirst.end(),
        [](const ArrayState* a, const ArrayState* b) { return badness(*a) < badness(*b); });
    indexDrives();
}

void PageModel::indexDrives() {
    for (const DriveState& each : input.state.drives) {
        drivesByEnclosure[each.enclosure].push_back(&each);
    }
    for (auto& [key, drives] : drivesByEnclosure) {
        std::stable_sort(
            drives.begin(), drives.end(),
            [](const DriveState* a, const DriveState* b) { return placeIn(a) < placeIn(b); });
    }
}

const ArrayState* PageModel::array(std::string_view key) const { return findIn(arraysByKey, key); }

const DriveState* PageModel::drive(std::string_view key) const { return findIn(drivesByKey, key); }

const EnclosureState* PageModel::enclosure(std::string_view key) const {
    return findIn(enclosuresByKey, key);
}

const ControllerState* PageModel::controller(std::string_view key) const {
    return findIn(controllersByKey, key);
}

bool PageModel::knows(std::string_view key) const {
    return array(key) != nullptr || drive(key) != nullptr || enclosure(key) != nullptr ||
           controller(key) != nullptr;
}

const std::vector<const DriveState*>& PageModel::drivesIn(std::string_view enclosure) const {
    static const std::vector<const DriveState*> none;
    const auto found = drivesByEnclosure.find(enclosure);
    return found == drivesByEnclosure.end() ? none : found->second;
}

// Where nobody knows which array a drive works for, any array of its controller may be it.
bool PageModel::isThreatened(const DriveState& drive) const {
    const ArrayState* own = array(drive.array);
    if (own != nullptr) return lacksRedundancy(*own);
    const bool works = drive.state == "normal" || drive.state == "rebuilding";
    return works && threatenedAdapters.count(drive.adapter) != 0;
}

PageModel::Mark PageModel::markOf(const DriveState& drive) const {
    // A picture of the past is no reason to pull anything.
    if (isStale() || drive.state == "missing") return Mark::kNone;
    const ArrayState* own = array(drive.array);
    if (drive.state == "failed") {
        // What is left of a lost array may be needed to bring it back.
        const bool lost = own != nullptr && isLost(*own);
        return lost ? Mark::kKeep : Mark::kPull;
    }
    if (drive.state == "unused" || drive.state == "spare") {
        return drive.predicted ? Mark::kReplace : Mark::kNone;
    }
    if (isThreatened(drive)) return Mark::kKeep;
    if (!drive.predicted) return Mark::kNone;
    return own != nullptr && own->survives > 0 ? Mark::kReplace : Mark::kKeep;
}

std::vector<const Incident*> PageModel::openIncidents() const {
    std::vector<const Incident*> found;
    for (const Incident& incident : input.incidents) {
        // What is well again stays open for a while, to see whether it comes back.
        if (!incident.open || findStanding(incident.condition, incident.value) == nullptr) continue;
        found.push_back(&incident);
    }
    std::stable_sort(found.begin(), found.end(), [](const Incident* a, const Incident* b) {
        return std::make_tuple(a->severity, -a->openedAt) <
               std::make_tuple(b->severity, -b->openedAt);
    });
    return found;
}

std::vector<const Incident*> PageModel::endedIncidents() const {
    std::vector<const Incident*> found;
    for (const Incident& incident : input.incidents) {
        const bool over =
            !incident.open || findStanding(incident.condition, incident.value) == nullptr;
        if (over) found.push_back(&incident);
    }
    std::stable_sort(found.begin(), found.end(), [](const Incident* a, const Incident* b) {
        return a->resolvedAt > b->resolvedAt;
    });
    return found;
}

const EventReference::Entry* PageModel::explanation(int code) const {
    if (code == 0) return nullptr;
    const auto found = reference.find(std::to_string(code));
    return found.empty() ? nullptr : found.front();
}
