#include "agent/web/PageRoutes.h"

#include <exception>
#include <string>

#include "agent/web/WebProblem.h"

namespace {

constexpr char kHtml[] = "text/html; charset=utf-8";

WebAnswer htmlAnswer(std::string html) {
    WebAnswer answer;
    answer.type = kHtml;
    answer.body = std::move(html);
    return answer;
}

}  // namespace

bool PageRoutes::answers(const WebRequest& request, WebAnswer& answer) {
    for (const Asset& asset : Page::assets()) {
        if (request.path != asset.path) continue;
        answer.type = asset.contentType;
        answer.body = std::string(asset.bytes);
        return true;
    }
    if (request.path != "/" && request.path != "/object") return false;
    try {
        answer = request.path == "/" ? overview() : object(request);
    } catch (const SpoolError& e) {
        answer = message(503, e.what());
    } catch (const std::exception& e) {
        answer = message(500, e.what());
    }
    return true;
}

WebAnswer PageRoutes::overview() { return htmlAnswer(page().overview(input())); }

WebAnswer PageRoutes::object(const WebRequest& request) {
    const std::string key = request.parameter("key");
    PageInput filled = input();
    filled.history = knowledge.spool().query(PageInput::historyOf(key));
    filled.temperatures = knowledge.temperatures().of(key);
    WebAnswer answer = htmlAnswer(page().object(filled, key));
    if (!answer.body.empty()) return answer;
    return message(404, "There is no \"" + key + "\" on this machine.");
}

WebAnswer PageRoutes::nothingThere(const WebRequest& request) {
    if (request.header("accept").find("text/html") == std::string::npos) {
        return webProblem(404, "there is no " + request.path);
    }
    return message(404, "There is no " + request.path + " here.");
}

WebAnswer PageRoutes::message(int status, const std::string& sentence) {
    WebAnswer answer =
        htmlAnswer(page().message(std::to_string(status) + " " + statusTitle(status), sentence));
    answer.status = status;
    return answer;
}

// What the page makes of a stale picture it knows itself.
PageInput PageRoutes::input() {
    PageInput filled;
    Spool& spool = knowledge.spool();
    filled.state = knowledge.lastSeen();
    filled.problems = knowledge.problems();
    filled.now = WebKnowledge::now();
    filled.staleAfter = knowledge.files().staleAfter;
    filled.version = QEL_VERSION;
    filled.incidents = spool.incidentsSince(filled.now - PageInput::kResolvedFor);
    filled.silences = spool.silences();
    filled.records = spool.query(PageInput::recent(filled.now));
    const std::int64_t from = filled.now - PageInput::kTimeline;
    filled.gaps = watchGaps(spool.watchSpans(from), from, filled.now);
    filled.sinks = spool.sinkStatus();
    return filled;
}

const Page& PageRoutes::page() {
    if (!drawn) drawn = std::make_unique<Page>();
    return *drawn;
}
