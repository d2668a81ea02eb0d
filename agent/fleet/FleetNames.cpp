#include "agent/fleet/FleetNames.h"

#include <algorithm>
#include <utility>

#include "agent/EventNames.h"

namespace {

constexpr std::size_t kIdLength = 36;
constexpr std::size_t kLongestName = 64;

bool isWord(const std::string& text) {
    return !text.empty() && text.size() <= kLongestName &&
           std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '_';
           });
}

// "error", "warning", "info", ...; a number beyond those that have a word is "other".
std::string severityToken(int severity) {
    std::string word = severityWord(severity);
    for (char& c : word) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return isWord(word) ? word : "other";
}

}  // namespace

FleetNames::FleetNames(std::string streamIN, std::string prefixIN)
    : streamName(std::move(streamIN)), prefix(std::move(prefixIN)) {}

bool FleetNames::isMachineId(const std::string& text) {
    if (text.size() != kIdLength) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const bool digit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
        if (dash ? c != '-' : !digit) return false;
    }
    return true;
}

std::string FleetNames::subject(const std::string& machine, const Record& record) const {
    if (!isMachineId(machine)) return std::string();
    const char* const kind = record.kind == Record::Kind::kEvent ? "event" : "notice";
    return filter(machine, kind, severityToken(record.severity()));
}

std::string FleetNames::filter(const std::string& machine, const std::string& kind,
                               const std::string& severity) const {
    return prefix + "." + machine + "." + kind + "." + severity;
}

std::string FleetNames::machineOf(const std::string& subject) const {
    const std::string begin = prefix + ".";
    if (subject.compare(0, begin.size(), begin) != 0) return std::string();
    const std::string machine = subject.substr(begin.size(), kIdLength);
    return isMachineId(machine) && subject[begin.size() + kIdLength] == '.' ? machine
                                                                            : std::string();
}

std::string FleetNames::wrongStream(const std::string& name) {
    if (isWord(name)) return std::string();
    return "is no name of a stream; use letters, digits, \"-\" and \"_\", 64 at the most";
}

std::string FleetNames::wrongSubject(const std::string& name) {
    std::size_t from = 0;
    for (;;) {
        const std::size_t dot = std::min(name.find('.', from), name.size());
        if (!isWord(name.substr(from, dot - from))) {
            return "is no beginning of a subject; use words of letters, digits, \"-\" and \"_\" "
                   "with dots between, as raidwatch.v1";
        }
        if (dot == name.size()) return std::string();
        from = dot + 1;
    }
}

std::vector<std::string> FleetNames::commands(const FleetLink::Plan& plan) const {
    const std::string copies = " --replicas=" + std::to_string(plan.copies);
    return {"nats stream add " + streamName + " --subjects='" + everySubject() +
                "' --storage=file --retention=limits --discard=old --dupe-window=" +
                std::to_string(plan.windowSeconds) +
                "s --max-age=" + std::to_string(plan.maxAgeSeconds) + "s" + copies + " --defaults",
            "nats kv add " + stateBucket() + copies,
            "nats kv add " + aliveBucket() + " --ttl=7d" + copies};
}
