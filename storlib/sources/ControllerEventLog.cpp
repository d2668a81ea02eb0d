#include "storlib/sources/ControllerEventLog.h"

#include <cstdio>

namespace {

// Listings are read without decoding entities, so the few characters that would end a value or a
// tag are replaced.
std::string harmless(const std::string& text) {
    std::string clean = text;
    for (char& c : clean) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || c == '"' || c == '<' || c == '>' || c == '&') c = '_';
    }
    return clean;
}

std::string hex(int value) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%X", static_cast<unsigned int>(value));
    return digits;
}

}  // namespace

ControllerEventLog::ControllerEventLog(std::size_t eventsPerController)
    : capacity(eventsPerController) {}

std::int32_t ControllerEventLog::append(unsigned int controllerID, const ControllerEvent& event) {
    std::deque<Numbered>& log = logs[controllerID];
    log.push_back({++lastSequence, event});
    if (log.size() > capacity) log.pop_front();
    return lastSequence;
}

void ControllerEventLog::list(unsigned int controllerID, std::int64_t first,
                              std::string& listing) const {
    const auto log = logs.find(controllerID);
    if (log == logs.end()) return;
    for (const Numbered& entry : log->second) {
        if (entry.sequence < first) continue;
        const ControllerEvent& event = entry.event;
        listing += "<Event Sequence=\"" + std::to_string(entry.sequence) + "\" Qual=\"" +
                   hex(event.qual) + "\" Status=\"" + hex(event.status) + "\" SenseKey=\"" +
                   hex(event.senseKey) + "\" AdditionalSenseCode=\"" +
                   hex(event.additionalSenseCode) + "\" LDPath=\"" + harmless(event.ldPath) +
                   "\" Description=\"" + harmless(event.description) + "\"/>\n";
    }
}
