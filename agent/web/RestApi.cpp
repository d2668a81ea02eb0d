#include "agent/web/RestApi.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/incidents/IncidentJson.h"
#include "agent/spool/RecordJson.h"
#include "agent/status/ObjectText.h"
#include "agent/status/StatusJson.h"
#include "agent/web/WebProblem.h"
#include "agent/web/WebQuery.h"
#include "events/EnumEventType.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr char kJson[] = "application/json";
constexpr std::int64_t kMostNumber = std::numeric_limits<std::int64_t>::max();
constexpr int kMostCode = 99999;
constexpr int kLastEvents = 5;  // with an object, as `raidwatch show` has them

// One severity and what is worse; of tasks and percentages only when they are asked for.
struct SeverityWord {
    const char* word;
    std::vector<int> severities;
};

std::vector<int> severitiesOf(const std::string& word) {
    static const SeverityWord kWords[] = {
        {"error", {kEventError}},
        {"warning", {kEventError, kEventWarning}},
        {"info", {kEventError, kEventWarning, kEventInformation}},
        {"task", {kEventError, kEventWarning, kEventInformation, kEventTask}},
    };
    if (word.empty()) return {};
    for (const SeverityWord& row : kWords) {
        if (word == row.word) return row.severities;
    }
    throw WebQuery::Bad("severity: give error, warning, info or task; worse ones come with it");
}

WebAnswer jsonAnswer(const Json& json) {
    WebAnswer answer;
    answer.type = kJson;
    answer.body = jsonLine(json) + "\n";
    return answer;
}

WebAnswer notYet() {
    return webProblem(503, "nothing is known of this machine: no poll has completed yet");
}

std::int64_t idIn(const std::string& text, const char* what) {
    WebRequest wrapped;
    wrapped.parameters = {{what, text}};
    return WebQuery(wrapped, {what}).number(what, 0, kMostNumber);
}

// What follows the "?" of the same question, from another sequence on.
std::string nextQuestion(const WebRequest& request, std::int64_t after, int limit) {
    const auto encoded = [](const std::string& text) {
        std::string safe;
        for (const char c : text) {
            const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                               (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
            constexpr char kDigits[] = "0123456789ABCDEF";
            const auto byte = static_cast<unsigned char>(c);
            if (plain) {
                safe += c;
            } else {
                safe += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
            }
        }
        return safe;
    };
    std::string question = "?after=" + std::to_string(after) + "&limit=" + std::to_string(limit);
    for (const auto& [name, value] : request.parameters) {
        if (name == "after" || name == "limit") continue;
        question += "&" + encoded(name) + "=" + encoded(value);
    }
    return question;
}

}  // namespace

const RestApi::Route RestApi::kRoutes[] = {
    {"status", &RestApi::status},
    {"arrays", &RestApi::arrays},
    {"arrays/", &RestApi::arrays},
    {"drives", &RestApi::drives},
    {"drives/", &RestApi::drives},
    {"enclosures", &RestApi::enclosures},
    {"enclosures/", &RestApi::enclosures},
    {"controllers", &RestApi::controllers},
    {"controllers/", &RestApi::controllers},
    {"incidents", &RestApi::incidents},
    {"incidents/", &RestApi::incident},
    {"events", &RestApi::events},
    {"events/", &RestApi::event},
    {"stream", &RestApi::stream},
    {"openapi.json", &RestApi::description},
};

bool RestApi::answers(const WebRequest& request, WebAnswer& answer) {
    const std::size_t root = std::strlen(kRoot);
    if (request.path.compare(0, root, kRoot) != 0) return false;
    const std::string path = request.path.substr(root);
    answer = webProblem(404, "there is no " + request.path + "; see " + kRoot + "openapi.json");
    for (const Route& route : kRoutes) {
        const std::string known = route.path;
        const bool fits = known.back() == '/'
                              ? path.size() > known.size() && path.rfind(known, 0) == 0
                              : path == known;
        if (!fits) continue;
        try {
            const std::size_t slash = std::min(known.size(), path.size());
            answer = (this->*route.handler)(request, path.substr(slash));
        } catch (const WebQuery::Bad& e) {
            answer = webProblem(400, e.what());
        } catch (const SpoolError& e) {
            answer = webProblem(503, e.what());
        } catch (const std::exception& e) {
            answer = webProblem(500, e.what());
        }
    }
    return true;
}

