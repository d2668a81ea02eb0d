#include "agent/sinks/WebhookSink.h"

#include <algorithm>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "agent/sinks/BadSinkSetting.h"
#include "agent/sinks/SinkHttp.h"
#include "agent/spool/RecordJson.h"

namespace {

constexpr const char* kTokenMark = "{{token}}";

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string smallLetters(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

std::string replaced(std::string text, const std::string& mark, const std::string& value) {
    for (std::size_t at = text.find(mark); at != std::string::npos;
         at = text.find(mark, at + value.size())) {
        text.replace(at, mark.size(), value);
    }
    return text;
}

BodyTemplate::Escape escapeFor(const std::string& contentType) {
    const std::string type = smallLetters(contentType);
    if (contains(type, "json")) return BodyTemplate::Escape::kJson;
    if (contains(type, "x-www-form-urlencoded")) return BodyTemplate::Escape::kForm;
    return BodyTemplate::Escape::kNone;
}

// An event and a notice with a quote in every text, to try a template on.
Record sample(Record::Kind kind) {
    Record record;
    record.kind = kind;
    record.sequence = 1;
    record.object = record.objectName = "a \"drive\"";
    record.event = QELEvent(401, kEventError, "a \"text\"", "EVENT");
    record.notice.subject = record.notice.body = "a \"text\"\n";
    record.notice.incident.condition = record.notice.incident.value = "\"value\"";
    record.notice.incident.severity = kEventError;
    return record;
}

std::string methodOf(const SinkSettings& settings) {
    const std::string& method = settings.text("method");
    if (method.empty()) return "POST";
    constexpr const char* kMethods[] = {"POST", "PUT", "PATCH", "GET"};
    if (std::find(std::begin(kMethods), std::end(kMethods), method) == std::end(kMethods)) {
        throw BadSinkSetting(settings, "method is none of POST, PUT, PATCH, GET");
    }
    return method;
}

}  // namespace

WebhookSink::WebhookSink(const SinkSettings& settings) : client(httpAccess(settings)) {
    common.url = httpUrl(settings, "url", settings.text("url"));
    common.method = methodOf(settings);
    common.cancel = &cancelled;
    common.timeout = std::chrono::seconds(settings.timeout);
    readHeaders(settings);
    readBody(settings);

    const std::string& send = settings.text("send");
    if (!send.empty() && send != "both" && send != "events" && send != "notices") {
        throw BadSinkSetting(settings, "send is none of events, notices, both");
    }
    events = send != "notices";
    notices = send != "events";
}

void WebhookSink::readHeaders(const SinkSettings& settings) {
    const std::string& token = settings.text("token");
    bool tokenSent = token.empty();
    const auto table = settings.tables.find("headers");
    if (table != settings.tables.end()) {
        for (const auto& [name, value] : table->second) {
            if (!isHeaderName(name)) {
                throw BadSinkSetting(settings, "\"" + name +
                                                   "\" is no name of a header; use letters, "
                                                   "digits and \"-\"");
            }
            if (value.find_first_of("\r\n") != std::string::npos) {
                throw BadSinkSetting(settings, "header " + name + " is more than one line");
            }
            if (contains(value, kTokenMark) && token.empty()) {
                throw BadSinkSetting(settings,
                                     "headers use {{token}}; name its file with "
                                     "token_file");
            }
            tokenSent = tokenSent || contains(value, kTokenMark);
            try {
                headers.push_back({name, BodyTemplate(replaced(value, kTokenMark, token),
                                                      BodyTemplate::Escape::kHeader)});
            } catch (const std::invalid_argument& e) {
                throw BadSinkSetting(settings, "header " + name + ": " + e.what());
            }
        }
    }
    if (token.find_first_of("\r\n") != std::string::npos) {
        throw BadSinkSetting(settings, "the file of the token has more than one line");
    }
    addToken(settings, tokenSent ? std::string() : token, common);
    if (!token.empty()) common.secrets.push_back(token);
}

void WebhookSink::readBody(const SinkSettings& settings) {
    const std::string& text = settings.text("template");
    std::string type = settings.text("content_type");
    if (type.empty()) type = text.empty() ? "application/cloudevents+json" : "application/json";
    if (type.find_first_of("\r\n") != std::string::npos) {
        throw BadSinkSetting(settings, "content_type is more than one line");
    }
    common.headers.push_back("Content-Type: " + type);
    if (text.empty()) return;

    const BodyTemplate::Escape escape = escapeFor(type);
    try {
        body.emplace(text, escape);
    } catch (const std::invalid_argument& e) {
        throw BadSinkSetting(settings, std::string("template: ") + e.what());
    }
    if (escape != BodyTemplate::Escape::kJson) return;
    for (const Record::Kind kind : {Record::Kind::kEvent, Record::Kind::kNotice}) {
        if (!nlohmann::json::accept(body->fill(sample(kind), "id:1"))) {
            throw BadSinkSetting(settings,
                                 "template gives no valid JSON; put texts in quotes as in "
                                 "{\"text\": \"{{subject}}\"}, and {{json}} without");
        }
    }
}

bool WebhookSink::wants(const Record& record) const {
    return record.kind == Record::Kind::kEvent ? events : notices;
}

Answer WebhookSink::deliver(const Record& record, const std::string& id) {
    HttpClient::Request request = common;
    request.headers.push_back("X-Raidwatch-Id: " + id);
    for (const Header& header : headers) {
        request.headers.push_back(header.name + ": " + header.value.fill(record, id));
    }
    request.body = body ? body->fill(record, id) : recordJson(record, id);
    return HttpClient::verdict(request.url, client.send(request));
}

std::string WebhookSink::problem() { return client.reach(common.url, common.timeout); }

std::unique_ptr<Sink> makeWebhookSink(const SinkSettings& settings) {
    return std::make_unique<WebhookSink>(settings);
}
