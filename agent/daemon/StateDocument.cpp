#include "agent/daemon/StateDocument.h"

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "agent/state/StateJson.h"

std::string stateDocument(const MachineState& state, const DaemonFacts& facts) {
    nlohmann::ordered_json json = stateJson(state);
    nlohmann::ordered_json& daemon = json["daemon"];
    daemon["pid"] = getpid();
    daemon["pollSeconds"] = facts.pollSeconds;
    daemon["unspooled"] = facts.unspooled;
    daemon["problems"] = facts.problems;
    daemon["pages"] = facts.pages;
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
