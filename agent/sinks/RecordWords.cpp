#include "agent/sinks/RecordWords.h"

#include <cctype>
#include <iterator>

#include "agent/EventNames.h"
#include "agent/SafeText.h"

namespace {

struct ChoiceWord {
    const char* word;
    RecordChoice choice;
};

constexpr ChoiceWord kChoices[] = {
    {"notices", RecordChoice::kNotices},
    {"events", RecordChoice::kEvents},
    {"told", RecordChoice::kTold},
    {"both", RecordChoice::kBoth},
};

// Indexed by severity, from 0 for "not set" on.
constexpr int kPriorities[] = {5, 3, 4, 6, 6, 7, 7, 7};
constexpr int kLeastPriority = 7;

bool isNotice(const Record& record) { return record.kind == Record::Kind::kNotice; }

bool repeats(const Record& record) {
    return !isNotice(record) &&
           (isCompanion(record.event.eventCode) || record.event.severity == kEventProgress);
}

}  // namespace

RecordChoice recordChoice(const std::string& word) {
    for (const ChoiceWord& row : kChoices) {
        if (word == row.word) return row.choice;
    }
    return RecordChoice::kBoth;
}

bool isChosen(RecordChoice choice, const Record& record) {
    switch (choice) {
        case RecordChoice::kNotices:
            return isNotice(record);
        case RecordChoice::kEvents:
            return !isNotice(record);
        case RecordChoice::kTold:
            return !repeats(record);
        case RecordChoice::kBoth:
            break;
    }
    return true;
}

std::string messageOf(const Record& record) {
    return safeText(isNotice(record) ? record.notice.subject : record.event.text);
}

std::string serialOf(const Record& record) {
    if (isNotice(record)) {
        // Keys name a drive by its serial number or, where it has none, otherwise.
        constexpr char kDrive[] = "drive:";
        const std::string& key = record.object;
        const bool named = key.rfind(kDrive, 0) == 0 && key.rfind("drive:at:", 0) != 0;
        return named ? safeText(key.substr(sizeof kDrive - 1)) : std::string();
    }
    const QELEvent& event = record.event;
    const bool isDrive = event.objectType == QELEvent::kPhysicalDrive;
    return safeText(isDrive && !event.extra1.empty() ? event.extra1 : event.adapterSerial);
}

int codeOf(const Record& record) {
    const int code = isNotice(record) ? record.notice.incident.code : record.event.eventCode;
    return code == QELEvent::kNotSet ? 0 : code;
}

std::string eventIdOf(const Record& record) {
    return isNotice(record) ? std::string() : safeText(record.event.eventId);
}

std::string severityOf(const Record& record) {
    std::string word = severityWord(record.severity());
    for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return word;
}

std::int64_t timeOf(const Record& record) {
    return isNotice(record) ? record.notice.incident.updatedAt : record.event.timeStamp;
}

int priorityOf(const Record& record) {
    const int severity = record.severity();
    if (severity == QELEvent::kNotSet) return kPriorities[0];
    const bool known = severity >= 0 && severity < static_cast<int>(std::size(kPriorities));
    return known ? kPriorities[severity] : kLeastPriority;
}
