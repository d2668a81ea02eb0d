#include "agent/state/Verdict.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "agent/ElapsedText.h"
#include "agent/SafeText.h"
#include "events/EnumEventType.h"

namespace {

constexpr const char* kWords[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};

// One thing that is not as it should be.
struct Finding {
    Verdict::Level level;
    std::string words;
    std::string object;  // key, to find out whether somebody knows of it
};

Verdict::Level levelOf(const ArrayState& array) {
    if (array.state == "failed" || array.state == "offline") return Verdict::kCritical;
    if (array.state == "degraded" || array.state == "rebuilding") {
        return array.survives == 0 ? Verdict::kCritical : Verdict::kWarning;
    }
    return array.state == "unknown" ? Verdict::kWarning : Verdict::kOk;
}

std::string wordsOf(const ArrayState& array) {
    std::string words = safeText(array.name);
    if (array.state == "failed") return words + " has failed, its data cannot be reached";
    if (array.state == "offline") return words + " is offline, its data cannot be reached";
    if (array.state == "unknown") return words + " is in a state that is not known";
    words += " " + array.state;
    if (array.survives == 0) words += ", survives no further drive failure";
    if (array.survives > 0) {
        words += ", survives " + std::to_string(array.survives) + " more drive failure" +
                 (array.survives == 1 ? "" : "s");
    }
    if (array.task.kind.empty() || array.task.waiting) return words;
    words +=
        ", " + array.task.kind + " " + std::to_string(static_cast<int>(array.task.percent)) + " %";
    if (array.task.secondsLeft >= 0) {
        words += ", about " + elapsedText(array.task.secondsLeft) + " left";
    }
    return words;
}

std::string nameOf(const DriveState& drive) {
    std::string name = safeText(drive.slotName.empty() ? drive.name : drive.slotName);
    if (!drive.serial.empty()) name += " (" + safeText(drive.serial) + ")";
    return name;
}

// What an array says already need not be said of its drives.
bool isTold(const MachineState& state, const DriveState& drive) {
    const ArrayState* array = state.findArray(drive.array);
    return array != nullptr && levelOf(*array) != Verdict::kOk;
}

void addArrays(const MachineState& state, std::vector<Finding>& found) {
    for (const ArrayState& array : state.arrays) {
        const Verdict::Level level = levelOf(array);
        if (level != Verdict::kOk) found.push_back({level, wordsOf(array), array.key});
    }
}

void addDrives(const MachineState& state, std::vector<Finding>& found) {
    for (const DriveState& drive : state.drives) {
        if (drive.state == "failed" && !isTold(state, drive)) {
            found.push_back({Verdict::kWarning, nameOf(drive) + " has failed", drive.key});
        } else if (drive.predicted && drive.state != "failed") {
            found.push_back(
                {Verdict::kWarning, nameOf(drive) + " foretells its failure", drive.key});
        }
    }
}

void addTheRest(const MachineState& state, std::vector<Finding>& found) {
    for (const EnclosureState& enclosure : state.enclosures) {
        for (const ElementState& element : enclosure.elements) {
            if (element.state != "failed" && element.state != "too hot") continue;
            const char* const verb = element.state == "failed" ? " has " : " is ";
            found.push_back(
                {Verdict::kWarning,
                 safeText(element.name) + " of " + safeText(enclosure.name) + verb + element.state,
                 enclosure.key});
        }
    }
    for (const ControllerState& controller : state.controllers) {
        const std::string name = "controller " + std::to_string(controller.number);
        if (controller.state == "failed") {
            found.push_back({Verdict::kCritical, name + " has failed", controller.key});
        }
        if (controller.battery == "low") {
            found.push_back(
                {Verdict::kWarning, "the battery of " + name + " is low", controller.key});
        }
    }
}

// Open incidents about what no state shows: a controller that is gone, bad blocks.
void addIncidents(const std::vector<Incident>& open, std::vector<Finding>& found) {
    for (const Incident& incident : open) {
        const bool known = std::any_of(found.begin(), found.end(), [&](const Finding& each) {
            return each.object == incident.object ||
                   incident.object.compare(0, each.object.size() + 1, each.object + "/") == 0;
        });
        if (known || incident.severity > kEventWarning || incident.severity <= 0) continue;
        const Verdict::Level level =
            incident.severity == kEventError ? Verdict::kCritical : Verdict::kWarning;
        found.push_back({level, safeText(incident.objectName) + " " + safeText(incident.value),
                         incident.object});
    }
}

bool isAcknowledged(const std::vector<Incident>& open, const Finding& finding) {
    return std::any_of(open.begin(), open.end(), [&](const Incident& incident) {
        return incident.object == finding.object && incident.acknowledged();
    });
}

std::string plural(std::size_t count, const char* word) {
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

std::string allIsWell(const MachineState& state) {
    if (state.arrays.empty()) {
        return "no arrays, " + plural(state.drives.size(), "drive") + ", nothing is wrong";
    }
    const auto checking = static_cast<std::size_t>(
        std::count_if(state.arrays.begin(), state.arrays.end(),
                      [](const ArrayState& array) { return array.state == "checking"; }));
    std::string words = plural(state.arrays.size(), "array") + " and " +
                        plural(state.drives.size(), "drive") + " in order";
    if (checking > 0) words += ", " + plural(checking, "array") + " being checked";
    return words;
}

std::string sentenceOf(const std::vector<Finding>& found, const std::vector<Incident>& open) {
    constexpr std::size_t kMost = 3;  // more than that nobody reads
    std::string words;
    for (std::size_t i = 0; i < std::min(kMost, found.size()); ++i) {
        if (i > 0) words += "; ";
        words += found[i].words;
        if (isAcknowledged(open, found[i])) words += " (acknowledged)";
    }
    if (found.size() > kMost) words += "; and " + std::to_string(found.size() - kMost) + " more";
    return words;
}

}  // namespace

std::string Verdict::word() const {
    const auto index = static_cast<std::size_t>(level);
    return index < std::size(kWords) ? kWords[index] : kWords[kUnknown];
}

Verdict verdict(const MachineState& state, const std::vector<Incident>& open, std::int64_t now,
                std::int64_t staleAfter) {
    Verdict result;
    if (state.polledAt == 0) {
        result.sentence = "nobody has looked at the storage yet";
        return result;
    }
    if (now - state.polledAt > staleAfter) {
        result.sentence = "the last look at the storage is " + elapsedText(now - state.polledAt) +
                          " old, nothing is known about now";
        return result;
    }
    std::vector<Finding> found;
    addArrays(state, found);
    addDrives(state, found);
    addTheRest(state, found);
    addIncidents(open, found);
    std::stable_sort(found.begin(), found.end(),
                     [](const Finding& a, const Finding& b) { return a.level > b.level; });
    result.level = found.empty() ? Verdict::kOk : found.front().level;
    result.sentence = found.empty() ? allIsWell(state) : sentenceOf(found, open);
    return result;
}
