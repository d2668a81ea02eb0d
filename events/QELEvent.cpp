#include "events/QELEvent.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

#include "storlib/Adapter.h"
#include "util/Clock.h"

namespace {

// By objectType; four characters each, so that the columns of the log line up.
constexpr const char* kObjectWords[] = {"UNKN", "SYS ", "ADPT", "ARR ", "LDRV",
                                        "PDRV", "ENCL", "FAN ", "PWSP"};

std::time_t currentTime() { return static_cast<std::time_t>(Clock::current().now()); }

const char* severityWord(int severity) {
    if (severity == kEventError) return "ERR";
    if (severity == kEventWarning) return "WRN";
    return severity >= kEventInformation && severity <= kEventAll ? "INF" : "---";
}

const char* objectWord(int objectType) {
    constexpr std::size_t kWords = sizeof(kObjectWords) / sizeof(kObjectWords[0]);
    const auto index = static_cast<unsigned>(objectType);  // a negative type is beyond the table
    return kObjectWords[index < kWords ? index : 0];
}

// `value` with at least `digits` digits, or that many dashes when it is not set.
std::string number(int value, int digits) {
    if (value == QELEvent::kNotSet) return std::string(static_cast<std::size_t>(digits), '-');
    char text[16];
    std::snprintf(text, sizeof(text), "%0*d", digits, value);
    return text;
}

std::string number(unsigned value, int digits) { return number(static_cast<int>(value), digits); }

}  // namespace

QELEvent::QELEvent() : timeStamp(currentTime()) {}

QELEvent::QELEvent(int code, int severityIN, std::string message, std::string identifier)
    : timeStamp(currentTime()),
      eventCode(code),
      severity(severityIN),
      text(std::move(message)),
      eventId(std::move(identifier)) {}

QELEvent::QELEvent(int code, int severityIN, std::string message, const Addr& where, int firstValue,
                   int secondValue, int thirdValue, std::string serial, std::string identifier,
                   std::string freeText)
    : timeStamp(currentTime()),
      eventCode(code),
      severity(severityIN),
      text(std::move(message)),
      location(where),
      detail(std::move(freeText)),
      value1(firstValue),
      value2(secondValue),
      value3(thirdValue),
      adapterSerial(std::move(serial)),
      eventId(std::move(identifier)) {}

void QELEvent::reset() {
    timeStamp = currentTime();
    eventCode = kNotSet;
    severity = kNotSet;
    text.clear();
    objectType = kUnknown;
    location.clear();
    detail.clear();
    value1 = kNotSet;
    value2 = kNotSet;
    value3 = kNotSet;
    adapterSerial.clear();
    eventId.clear();
    flags = 0;
}

void QELEvent::setAdapterSerial(const Adapter* adapter) {
    if (adapter == nullptr) return;
    const char* serial = adapter->controllerSerial;
    adapterSerial.assign(serial, strnlen(serial, sizeof(adapter->controllerSerial)));
    if (!adapterSerial.empty()) return;
    adapterSerial = std::to_string(adapter->pciBus) + "-" + std::to_string(adapter->pciDevice) +
                    "-" + std::to_string(adapter->pciFunction);
}

std::string QELEvent::toString() const {
    // Places are counted from 0 here, as the library does: the log is for finding objects again,
    // the text is for people and counts from 1.
    return Clock::text(timeStamp) + " | " + severityWord(severity) + " | " +
           objectWord(objectType) + " | " + number(eventCode, 3) + ":A" +
           number(location.controllerID, 2) + "C" + number(location.channelID, 2) + "S" +
           number(location.deviceID, 2) + "L" + number(location.logicalDriveID, 3) + " | " + text;
}
