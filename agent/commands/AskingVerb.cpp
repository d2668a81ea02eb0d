#include "agent/commands/AskingVerb.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/SafeText.h"
#include "agent/commands/CommandSettings.h"
#include "agent/daemon/Agent.h"
#include "agent/state/StateJson.h"
#include "util/Clock.h"

namespace {

constexpr std::size_t kMostDigits = 15;
constexpr const char* kKeyBegins[] = {
    "drive:", "array:", "enclosure:", "fan:", "supply:", "adapter:", "controller:"};

bool isKey(const std::string& word) {
    for (const std::string begin : kKeyBegins) {
        if (word.compare(0, begin.size(), begin) == 0) return true;
    }
    return false;
}

}  // namespace

int AskingVerb::run(const Context& context) {
    Agent agent(readSettings(context));
    return work(context, agent);
}

ObjectKey AskingVerb::objectMeant(Ask& agent, const std::string& word) {
    std::vector<ObjectKey> found;
    try {
        found = findObjects(stateFromJson(agent.ask({{"do", "state"}})), word);
    } catch (const Failure&) {  // nothing is known of the machine; a key still names its object
        if (!isKey(word)) throw;
    }
    if (found.empty() && isKey(word)) return {word, word};
    if (found.empty()) {
        throw Failure(Failure::kBadUse, "nothing here is called " + safeText(word) +
                                            "; raidwatch list shows what is");
    }
    if (found.size() == 1) return found.front();
    std::string keys;
    for (const ObjectKey& object : found) keys += " " + safeText(object.key);
    throw Failure(Failure::kBadUse, safeText(word) + " may mean several; give one of" + keys);
}

std::string AskingVerb::person() {
    const char* const before = std::getenv("SUDO_USER");
    if (before != nullptr && *before != 0) return before;
    const passwd* const entry = getpwuid(getuid());
    return entry == nullptr ? "uid " + std::to_string(getuid()) : entry->pw_name;
}

std::int64_t AskingVerb::now() { return Clock::current().now(); }

std::int64_t AskingVerb::numberGiven(const char* what, const std::string& word) {
    if (word.empty() || word.size() > kMostDigits ||
        word.find_first_not_of("0123456789") != std::string::npos) {
        throw Failure(Failure::kBadUse,
                      std::string(what) + ": \"" + safeText(word) + "\" is no whole number");
    }
    return std::stoll(word);
}
