#include "events/VantEvent.h"

#include <cstdio>
#include <utility>

#include "events/EnumEventType.h"
#include "util/Clock.h"

namespace {

struct QualifierRow {
    int qual;
    int severity;
};

// A qualifier that is not listed is information, as 7 is.
constexpr QualifierRow kQualifiers[] = {
    {0, kEventWarning}, {1, kEventError},   {2, kEventWarning}, {3, kEventError},
    {4, kEventError},   {5, kEventWarning}, {6, kEventError},   {7, kEventInformation},
    {8, kEventWarning}, {9, kEventWarning}, {10, kEventError},
};

constexpr int kFiller = 18;  // blanks, the width of the viewer's time column

const char* severityKey(int severity) {
    switch (severity) {
        case kEventError:
            return "eventViewerFatal";
        case kEventWarning:
            return "eventViewerCritical";
        case kEventInformation:
            return "eventViewerInformation";
        default:
            return "eventViewerUnknown";
    }
}

std::string hexadecimal(int value) {
    char text[16];
    std::snprintf(text, sizeof(text), "%x", static_cast<unsigned>(value));
    return text;
}

std::time_t currentTime() { return static_cast<std::time_t>(Clock::current().now()); }

}  // namespace

VantEvent::VantEvent() : timeStamp(currentTime()) {}

VantEvent::VantEvent(int qualifier, int scsiStatus, int key, int additionalCode, long number,
                     std::string path, std::string message)
    : timeStamp(currentTime()),
      qual(qualifier),
      status(scsiStatus),
      senseKey(key),
      additionalSenseCode(additionalCode),
      sequence(static_cast<std::int32_t>(number)),
      ldPath(std::move(path)),
      description(std::move(message)) {}

int VantEvent::getSeverity() const {
    for (const QualifierRow& row : kQualifiers) {
        if (row.qual == qual) return row.severity;
    }
    return kEventInformation;
}

std::string VantEvent::toString() const {
    return std::string(severityKey(getSeverity())) + "\t" + std::string(kFiller, ' ') + "\t" +
           hexadecimal(qual) + "\t" + hexadecimal(status) + "\t" + hexadecimal(senseKey) + "\t" +
           hexadecimal(additionalSenseCode) + "\t" + std::to_string(sequence) + "\t" + ldPath +
           "\t" + description;
}