WebAnswer RestApi::status(const WebRequest& request, const std::string&) {
    const WebQuery query(request, {});
    const std::vector<Incident> open = knowledge.spool().openIncidents();
    return jsonAnswer(statusJson(knowledge.verdictNow(open), true, open, knowledge.machine()));
}

WebAnswer RestApi::listed(const WebRequest& request, const char* kind) {
    const WebQuery query(request, {});
    if (!knowledge.isKnown()) return notYet();
    return jsonAnswer(listJson(knowledge.machine(), kind));
}

Json RestApi::historyOf(const std::string& key) {
    RecordFilter filter;
    filter.object = key;
    filter.notices = false;
    filter.limit = kLastEvents;
    filter.newest = true;
    Json list = Json::array();
    Spool& spool = knowledge.spool();
    for (const Record& record : spool.query(filter)) {
        list.push_back(recordObject(record, spool.idOf(record.sequence)));
    }
    return list;
}

WebAnswer RestApi::objectOf(const WebRequest& request, const char* kind, const std::string& key) {
    const WebQuery query(request, {});
    if (!knowledge.isKnown()) return notYet();
    Json found;
    for (const Json& each : listJson(knowledge.machine(), kind)) {
        if (each["key"] == key) found = objectJson(knowledge.machine(), key);
    }
    if (found.is_null()) {
        return webProblem(404, "there is no \"" + key + "\" among the " + kind + "; " + kRoot +
                                   kind + " lists their keys");
    }
    found["incidents"] = Json::array();
    for (const Incident& incident : knowledge.spool().openIncidents()) {
        if (incident.object == key) found["incidents"].push_back(incidentJson(incident));
    }
    found["events"] = historyOf(key);
    return jsonAnswer(found);
}

WebAnswer RestApi::arrays(const WebRequest& request, const std::string& rest) {
    return rest.empty() ? listed(request, "arrays") : objectOf(request, "arrays", rest);
}

WebAnswer RestApi::drives(const WebRequest& request, const std::string& rest) {
    return rest.empty() ? listed(request, "drives") : objectOf(request, "drives", rest);
}

WebAnswer RestApi::enclosures(const WebRequest& request, const std::string& rest) {
    return rest.empty() ? listed(request, "enclosures") : objectOf(request, "enclosures", rest);
}

WebAnswer RestApi::controllers(const WebRequest& request, const std::string& rest) {
    return rest.empty() ? listed(request, "controllers") : objectOf(request, "controllers", rest);
}

WebAnswer RestApi::incidents(const WebRequest& request, const std::string&) {
    const WebQuery query(request, {"all", "since"});
    const std::int64_t since = query.milliseconds("since") / 1000;
    const bool all = query.truth("all", query.has("since"));
    Json list = Json::array();
    Spool& spool = knowledge.spool();
    for (const Incident& each : all ? spool.incidentsSince(since) : spool.openIncidents()) {
        list.push_back(incidentJson(each));
    }
    return jsonAnswer(list);
}

WebAnswer RestApi::incident(const WebRequest& request, const std::string& rest) {
    const WebQuery query(request, {});
    const std::int64_t id = idIn(rest, "id");
    for (const Incident& each : knowledge.spool().incidentsSince(0)) {
        if (each.id == id) return jsonAnswer(incidentJson(each));
    }
    return webProblem(404, "there is no incident " + rest);
}

