#include "agent/commands/DeliveryReport.h"

#include <algorithm>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/JsonFields.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/StopSignal.h"
#include "agent/spool/RecordJson.h"

namespace {

using Json = nlohmann::ordered_json;
using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPause{200};

std::string secondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", seconds);
    return text;
}

}  // namespace

int DeliveryReport::run(const Json& made) {
    first = numberOf(made, "sequence");
    last = std::max(first, numberOf(made, "last"));
    lines.clear();
    if (made.is_object() && made.contains("sinks") && made["sinks"].is_array()) {
        for (const Json& name : made["sinks"]) {
            if (name.is_string()) lines[name.get<std::string>()] = Line();
        }
    }
    if (lines.empty()) {
        throw Failure(Failure::kFailed,
                      "no sink is configured, so nobody will be told; add a [sink.NAME] to "
                      "/etc/raidwatch/raidwatch.toml");
    }
    const auto end = SteadyClock::now() + patience;
    look();
    while (!isComplete() && SteadyClock::now() < end) {
        if (context.stop.waitFor(kPause)) throw Failure(Failure::kFailed, "interrupted");
        look();
    }
    return tell();
}

void DeliveryReport::look() {
    for (auto& entry : lines) entry.second = Line();
    // Before the receipts, so that what a sink has passed by now has its receipt there.
    const Json sinks = agent.ask({{"do", "sinks"}});
    for (std::int64_t sequence = first; sequence <= last; ++sequence) {
        const Json answer = agent.ask({{"do", "record"}, {"sequence", sequence}});
        if (!answer.is_object() || !answer.contains("receipts")) continue;
        const std::int64_t at = recordFromObject(answer.value("record", Json())).at;
        for (const Json& row : answer["receipts"]) take(receiptFromJson(row), at);
    }
    for (const Json& row : sinks) {
        const SinkStatus status = sinkStatusFromJson(row);
        const auto found = lines.find(status.sink);
        if (found == lines.end()) continue;
        Line& line = found->second;
        line.passed = status.cursor >= last;
        if (line.passed || line.tries != 0 || status.tries == 0) continue;
        line.tries = status.tries;  // of a record before these, which holds them up
        line.answer = status.lastAnswer;
    }
}

void DeliveryReport::take(const Receipt& receipt, std::int64_t spooledAt) {
    const auto found = lines.find(receipt.sink);
    if (found == lines.end()) return;
    Line& line = found->second;
    if (receipt.outcome == Receipt::Outcome::kDelivered) {
        ++line.delivered;
        line.latency = std::max(line.latency, static_cast<double>(receipt.at - spooledAt) / 1000);
    } else {
        line.tries = std::max(line.tries, receipt.tries);
    }
    if (receipt.outcome == Receipt::Outcome::kDead) ++line.dead;
    line.answer = receipt.answer;
}

bool DeliveryReport::isComplete() const {
    return std::all_of(lines.begin(), lines.end(),
                       [](const auto& entry) { return entry.second.passed; });
}

int DeliveryReport::tell() const {
    std::size_t width = 0;
    for (const auto& entry : lines) width = std::max(width, textWidth(safeText(entry.first)));
    std::size_t bad = 0;
    for (const auto& entry : lines) {
        const Line& line = entry.second;
        if (!line.isGood()) ++bad;
        if (!json) {
            context.out.write(text(entry.first, line, width));
            continue;
        }
        context.out.line(
            jsonLine({{"sink", entry.first},
                      {"ok", line.isGood()},
                      {"delivered", line.delivered},
                      {"dead", line.dead},
                      {"done", line.passed},
                      {"latency", line.delivered == 0 ? Json(nullptr) : Json(line.latency)},
                      {"tries", line.tries},
                      {"answer", line.answer}}));
    }
    if (json) return bad == 0 ? Failure::kDone : Failure::kFailed;
    const std::string all = std::to_string(lines.size()) + (lines.size() == 1 ? " sink" : " sinks");
    context.out.line(bad == 0 ? all + ", all in order"
                              : std::to_string(bad) + " of " + all +
                                    " did not deliver; raidwatch doctor looks for the cause");
    return bad == 0 ? Failure::kDone : Failure::kFailed;
}

// "mail     ok       0.41 s  250 2.0.0 Ok: queued as 4F1A"
std::string DeliveryReport::text(const std::string& sink, const Line& line,
                                 std::size_t width) const {
    std::string name = safeText(sink);
    name.append(width - std::min(width, textWidth(name)) + 2, ' ');
    std::string state = "waits";
    std::string detail = safeText(line.answer);
    if (line.dead > 0) {
        state = "DEAD";
    } else if (line.passed && line.delivered == 0) {
        state = "not told";
        detail = "its filter leaves such records out";
    } else if (line.passed) {
        state = "ok";
        detail = secondsText(line.latency) + (detail.empty() ? "" : "  " + detail);
    } else if (line.tries > 0) {
        state = "FAILED";
        detail = std::to_string(line.tries) + (line.tries == 1 ? " try: " : " tries: ") + detail;
    } else {
        detail = "nothing came within " + std::to_string(patience.count()) + " s";
    }
    state.resize(10, ' ');
    const std::size_t margin = width + 2 + state.size();
    const std::size_t columns = context.style.pageWidth();
    const std::size_t room = columns > margin + 20 ? columns - margin : 0;
    std::string lead = name + state;
    std::string lineText;
    for (const std::string& part : wrapText(detail, room)) {
        lineText += lead + part + "\n";
        lead.assign(margin, ' ');
    }
    return lineText;
}
