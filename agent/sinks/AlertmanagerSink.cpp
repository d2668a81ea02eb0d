#include "agent/sinks/AlertmanagerSink.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "agent/EventJson.h"
#include "agent/SafeText.h"
#include "agent/sinks/BadSinkSetting.h"
#include "agent/sinks/HostName.h"
#include "agent/sinks/SinkHttp.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

bool isLabelName(const std::string& name) {
    return !name.empty() && isLetter(name.front()) &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return isLetter(c) || (c >= '0' && c <= '9'); });
}

// Two incidents must not become one alert.
bool tellsApart(const std::string& name) {
    return name == "alertname" || name == "object" || name == "condition";
}

// "drive" gives "RaidDrive", "bad stripes" gives "RaidBadStripes".
std::string alertName(const std::string& condition) {
    std::string name = "Raid";
    bool begin = true;
    for (const char c : condition) {
        const bool word = (isLetter(c) && c != '_') || (c >= '0' && c <= '9');
        if (word) name += begin && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        begin = !word;
    }
    return name;
}

// The words that alerting rules use.
const char* severityLabel(int severity) {
    if (severity == kEventError) return "critical";
    return severity == kEventWarning ? "warning" : "info";
}

// "drive:S7K2M9Q0" is named by its serial number, "drive:at:1:0:3" by its place.
std::string serialOf(const std::string& object) {
    const std::string drive = "drive:";
    if (object.compare(0, drive.size(), drive) != 0) return std::string();
    const std::string rest = object.substr(drive.size());
    return rest.compare(0, 3, "at:") == 0 ? std::string() : rest;
}

std::string joined(const std::string& url, const std::string& path) {
    const bool slash = !url.empty() && url.back() == '/';
    return (slash ? url.substr(0, url.size() - 1) : url) + path;
}

// Severity is a label, and other labels are another alert. An end therefore goes to the alert that
// we told, or, when we do not know it any more, to each that it can have been.
Json endings(const Json& alert, const Json* former) {
    if (former != nullptr) {
        Json ended = *former;
        ended["endsAt"] = alert.at("endsAt");
        return Json::array({ended});
    }
    Json all = Json::array();
    for (const int severity : {kEventError, kEventWarning, kEventInformation}) {
        all.push_back(alert);
        all.back()["labels"]["severity"] = severityLabel(severity);
    }
    return all;
}

// The alert, and the end of the one before it, if that was another.
Json withFormer(const Json& alert, const Json* former, std::int64_t now) {
    Json all = Json::array({alert});
    if (former == nullptr || former->at("labels") == alert.at("labels")) return all;
    all.push_back(*former);
    all.back()["endsAt"] = rfc3339(now);
    return all;
}

// The worst answer that still lets the record go on: one address that took it is enough.
Answer best(const std::vector<Answer>& answers) {
    Answer all = answers.front();
    for (std::size_t i = 1; i < answers.size(); ++i) {
        const Answer& one = answers[i];
        all.text += "; " + one.text;
        if (one.kind == Answer::Kind::kDelivered || all.kind == Answer::Kind::kDelivered) {
            all.kind = Answer::Kind::kDelivered;
        } else if (one.kind == Answer::Kind::kRetry) {
            all.kind = Answer::Kind::kRetry;
        }
    }
    return all;
}

}  // namespace

AlertmanagerSink::AlertmanagerSink(const SinkSettings& settings) : client(httpAccess(settings)) {
    const auto list = settings.lists.find("urls");
    if (list == settings.lists.end() || list->second.empty()) {
        throw BadSinkSetting(settings, "urls is missing; write urls = [\"http://host:9093\"]");
    }
    for (const std::string& url : list->second) urls.push_back(httpUrl(settings, "urls", url));

    const auto table = settings.tables.find("labels");
    if (table != settings.tables.end()) labels = table->second;
    for (const auto& [name, value] : labels) {
        if (!isLabelName(name)) {
            throw BadSinkSetting(settings, "\"" + name +
                                               "\" is no name of a label; use letters, digits "
                                               "and \"_\", a letter first");
        }
        if (tellsApart(name)) {
            throw BadSinkSetting(settings,
                                 "the label " + name + " tells alerts apart and cannot be set");
        }
    }
    common.cancel = &cancelled;
    common.timeout = std::chrono::seconds(settings.timeout);
    common.headers.emplace_back("Content-Type: application/json");
    addToken(settings, settings.text("token"), common);
}

void AlertmanagerSink::knowOpen(const std::vector<Incident>& incidents) {
    for (const Incident& incident : incidents) {
        if (!incident.open || open.count(incident.id) != 0) continue;
        Notice notice;
        notice.incident = incident;
        notice.subject = incident.text;
        open[incident.id] = alertOf(notice, incident.origin, 0);
    }
}

