#include "agent/incidents/IncidentJson.h"

#include <nlohmann/json.hpp>

#include "agent/JsonFields.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr Notice::Kind kNoticeKinds[] = {
    Notice::Kind::kOpened,   Notice::Kind::kUpdated,  Notice::Kind::kWorse, Notice::Kind::kResolved,
    Notice::Kind::kReminder, Notice::Kind::kFlapping, Notice::Kind::kTest,
};

}  // namespace

Json incidentJson(const Incident& incident) {
    Json json;
    json["id"] = incident.id;
    json["object"] = incident.object;
    json["objectName"] = incident.objectName;
    json["condition"] = incident.condition;
    json["value"] = incident.value;
    json["severity"] = incident.severity;
    json["open"] = incident.open;
    json["origin"] = originWord(incident.origin);
    json["openedAt"] = timeOrNull(incident.openedAt);
    json["updatedAt"] = timeOrNull(incident.updatedAt);
    json["resolvedAt"] = timeOrNull(incident.resolvedAt);
    json["firstSequence"] = incident.firstSequence;
    json["lastSequence"] = incident.lastSequence;
    json["events"] = incident.events;
    json["code"] = incident.code;
    json["text"] = incident.text;
    json["survives"] = incident.survives < 0 ? Json(nullptr) : Json(incident.survives);
    json["exposedSince"] = timeOrNull(incident.exposedSince);
    json["ackAt"] = timeOrNull(incident.ackAt);
    json["ackBy"] = incident.ackBy;
    json["ackComment"] = incident.ackComment;
    json["ackValue"] = incident.ackValue;
    json["ackUntil"] = timeOrNull(incident.ackUntil);
    json["changes"] = incident.changes;
    json["changesSince"] = timeOrNull(incident.changesSince);
    json["flapping"] = incident.flapping;
    json["reminders"] = incident.reminders;
    json["nextReminder"] = timeOrNull(incident.nextReminder);
    return json;
}

Incident incidentFromJson(const Json& json) {
    Incident incident;
    incident.id = numberOf(json, "id");
    incident.object = textOf(json, "object");
    incident.objectName = textOf(json, "objectName");
    incident.condition = textOf(json, "condition");
    incident.value = textOf(json, "value");
    incident.severity = intOf(json, "severity");
    incident.open = truthOf(json, "open", true);
    incident.origin = originOf(textOf(json, "origin"));
    incident.openedAt = timeOf(json, "openedAt");
    incident.updatedAt = timeOf(json, "updatedAt");
    incident.resolvedAt = timeOf(json, "resolvedAt");
    incident.firstSequence = numberOf(json, "firstSequence");
    incident.lastSequence = numberOf(json, "lastSequence");
    incident.events = intOf(json, "events");
    incident.code = intOf(json, "code");
    incident.text = textOf(json, "text");
    incident.survives = intOf(json, "survives", -1);
    incident.exposedSince = timeOf(json, "exposedSince");
    incident.ackAt = timeOf(json, "ackAt");
    incident.ackBy = textOf(json, "ackBy");
    incident.ackComment = textOf(json, "ackComment");
    incident.ackValue = textOf(json, "ackValue");
    incident.ackUntil = timeOf(json, "ackUntil");
    incident.changes = intOf(json, "changes");
    incident.changesSince = timeOf(json, "changesSince");
    incident.flapping = truthOf(json, "flapping", false);
    incident.reminders = intOf(json, "reminders");
    incident.nextReminder = timeOf(json, "nextReminder");
    return incident;
}

Json noticeJson(const Notice& notice) {
    Json json;
    json["notice"] = noticeWord(notice.kind);
    json["subject"] = notice.subject;
    json["body"] = notice.body;
    json["incident"] = incidentJson(notice.incident);
    return json;
}

Notice noticeFromJson(const Json& json) {
    Notice notice;
    const std::string word = textOf(json, "notice");
    for (const Notice::Kind kind : kNoticeKinds) {
        if (word == noticeWord(kind)) notice.kind = kind;
    }
    notice.subject = textOf(json, "subject");
    notice.body = textOf(json, "body");
    if (json.is_object() && json.contains("incident")) {
        notice.incident = incidentFromJson(json["incident"]);
    }
    return notice;
}

Json silenceJson(const Silence& silence) {
    Json json;
    json["id"] = silence.id;
    json["object"] = silence.object;
    json["objectName"] = silence.objectName;
    json["from"] = timeOrNull(silence.from);
    json["until"] = timeOrNull(silence.until);
    json["reason"] = silence.reason;
    json["by"] = silence.by;
    return json;
}

Silence silenceFromJson(const Json& json) {
    Silence silence;
    silence.id = numberOf(json, "id");
    silence.object = textOf(json, "object");
    silence.objectName = textOf(json, "objectName");
    silence.from = timeOf(json, "from");
    silence.until = timeOf(json, "until");
    silence.reason = textOf(json, "reason");
    silence.by = textOf(json, "by");
    return silence;
}
