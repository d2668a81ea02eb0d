#include "agent/state/Verdict.h"

#include <algorithm>
#include <cstdio>

#include "agent/Duration.h"
#include "agent/SafeText.h"
#include "agent/Wording.h"
#include "agent/incidents/IncidentRules.h"
#include "agent/incidents/NoticeText.h"
#include "agent/incidents/Redundancy.h"
#include "agent/state/Trouble.h"

namespace {

// One thing that is wrong.
struct Problem {
    Verdict::Level level;
    std::string kind;    // counted with others of its kind: "array degraded"
    std::string detail;  // raw
    bool acknowledged;
};

const Incident* incidentOf(const std::vector<Incident>& open, const std::string& object,
                           const std::string& condition) {
    for (const Incident& incident : open) {
        if (incident.object == object && incident.condition == condition) return &incident;
    }
    return nullptr;
}

bool isAcknowledged(const std::vector<Incident>& open, const std::string& object,
                    const std::string& condition) {
    const Incident* incident = incidentOf(open, object, condition);
    return incident != nullptr && incident->acknowledged();
}

std::string taskText(const TaskState& task) {
    if (task.kind.empty()) return "";
    char percent[16];
    std::snprintf(percent, sizeof percent, "%.0f", task.percent);
    std::string text = ", " + task.kind + " " + percent + " %";
    if (task.secondsLeft >= 0) text += ", about " + durationText(task.secondsLeft) + " left";
    return text;
}

void addArray(const ArrayState& array, const std::vector<Incident>& open,
              std::vector<Problem>& problems) {
    const bool known = isAcknowledged(open, array.key, "redundancy");
    if (array.state == "failed" || array.state == "offline") {
        problems.push_back(
            {Verdict::kCritical, "array offline", array.name + " cannot be reached", known});
        return;
    }
    const bool isRebuilding = array.state == "rebuilding";
    if (!isRebuilding && array.state != "degraded") return;
    const std::string left = survivesText(array.survives);
    problems.push_back({isRebuilding ? Verdict::kWarning : Verdict::kCritical,
                        isRebuilding ? "array rebuilding" : "array degraded",
                        array.name + (left.empty() ? "" : " " + left) + taskText(array.task),
                        known});
}

void addDrive(const DriveState& drive, const std::vector<Incident>& open,
              std::vector<Problem>& problems) {
    const bool hasFailed = drive.state == "failed";
    if (!hasFailed && !drive.predicted) return;
    const Incident* own = incidentOf(open, drive.key, "drive");
    if (own != nullptr && findStanding(own->condition, own->value) != nullptr) return;  // it counts
    std::string detail = drive.name;
    if (!drive.serial.empty()) detail += ", serial " + drive.serial;
    problems.push_back({Verdict::kWarning, hasFailed ? "drive failed" : "drive failing", detail,
                        isAcknowledged(open, drive.array, "redundancy")});
}

// What the machine's state shows by itself is counted there.
void addIncident(const Incident& incident, const MachineState& state,
                 std::vector<Problem>& problems) {
    const Standing* standing = findStanding(incident.condition, incident.value);
    if (standing == nullptr) return;  // over, and being watched for a while
    if (incident.condition == "redundancy") {
        for (const ArrayState& array : state.arrays) {
            if (array.key == incident.object) return;
        }
    }
    std::string word = standing->word;
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    problems.push_back({incident.severity == kEventError ? Verdict::kCritical : Verdict::kWarning,
                        "other problem", NoticeText::subjectOf(incident) + ": " + word,
                        incident.acknowledged()});
}

std::string plural(const std::string& kind) {
    const std::size_t blank = kind.find(' ');
    if (kind == "other problem") return "other problems";
    return kind.substr(0, blank) + "s" + kind.substr(blank);
}

// The worst kind with its first detail, the rest as numbers.
std::string sentenceOf(const std::vector<Problem>& problems) {
    std::string text;
    std::vector<std::string> seen;
    for (const Problem& problem : problems) {
        if (std::find(seen.begin(), seen.end(), problem.kind) != seen.end()) continue;
        seen.push_back(problem.kind);
        const auto count = static_cast<std::size_t>(
            std::count_if(problems.begin(), problems.end(),
                          [&](const Problem& other) { return other.kind == problem.kind; }));
        const bool isOnlyKind = text.empty() && problem.kind == "other problem";
        if (!text.empty()) text += "; ";
        text += isOnlyKind ? counted(count, "problem")
                           : counted(count, problem.kind, plural(problem.kind));
        if (seen.size() == 1 || count == 1) text += ": " + problem.detail;
        if (seen.size() == 1 && count > 1) text += ", and " + std::to_string(count - 1) + " more";
    }
    return text;
}

std::string wellText(const MachineState& state) {
    const std::size_t arrays = state.arrays.size();
    const std::size_t drives = state.drives.size();
    std::string text;
    if (arrays > 0) text = counted(arrays, "array");
    if (arrays > 0 && drives > 0) text += " and ";
    if (drives > 0) text += counted(drives, "drive");
    if (text.empty()) {
        return counted(state.controllers.size(), "controller") +
               " in order, without arrays or drives";
    }
    return (arrays + drives > 1 ? "all " : "") + text +
           (arrays + drives > 1 ? " are in order" : " is in order");
}

bool isEmpty(const MachineState& state) {
    return state.arrays.empty() && state.drives.empty() && state.enclosures.empty() &&
           state.controllers.empty();
}

std::string unknownText(const MachineState& state, std::int64_t now, std::int64_t staleAfter) {
    if (state.polledAt == 0) return "nothing is known: no poll has completed yet";
    const std::int64_t age = now - state.polledAt;
    if (age > staleAfter) {
        return "nothing is known: the last completed poll is " + durationText(age) +
               " old; check that raidwatch runs";
    }
    if (age < -staleAfter) {
        return "nothing is known: the last poll is dated " + durationText(-age) +
               " from now; check the clock";
    }
    return "";
}

}  // namespace

Verdict verdict(const MachineState& state, const std::vector<Incident>& open, std::int64_t now,
                std::int64_t staleAfter) {
    Verdict result;
    result.sentence = unknownText(state, now, staleAfter);
    if (!result.sentence.empty()) return result;

    std::vector<Problem> problems;
    for (const ArrayState* array : worstFirst(state.arrays)) addArray(*array, open, problems);
    for (const DriveState& drive : state.drives) addDrive(drive, open, problems);
    for (const Incident& incident : open) addIncident(incident, state, problems);
    if (problems.empty() && isEmpty(state)) {
        result.sentence = "nothing to watch: no controllers, arrays or drives were found";
        return result;
    }
    std::stable_sort(problems.begin(), problems.end(),
                     [](const Problem& a, const Problem& b) { return a.level > b.level; });
    result.level = problems.empty() ? Verdict::kOk : problems.front().level;
    result.acknowledged =
        !problems.empty() && std::all_of(problems.begin(), problems.end(),
                                         [](const Problem& each) { return each.acknowledged; });
    result.sentence = safeText(
        problems.empty() ? wellText(state)
                         : sentenceOf(problems) + (result.acknowledged ? " (acknowledged)" : ""));
    return result;
}

const char* levelWord(Verdict::Level level) {
    constexpr const char* kWords[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
    return kWords[level];
}
