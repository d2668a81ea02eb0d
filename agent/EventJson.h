// EventJson: an event as one JSON object on one line; docs/formats/event-json.md describes it.
//
//   out.line(eventJson(event));
//   out.line(eventJson(event, "02-member-failed"));   // found in a recording: member "step"
//
// Numbers that are not set are null, identifiers of the location that are not set are left out.
// Bytes that are no UTF-8 are replaced by U+FFFD. Pure functions; any thread.
#ifndef AGENT_EVENTJSON_H
#define AGENT_EVENTJSON_H

#include <cstdint>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "events/QELEvent.h"

std::string eventJson(const QELEvent& event);
std::string eventJson(const QELEvent& event, const std::string& step);

// The same as a JSON value, texts as they are, and back. Reading is lenient: a member that is
// missing or of another type stays not set.
nlohmann::ordered_json eventObject(const QELEvent& event);
QELEvent eventFromObject(const nlohmann::ordered_json& object);

// Any JSON on one line; bytes that are no UTF-8 are replaced by U+FFFD.
std::string jsonLine(const nlohmann::ordered_json& json);

// "2026-11-21T05:30:12Z"; `when` in seconds since 1970-01-01 UTC.
std::string rfc3339(std::int64_t when);

#endif  // AGENT_EVENTJSON_H