// When the end of one is not taken, it comes by itself: the alert is not repeated any more.
void AlertmanagerSink::keepOnly(const std::vector<Incident>& incidents) {
    std::set<std::int64_t> kept;
    for (const Incident& incident : incidents) kept.insert(incident.id);
    Json ended = Json::array();
    for (auto it = open.begin(); it != open.end();) {
        const bool stays = kept.count(it->first) != 0;
        if (!stays) {
            ended.push_back(it->second);
            ended.back()["endsAt"] = rfc3339(Clock::current().now());
        }
        it = stays ? std::next(it) : open.erase(it);
    }
    if (!ended.empty()) (void)post(ended);
}

bool AlertmanagerSink::wants(const Record& record) const {
    return record.kind == Record::Kind::kNotice;
}

Answer AlertmanagerSink::deliver(const Record& record, const std::string&) {
    const Notice& notice = record.notice;
    const std::int64_t now = Clock::current().now();
    const bool test = notice.kind == Notice::Kind::kTest;
    const bool over = !test && !notice.incident.open;
    const std::int64_t end =
        over ? std::max(notice.incident.resolvedAt, notice.incident.openedAt) : now + kAliveSeconds;
    const Json alert = alertOf(notice, record.origin, end);

    // Tests and drills have incidents of their own, with numbers of their own.
    const bool real = !test && record.origin != Origin::kDrill && record.origin != Origin::kTest;
    const auto known = real ? open.find(notice.incident.id) : open.end();
    const Json* const former = known == open.end() ? nullptr : &known->second;
    const Json alerts = over ? endings(alert, former) : withFormer(alert, former, now);

    Answer answer = post(alerts);
    if (!real || answer.kind != Answer::Kind::kDelivered) return answer;
    if (over) {
        open.erase(notice.incident.id);
    } else {
        open[notice.incident.id] = alert;
    }
    return answer;
}

void AlertmanagerSink::tick() {
    const std::int64_t now = Clock::current().now();
    const bool clockWentBack = repeatAt > now + kRepeatSeconds;
    if (open.empty() || (now < repeatAt && !clockWentBack)) return;
    repeatAt = now + kRepeatSeconds;
    Json alerts = Json::array();
    for (auto& [id, alert] : open) {
        alert["endsAt"] = rfc3339(now + kAliveSeconds);
        alerts.push_back(alert);
    }
    (void)post(alerts);  // told again in a minute
}

std::string AlertmanagerSink::problem() {
    std::string all;
    for (const std::string& url : urls) {
        HttpClient::Request request = common;
        request.method = "GET";
        request.url = joined(url, "/api/v2/status");
        const Answer answer = HttpClient::verdict(url, client.send(request));
        if (answer.kind == Answer::Kind::kDelivered) return std::string();
        all += (all.empty() ? "" : "; ") + answer.text;
    }
    return all;
}

AlertmanagerSink::Json AlertmanagerSink::labelsOf(const Incident& incident, Origin origin) const {
    const bool real = origin == Origin::kLive || origin == Origin::kAtStart;
    Json all;
    const auto put = [&all](const std::string& name, const std::string& value) {
        if (!value.empty()) all[name] = safeText(value);  // an empty label is none
    };
    put("alertname", alertName(incident.condition.empty() ? "test" : incident.condition));
    put("job", "raidwatch");
    put("instance", hostName());
    put("severity", severityLabel(incident.severity));
    put("condition", incident.condition);
    put("object", incident.object);
    put("object_name", incident.objectName);
    put("serial", serialOf(incident.object));
    if (!real) put("origin", originWord(origin));
    for (const auto& [name, value] : labels) put(name, value);
    return all;
}

AlertmanagerSink::Json AlertmanagerSink::alertOf(const Notice& notice, Origin origin,
                                                 std::int64_t endsAt) const {
    const Incident& incident = notice.incident;
    Json notes;
    notes["summary"] = safeText(notice.subject.empty() ? incident.text : notice.subject);
    notes["description"] = notice.body.empty() ? safeText(incident.text) : notice.body;
    notes["action"] = action(incident.code);
    notes["value"] = safeText(incident.value);
    notes["incident"] = std::to_string(incident.id);
    if (incident.survives >= 0) notes["survives"] = std::to_string(incident.survives);
    if (incident.acknowledged()) notes["acknowledged_by"] = safeText(incident.ackBy);

    Json alert;
    alert["labels"] = labelsOf(incident, origin);
    alert["annotations"] = notes;
    const std::int64_t begin = incident.openedAt;
    if (begin != 0) alert["startsAt"] = rfc3339(begin);
    if (endsAt != 0) alert["endsAt"] = rfc3339(endsAt);
    return alert;
}

std::string AlertmanagerSink::action(int code) const {
    if (code == 0) return std::string();
    const auto found = reference.find(std::to_string(code));
    return found.empty() ? std::string() : found.front()->action;
}

Answer AlertmanagerSink::post(const Json& alerts) const {
    HttpClient::Request request = common;
    request.body = alerts.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::vector<Answer> answers;
    for (const std::string& url : urls) {
        request.url = joined(url, "/api/v2/alerts");
        answers.push_back(HttpClient::verdict(url, client.send(request)));
    }
    return best(answers);
}

std::unique_ptr<Sink> makeAlertmanagerSink(const SinkSettings& settings) {
    return std::make_unique<AlertmanagerSink>(settings);
}
