#include "agent/spool/RecordJson.h"

#include <cstdlib>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/JsonFields.h"
#include "agent/incidents/IncidentJson.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr char kEventType[] = "raidwatch.event";
constexpr char kNoticeType[] = "raidwatch.notice";

struct OutcomeWord {
    Receipt::Outcome outcome;
    const char* word;
};

constexpr OutcomeWord kOutcomes[] = {
    {Receipt::Outcome::kDelivered, "delivered"},
    {Receipt::Outcome::kFailed, "failed"},
    {Receipt::Outcome::kDead, "dead"},
};

std::string machineOf(const std::string& id) { return id.substr(0, id.rfind(':')); }

std::int64_t sequenceOf(const std::string& id) {
    const std::size_t colon = id.rfind(':');
    if (colon == std::string::npos) return 0;
    return std::strtoll(id.c_str() + colon + 1, nullptr, 10);
}

Json millisecondsOrNull(std::int64_t at) {
    return at == 0 ? Json(nullptr) : Json(rfc3339Milliseconds(at));
}

// When it happened: the engine knows whole seconds only.
std::string timeOf(const Record& record) {
    return record.kind == Record::Kind::kEvent ? rfc3339(record.event.timeStamp)
                                               : rfc3339Milliseconds(record.at);
}

Json dataOf(const Record& record) {
    Json data;
    data["spooledAt"] = millisecondsOrNull(record.at);
    data["origin"] = originWord(record.origin);
    data["object"] = record.object;
    data["objectName"] = record.objectName;
    data["incident"] = record.incident == 0 ? Json(nullptr) : Json(record.incident);
    if (record.kind == Record::Kind::kEvent) {
        data["event"] = eventObject(record.event);
    } else {
        data["notice"] = noticeJson(record.notice);
    }
    return data;
}

}  // namespace

std::string recordJson(const Record& record, const std::string& id) {
    return jsonLine(recordObject(record, id));
}

// An empty subject is not allowed; it is left out.
Json recordObject(const Record& record, const std::string& id) {
    Json object;
    object["specversion"] = "1.0";
    object["id"] = id;
    object["source"] = "urn:uuid:" + machineOf(id);
    object["type"] = record.kind == Record::Kind::kEvent ? kEventType : kNoticeType;
    if (!record.object.empty()) object["subject"] = record.object;
    object["time"] = timeOf(record);
    object["datacontenttype"] = "application/json";
    object["data"] = dataOf(record);
    return object;
}

Record recordFromObject(const Json& object) {
    Record record;
    record.sequence = sequenceOf(textOf(object, "id"));
    record.kind =
        textOf(object, "type") == kNoticeType ? Record::Kind::kNotice : Record::Kind::kEvent;
    if (!object.is_object() || !object.contains("data")) return record;
    const Json& data = object["data"];
    record.at = millisecondsOf(textOf(data, "spooledAt"));
    record.origin = originOf(textOf(data, "origin"));
    record.object = textOf(data, "object");
    record.objectName = textOf(data, "objectName");
    record.incident = numberOf(data, "incident");
    if (data.contains("event")) record.event = eventFromObject(data["event"]);
    if (data.contains("notice")) record.notice = noticeFromJson(data["notice"]);
    return record;
}

Json receiptJson(const Receipt& receipt) {
    Json json;
    json["sink"] = receipt.sink;
    json["sequence"] = receipt.sequence;
    json["at"] = millisecondsOrNull(receipt.at);
    for (const OutcomeWord& row : kOutcomes) {
        if (row.outcome == receipt.outcome) json["outcome"] = row.word;
    }
    json["tries"] = receipt.tries;
    json["answer"] = receipt.answer;
    return json;
}

Receipt receiptFromJson(const Json& json) {
    Receipt receipt;
    receipt.sink = textOf(json, "sink");
    receipt.sequence = numberOf(json, "sequence");
    receipt.at = millisecondsOf(textOf(json, "at"));
    const std::string word = textOf(json, "outcome");
    for (const OutcomeWord& row : kOutcomes) {
        if (word == row.word) receipt.outcome = row.outcome;
    }
    receipt.tries = intOf(json, "tries");
    receipt.answer = textOf(json, "answer");
    return receipt;
}

Json sinkStatusJson(const SinkStatus& status) {
    Json json;
    json["sink"] = status.sink;
    json["ok"] = status.ok;
    json["cursor"] = status.cursor;
    json["waiting"] = status.waiting;
    json["dead"] = status.dead;
    json["lastDelivered"] = millisecondsOrNull(status.lastDelivered);
    json["tries"] = status.tries;
    json["lastAnswer"] = status.lastAnswer;
    return json;
}

SinkStatus sinkStatusFromJson(const Json& json) {
    SinkStatus status;
    status.sink = textOf(json, "sink");
    status.ok = truthOf(json, "ok", true);
    status.cursor = numberOf(json, "cursor");
    status.waiting = numberOf(json, "waiting");
    status.dead = numberOf(json, "dead");
    status.lastDelivered = millisecondsOf(textOf(json, "lastDelivered"));
    status.tries = intOf(json, "tries");
    status.lastAnswer = textOf(json, "lastAnswer");
    return status;
}
