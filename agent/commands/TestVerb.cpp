#include "agent/commands/TestVerb.h"

#include <nlohmann/json.hpp>

#include "agent/commands/DeliveryReport.h"

namespace {

constexpr int kLongestPatience = 3600;

}  // namespace

void TestVerb::declare(Flags& flags) {
    flags.option("SINK", sinks, "only these sinks (default: all)");
    flags.option("--wait", patience, "so many seconds for the answers")
        .between(0, kLongestPatience)
        .showDefault();
    flags.flag("--json", json, "one JSON object per sink");
}

int TestVerb::work(const Context& context, Ask& agent) {
    nlohmann::ordered_json request{{"do", "test"}};
    if (!sinks.empty()) request["sinks"] = sinks;
    DeliveryReport report(context, agent, std::chrono::seconds(patience), json);
    return report.run(agent.change(request));
}
