// IncidentRules: what every event does to the incidents, as tables.
//
// A standing is one way in which something can be wrong: the value of a condition, how bad it is
// among the values of that condition, and the words for it. A rule says which standing an event
// brings about, or what else it does. Rows of one code are tried in order: the first one that takes
// hold ends it, but resolving rows all count.
//
//   for (const EventRule& rule : kEventRules) if (rule.code == event.eventCode) ...
//
// What happens once and has no end (a bad block, events that were lost) is told once. Such an
// incident ends by itself when nothing of the kind was heard for kToldOnceSeconds, quietly; an
// event that repairs it ends it at once.
//
// Pure data; any thread.
#ifndef AGENT_INCIDENTS_INCIDENTRULES_H
#define AGENT_INCIDENTS_INCIDENTRULES_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/incidents/Incident.h"
#include "events/EnumEventType.h"

constexpr std::int64_t kToldOnceSeconds = 86400;

struct Standing {
    const char* condition;  // "redundancy", ...; of units without their number: "fan", "supply"
    const char* value;
    int rank;            // of badness among the values of its condition; 0: all is well
    int severity;        // EnumEventType
    const char* word;    // how a subject begins: "DEGRADED"
    const char* says;    // how it goes on: "too hot"; "" when the word says it all
    bool toldOnce;       // has no end of its own
    bool onePerMachine;  // the first object speaks for all others
};

namespace values {
inline constexpr char kNormal[] = "normal";
inline constexpr char kDeleted[] = "deleted";
inline constexpr char kReplaced[] = "replaced";
}  // namespace values

// clang-format off
inline constexpr Standing kStandings[] = {
    // An array. Rebuilding is better than waiting for somebody to act.
    {"redundancy",     "rebuilding",  1, kEventWarning, "REBUILDING",       "", false, false},
    {"redundancy",     "degraded",    2, kEventWarning, "DEGRADED",         "", false, false},
    {"redundancy",     "offline",     3, kEventError,   "OFFLINE",          "its data cannot be reached", false, false},
    {"access",         "blocked",     1, kEventError,   "BLOCKED",          "unblock it to reach its data", false, false},
    {"initialization", "failed",      1, kEventError,   "INIT FAILED",      "initialization failed", true, false},
    {"synchronization","failed",      1, kEventError,   "SYNC FAILED",      "synchronization failed", true, false},
    {"rebuild",        "failed",      1, kEventError,   "REBUILD FAILED",   "the rebuild failed", true, false},
    // A drive that belongs to no array, or of which nobody knows. "removed": it did no work.
    {"drive",          "predicted",   1, kEventWarning, "FAILURE PREDICTED", "replace it soon", false, false},
    {"drive",          "removed",     2, kEventWarning, "REMOVED",          "it belonged to no array", true, false},
    {"drive",          "missing",     3, kEventError,   "MISSING",          "it is gone", false, false},
    {"drive",          "failed",      4, kEventError,   "FAILED",           "replace it", false, false},
    {"medium",         "bad block",   1, kEventWarning, "BAD BLOCK",        "a bad block was found", true, false},
    // Whoever runs drives of another make has many of them: one message is enough.
    {"support",        "unsupported", 1, kEventWarning, "UNSUPPORTED",      "drives of an unsupported vendor", true, true},
    // A controller.
    {"controller",     "failed",      1, kEventError,   "FAILED",           "failed or no longer responding", false, false},
    {"battery",        "low",         1, kEventWarning, "BATTERY LOW",      "the write cache is not protected", false, false},
    {"battery",        "new",         2, kEventError,   "NEW BATTERY",      "initialize it", false, false},
    {"battery heat",   "too hot",     1, kEventWarning, "BATTERY TOO HOT",  "check the cooling", false, false},
    {"heat",           "too hot",     1, kEventWarning, "TOO HOT",          "check the cooling", true, false},
    {"versions",       "mismatch",    1, kEventWarning, "VERSION MISMATCH", "its versions do not belong together", true, false},
    {"stripes",        "bad",         1, kEventWarning, "BAD STRIPES",      "data of an array is in doubt", true, false},
    // An enclosure.
    {"enclosure",      "lost",        1, kEventError,   "LOST",             "it no longer answers", false, false},
    {"fan",            "missing",     1, kEventError,   "MISSING",          "it was taken out", false, false},
    {"fan",            "failed",      2, kEventError,   "FAILED",           "replace it", false, false},
    {"supply",         "missing",     1, kEventError,   "MISSING",          "it was taken out", false, false},
    {"supply",         "failed",      2, kEventError,   "FAILED",           "replace it", false, false},
    {"temperature",    "too hot",     1, kEventError,   "TEMPERATURE",      "out of range", false, false},
    // The monitor itself, and events that no row knows.
    {"storage",        "unreadable",  1, kEventError,   "UNREADABLE",       "nothing is known about it", false, false},
    {"queue",          "overrun",     1, kEventWarning, "EVENTS LOST",      "more events than could be kept", true, true},
    {"event",          "error",       2, kEventError,   "ERROR",            "", true, false},
    {"event",          "warning",     1, kEventWarning, "WARNING",          "", true, false},
};
// clang-format on

