#include "agent/daemon/Repeats.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t kMostOfOneObject = 100;

// Everything but the time and what the host itself added. Each part ends in a byte that no text of
// the engine holds, so that two parts cannot run into each other.
std::string fingerprintOf(const QELEvent& event) {
    std::string print;
    const auto text = [&print](const std::string& part) { (print += part) += '\0'; };
    const auto number = [&text](long long part) { text(std::to_string(part)); };
    number(event.eventCode);
    number(event.severity);
    number(event.objectType);
    for (const auto part :
         {event.location.controllerID, event.location.channelID, event.location.deviceID,
          event.location.arrayID, event.location.logicalDriveID}) {
        number(part);
    }
    for (const int part : {event.value1, event.value2, event.value3}) number(part);
    for (const std::string* part :
         {&event.eventId, &event.text, &event.detail, &event.adapterSerial}) {
        text(*part);
    }
    return print;
}

}  // namespace

void Repeats::add(const std::string& object, const QELEvent& event, std::int64_t poll) {
    std::vector<Known>& records = known[object];
    if (records.size() == kMostOfOneObject) records.erase(records.begin());
    records.push_back({fingerprintOf(event), poll});
}

std::vector<bool> Repeats::find(const std::vector<Found>& events) {
    std::vector<bool> answer(events.size(), false);
    if (known.empty()) return answer;
    struct Candidate {
        std::size_t index;
        std::string fingerprint;
        std::int64_t poll;
    };
    std::map<std::string, std::vector<Candidate>> candidates;
    for (std::size_t i = 0; i < events.size(); ++i) {
        const Found& found = events[i];
        if (!found.atStart || known.count(found.object) == 0) continue;
        candidates[found.object].push_back({i, fingerprintOf(*found.event), found.poll});
    }
    for (auto& [object, again] : candidates) {
        std::vector<Known>& records = known[object];
        // From the newest record backwards, for as long as each is found again.
        while (!records.empty()) {
            const auto same =
                std::find_if(again.begin(), again.end(), [&](const Candidate& candidate) {
                    return candidate.fingerprint == records.back().fingerprint &&
                           records.back().poll < candidate.poll;
                });
            if (same == again.end()) break;
            answer[same->index] = true;
            again.erase(same);
            records.pop_back();
        }
    }
    return answer;
}
