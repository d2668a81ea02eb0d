// DeliveryReport: waits until every sink has dealt with some records, and tells how it went.
//
//   DeliveryReport report(context, agent, std::chrono::seconds(30), json);
//   return report.run(agent.change({{"do", "test"}}));
//
// Exit code 0 when every sink has delivered what it wants of them, 1 otherwise. Errors: Failure.
#ifndef AGENT_COMMANDS_DELIVERYREPORT_H
#define AGENT_COMMANDS_DELIVERYREPORT_H

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "agent/Context.h"
#include "agent/daemon/Ask.h"
#include "agent/spool/Receipt.h"

class DeliveryReport {
public:
    DeliveryReport(const Context& contextIN, Ask& agentIN, std::chrono::seconds patienceIN,
                   bool jsonIN)
        : context(contextIN), agent(agentIN), patience(patienceIN), json(jsonIN) {}

    // `made` is the answer to the request: {"sequence", "last", "sinks"}.
    int run(const nlohmann::ordered_json& made);

private:
    // What one sink did with the records.
    struct Line {
        int delivered = 0;
        int dead = 0;
        bool passed = false;  // it is done with all of them
        double latency = 0;   // of the slowest delivery, seconds
        std::string answer;
        int tries = 0;

        bool isGood() const { return passed && dead == 0; }
    };

    void look();  // asks for receipts and cursors
    void take(const Receipt& receipt, std::int64_t spooledAt);
    bool isComplete() const;
    int tell() const;
    std::string text(const std::string& sink, const Line& line, std::size_t width) const;

    const Context& context;
    Ask& agent;
    std::chrono::seconds patience;
    bool json;
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::map<std::string, Line> lines;  // by sink
};

#endif  // AGENT_COMMANDS_DELIVERYREPORT_H
