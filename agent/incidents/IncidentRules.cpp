#include "agent/incidents/IncidentRules.h"

namespace {

std::string withoutUnit(const std::string& condition) {
    const std::size_t last = condition.find_last_not_of("0123456789");
    if (last == std::string::npos || last + 1 == condition.size()) return condition;
    return condition.substr(0, condition.find_last_not_of(' ', last) + 1);
}

}  // namespace

const Standing* findStanding(const std::string& condition, const std::string& value) {
    const std::string kind = withoutUnit(condition);
    for (const Standing& standing : kStandings) {
        if (kind == standing.condition && value == standing.value) return &standing;
    }
    return nullptr;
}

bool isWellAgain(const Incident& incident) {
    return incident.open && findStanding(incident.condition, incident.value) == nullptr;
}

std::vector<const EventRule*> rulesOf(int code) {
    std::vector<const EventRule*> found;
    for (const EventRule& rule : kEventRules) {
        if (rule.code == code) found.push_back(&rule);
    }
    return found;
}
