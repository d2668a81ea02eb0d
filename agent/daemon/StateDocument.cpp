#include "agent/daemon/StateDocument.h"

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "agent/state/StateJson.h"

std::string stateDocument(const MachineState& state, std::size_t unspooled,
                          const std::map<std::string, std::string>& problems) {
    nlohmann::ordered_json json = stateJson(state);
    nlohmann::ordered_json& daemon = json["daemon"];
    daemon["pid"] = getpid();
    daemon["unspooled"] = unspooled;
    daemon["problems"] = problems;
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
