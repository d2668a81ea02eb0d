#include "agent/web/AgentSite.h"

#include <exception>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/Duration.h"
#include "agent/EventJson.h"
#include "agent/metrics/Metrics.h"
#include "agent/metrics/MetricsReader.h"
#include "agent/spool/RecordJson.h"
#include "agent/web/PageRoutes.h"
#include "agent/web/WebProblem.h"
#include "agent/web/WebQuery.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr char kText[] = "text/plain; charset=utf-8";

}  // namespace

struct AgentSite::Parts {
    Parts(const WebKnowledge::Parts& files, const WebGuard::Rules& rules)
        : knowledge(files),
          guard(rules),
          api(knowledge),
          pages(knowledge),
          metrics({files.spoolFile, files.stateFile, files.staleAfter}) {}

    WebKnowledge knowledge;
    WebGuard guard;
    RestApi api;
    PageRoutes pages;
    MetricsReader metrics;
};

AgentSite::AgentSite(const WebKnowledge::Parts& files, const WebGuard::Rules& rules)
    : parts(std::make_unique<Parts>(files, rules)) {}

AgentSite::~AgentSite() = default;

void AgentSite::use(const WebKnowledge::Parts& files, const WebGuard::Rules& rules) {
    parts = std::make_unique<Parts>(files, rules);
}

void AgentSite::rest() {
    parts->knowledge.forget();
    parts->pages.forget();
    parts->metrics.forget();
}

WebAnswer AgentSite::answer(const WebRequest& request) {
    WebAnswer answer;
    if (parts->guard.admits(request, answer)) answer = routed(request);
    WebGuard::harden(answer);
    return answer;
}

WebAnswer AgentSite::routed(const WebRequest& request) {
    WebAnswer answer;
    if (parts->api.answers(request, answer) || parts->pages.answers(request, answer)) return answer;
    try {
        if (request.path == "/healthz") return health(request);
        if (request.path == "/metrics") {
            answer.type = kMetricsContentType;
            answer.body = render(parts->metrics.read());
            return answer;
        }
    } catch (const std::exception& e) {
        return webProblem(500, e.what());
    }
    return parts->pages.nothingThere(request);
}

// For whatever restarts or pages when raidwatch itself stands still.
WebAnswer AgentSite::health(const WebRequest&) {
    WebKnowledge& knowledge = parts->knowledge;
    WebAnswer answer;
    answer.type = kText;
    answer.status = knowledge.isStale() ? 503 : 200;
    const std::int64_t age = WebKnowledge::now() - knowledge.lastSeen().polledAt;
    if (!knowledge.isKnown()) {
        answer.body = "UNKNOWN: no poll has completed yet\n";
    } else if (answer.status == 200) {
        answer.body =
            "OK: the last completed poll is " + durationText(age < 0 ? 0 : age) + " old\n";
    } else if (age < 0) {
        answer.body = "UNKNOWN: the last completed poll is dated " + durationText(-age) +
                      " from now; check the clock\n";
    } else {
        answer.body = "UNKNOWN: the last completed poll is " + durationText(age) + " old\n";
    }
    return answer;
}

// --- streams ---

std::string AgentSite::recordedAfter(std::int64_t& after) {
    std::string frames;
    try {
        Spool& spool = parts->knowledge.spool();
        for (const Record& record : spool.read(after, kRecordsAtOnce)) {
            const bool isEvent = record.kind == Record::Kind::kEvent;
            frames += "id: " + std::to_string(record.sequence) +
                      "\nevent: " + (isEvent ? "event" : "incident") +
                      "\ndata: " + recordJson(record, spool.idOf(record.sequence)) + "\n\n";
            after = record.sequence;
        }
    } catch (const SpoolError&) {
        return frames;  // it stays where it is, and the next look goes on
    }
    return frames;
}

std::string AgentSite::standing() {
    try {
        WebKnowledge& knowledge = parts->knowledge;
        const Verdict now = knowledge.verdictNow(knowledge.spool().openIncidents());
        const MachineState& seen = knowledge.lastSeen();
        return "event: state\ndata: " +
               jsonLine({{"verdict", levelWord(now.level)},
                         {"sentence", now.sentence},
                         {"polledAt", seen.polledAt},
                         {"polls", seen.polls}}) +
               "\n\n";
    } catch (const std::exception&) {
        return "event: state\ndata: " +
               jsonLine({{"verdict", levelWord(Verdict::kUnknown)},
                         {"sentence",
                          "nothing is known: the records "
                          "cannot be read"},
                         {"polledAt", 0},
                         {"polls", 0}}) +
               "\n\n";
    }
}
