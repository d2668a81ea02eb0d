#include "agent/commands/TestVerb.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "agent/commands/DeliveryReport.h"

namespace {

constexpr int kLongestPatience = 3600;

}  // namespace

void TestVerb::declare(CLI::App& app) {
    app.add_option("SINK", sinks, "only these sinks (default: all)");
    app.add_option("--wait", patience, "so many seconds for the answers")
        ->check(CLI::Range(0, kLongestPatience))
        ->capture_default_str();
    app.add_flag("--json", json, "one JSON object per sink");
}

int TestVerb::work(const Context& context, Ask& agent) {
    nlohmann::ordered_json request{{"do", "test"}};
    if (!sinks.empty()) request["sinks"] = sinks;
    DeliveryReport report(context, agent, std::chrono::seconds(patience), json);
    return report.run(agent.change(request));
}