struct EventRule {
    enum class Kind {
        kOpens,      // or changes what is open
        kUpdates,    // only what is open
        kResolves,   // what is open; `value` says how it ended
        kToldOnce,   // opens what has no end
        kCompanion,  // belongs to what another event opened
        kProgress,   // moves bars, not people
        kIgnored,    // recorded, nothing else
    };

    int code;  // QELEvent::eventCode
    Kind kind;
    const char* condition = "";
    const char* value = "";
};

// clang-format off
inline constexpr EventRule kEventRules[] = {
    {200, EventRule::Kind::kToldOnce,  "queue", "overrun"},
    {201, EventRule::Kind::kIgnored},
    {202, EventRule::Kind::kOpens,     "controller", "failed"},
    {203, EventRule::Kind::kOpens,     "battery", "new"},
    // All parts of a controller that comes back are looked at anew, and told of again.
    {207, EventRule::Kind::kResolves,  "controller", values::kNormal},
    {208, EventRule::Kind::kResolves,  "controller", values::kNormal},
    {208, EventRule::Kind::kResolves,  "battery", values::kReplaced},
    {208, EventRule::Kind::kResolves,  "battery heat", values::kReplaced},
    {208, EventRule::Kind::kResolves,  "heat", values::kReplaced},
    {208, EventRule::Kind::kResolves,  "versions", values::kReplaced},
    {210, EventRule::Kind::kToldOnce,  "versions", "mismatch"},
    {211, EventRule::Kind::kOpens,     "battery heat", "too hot"},
    {213, EventRule::Kind::kToldOnce,  "heat", "too hot"},
    {214, EventRule::Kind::kOpens,     "battery", "low"},
    {215, EventRule::Kind::kToldOnce,  "stripes", "bad"},
    {216, EventRule::Kind::kResolves,  "battery heat", values::kNormal},
    {217, EventRule::Kind::kResolves,  "battery", values::kNormal},
    {299, EventRule::Kind::kCompanion},

    {301, EventRule::Kind::kOpens,     "redundancy", "degraded"},
    {302, EventRule::Kind::kOpens,     "access", "blocked"},
    {303, EventRule::Kind::kOpens,     "redundancy", "offline"},
    {304, EventRule::Kind::kUpdates,   "redundancy", "rebuilding"},
    {305, EventRule::Kind::kResolves,  "rebuild", values::kNormal},
    {306, EventRule::Kind::kUpdates,   "redundancy", "degraded"},
    {306, EventRule::Kind::kToldOnce,  "rebuild", "failed"},
    {307, EventRule::Kind::kIgnored},
    {308, EventRule::Kind::kResolves,  "synchronization", values::kNormal},
    {309, EventRule::Kind::kToldOnce,  "synchronization", "failed"},
    {331, EventRule::Kind::kResolves,  "access", values::kNormal},
    // The engine's own reminder; ours back off and stop when somebody answers.
    {338, EventRule::Kind::kCompanion},
    {342, EventRule::Kind::kIgnored},
    {343, EventRule::Kind::kResolves,  "initialization", values::kNormal},
    {344, EventRule::Kind::kToldOnce,  "initialization", "failed"},
    {345, EventRule::Kind::kResolves,  "redundancy", values::kNormal},
    {346, EventRule::Kind::kIgnored},
    {347, EventRule::Kind::kResolves,  "redundancy", values::kDeleted},
    {347, EventRule::Kind::kResolves,  "access", values::kDeleted},
    {347, EventRule::Kind::kResolves,  "rebuild", values::kDeleted},
    {347, EventRule::Kind::kResolves,  "synchronization", values::kDeleted},
    {347, EventRule::Kind::kResolves,  "initialization", values::kDeleted},
    {349, EventRule::Kind::kUpdates,   "redundancy", "degraded"},
    {350, EventRule::Kind::kIgnored},
    {351, EventRule::Kind::kIgnored},
    {372, EventRule::Kind::kProgress,  "redundancy"},
    {373, EventRule::Kind::kProgress,  "redundancy"},
    {384, EventRule::Kind::kProgress,  "redundancy"},
    {385, EventRule::Kind::kIgnored},
    {386, EventRule::Kind::kIgnored},
    {397, EventRule::Kind::kIgnored},
    {399, EventRule::Kind::kCompanion},

    {401, EventRule::Kind::kOpens,     "drive", "failed"},
    {402, EventRule::Kind::kOpens,     "drive", "predicted"},
    {403, EventRule::Kind::kResolves,  "drive", values::kReplaced},
    {404, EventRule::Kind::kOpens,     "drive", "failed"},
    {405, EventRule::Kind::kOpens,     "drive", "predicted"},
    {406, EventRule::Kind::kToldOnce,  "support", "unsupported"},
    {407, EventRule::Kind::kResolves,  "drive", values::kReplaced},
    {408, EventRule::Kind::kOpens,     "drive", "missing"},
    {418, EventRule::Kind::kToldOnce,  "medium", "bad block"},
    {422, EventRule::Kind::kResolves,  "medium", values::kNormal},
    {423, EventRule::Kind::kIgnored},
    {497, EventRule::Kind::kIgnored},
    {498, EventRule::Kind::kIgnored},
    {499, EventRule::Kind::kCompanion},

    {501, EventRule::Kind::kResolves,  "enclosure", values::kNormal},
    {502, EventRule::Kind::kOpens,     "enclosure", "lost"},
    {503, EventRule::Kind::kResolves,  "fan", values::kNormal},
    {504, EventRule::Kind::kOpens,     "fan", "failed"},
    {505, EventRule::Kind::kResolves,  "fan", values::kNormal},
    {506, EventRule::Kind::kOpens,     "fan", "missing"},
    {507, EventRule::Kind::kResolves,  "temperature", values::kNormal},
    {508, EventRule::Kind::kOpens,     "temperature", "too hot"},
    {509, EventRule::Kind::kResolves,  "supply", values::kNormal},
    {510, EventRule::Kind::kOpens,     "supply", "failed"},
    {511, EventRule::Kind::kResolves,  "supply", values::kNormal},
    {512, EventRule::Kind::kOpens,     "supply", "missing"},
};
// clang-format on

// Null for a value that is no trouble. The condition may carry the number of a unit: "fan 2".
const Standing* findStanding(const std::string& condition, const std::string& value);

// Open, and in order again: it is watched for a while before it counts as over.
bool isWellAgain(const Incident& incident);

// In the order of the table; empty for a code that has none.
std::vector<const EventRule*> rulesOf(int code);

#endif  // AGENT_INCIDENTS_INCIDENTRULES_H
