#include "agent/daemon/Door.h"

#include <pwd.h>

#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/JsonFields.h"

namespace {

using Json = nlohmann::ordered_json;

std::string userName(uid_t user) {
    std::vector<char> space(16 * 1024);
    passwd entry{};
    passwd* found = nullptr;
    (void)getpwuid_r(user, &entry, space.data(), space.size(), &found);
    return found == nullptr ? "user " + std::to_string(user) : std::string(found->pw_name);
}

std::string refusal(const std::string& why, int exitCode) {
    const Json json{{"ok", false}, {"error", why}, {"exit", exitCode}};
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string Door::answer(const std::string& line, uid_t peer) {
    if (isDeep(line)) return refusal("the request is nested too deeply", Failure::kBadUse);
    try {
        if (spool && !spool->isCurrent()) spool.reset();  // it was set aside
        if (!spool) {
            spool = std::make_unique<Spool>(parts.spoolFile, Spool::Access::kReadOnly);
        }
        Requests requests(*spool, parts.changes, parts.stateFile);
        return requests.answer(parts.changes == nullptr ? line : signedBy(line, peer));
    } catch (const std::exception& e) {
        return refusal(e.what(), Failure::kFailed);
    }
}

// What is no JSON object goes on as it is, to be refused by who knows how.
std::string Door::signedBy(const std::string& line, uid_t peer) const {
    Json json = Json::parse(line, nullptr, false);
    if (!json.is_object()) return line;
    const std::string user = userName(peer);
    const std::string given = textOf(json, "by");
    json["by"] = given.empty() || given == user ? user : given + " (" + user + ")";
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}