WebAnswer RestApi::events(const WebRequest& request, const std::string&) {
    const WebQuery query(
        request, {"after", "since", "until", "severity", "object", "code", "type", "limit"});
    RecordFilter filter;
    filter.after = query.number("after", 0, kMostNumber);
    filter.since = query.milliseconds("since");
    filter.until = query.milliseconds("until");
    filter.severities = severitiesOf(query.text("severity"));
    filter.object = query.text("object");
    filter.codes = query.numbers("code", kMostCode);
    filter.limit = static_cast<int>(query.number("limit", kUsualRecords, kMostRecords));
    if (filter.limit == 0) throw WebQuery::Bad("limit is 0; give a whole number from 1");
    const std::string type = query.text("type");
    if (!type.empty() && type != "event" && type != "notice") {
        throw WebQuery::Bad("type: give event or notice, or leave it out for both");
    }
    filter.events = type != "notice";
    filter.notices = type != "event";
    // Who does not say where to begin wants the last ones.
    filter.newest = !query.has("after") && !query.has("since");

    Spool& spool = knowledge.spool();
    const std::vector<Record> records = spool.query(filter);
    Json list = Json::array();
    for (const Record& record : records) {
        list.push_back(recordObject(record, spool.idOf(record.sequence)));
    }
    WebAnswer answer = jsonAnswer(list);
    if (!filter.newest && records.size() == static_cast<std::size_t>(filter.limit)) {
        answer.headers.emplace_back(
            "Link", "<" + std::string(kRoot) + "events" +
                        nextQuestion(request, records.back().sequence, filter.limit) +
                        ">; rel=\"next\"");
    }
    return answer;
}

WebAnswer RestApi::event(const WebRequest& request, const std::string& rest) {
    const WebQuery query(request, {});
    const std::int64_t sequence = idIn(rest, "sequence");
    Spool& spool = knowledge.spool();
    const std::vector<Record> found =
        sequence < 1 ? std::vector<Record>() : spool.read(sequence - 1, 1);
    if (found.empty() || found[0].sequence != sequence) {
        return webProblem(404, "there is no record " + rest + "; the spool holds " +
                                   std::to_string(spool.firstSequence()) + " to " +
                                   std::to_string(spool.lastSequence()));
    }
    Json receipts = Json::array();
    for (const Receipt& receipt : spool.receipts(sequence)) {
        receipts.push_back(receiptJson(receipt));
    }
    return jsonAnswer(
        {{"record", recordObject(found[0], spool.idOf(sequence))}, {"receipts", receipts}});
}

WebAnswer RestApi::stream(const WebRequest& request, const std::string&) {
    const WebQuery query(request, {"after"});
    if (!request.mayStream) {
        WebAnswer full = webProblem(503, "there are as many streams as there may be; try again");
        full.headers.emplace_back("Retry-After", "5");
        return full;
    }
    Spool& spool = knowledge.spool();
    const std::int64_t last = spool.lastSequence();
    std::int64_t after = query.number("after", last, kMostNumber);
    const std::string id = request.header("last-event-id");
    if (!id.empty()) after = idIn(id, "Last-Event-ID");

    WebAnswer answer;
    answer.type = "text/event-stream";
    answer.body = "retry: 3000\n\n";
    const std::int64_t first = spool.firstSequence();
    // What was dropped because of its age, or numbers of another spool: whoever mirrors must know.
    if (after > last || (first > 0 && after + 1 < first)) {
        answer.body +=
            "event: gap\ndata: " + jsonLine({{"after", after}, {"first", first}, {"last", last}}) +
            "\n\n";
        after = after > last ? last : first - 1;
    }
    answer.streamAfter = after;
    answer.headers.emplace_back("X-Accel-Buffering", "no");  // a proxy in between
    return answer;
}

WebAnswer RestApi::description(const WebRequest& request, const std::string&) {
    const WebQuery query(request, {});
    WebAnswer answer;
    answer.type = kJson;
    answer.body = kOpenApi;
    return answer;
}
