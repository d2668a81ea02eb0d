// JsonFields: members of a JSON object that may be missing or of another type, and the forms that
// all our JSON shares: times are RFC 3339 in UTC or null, numbers that are not set are null.
//
//   const std::int64_t limit = numberOf(request, "limit", 100);
//
// Pure functions; any thread. Errors: none, the default is returned.
#ifndef AGENT_JSONFIELDS_H
#define AGENT_JSONFIELDS_H

#include <cstdint>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "agent/spool/Origin.h"

// What comes from others is looked at before anything recursive sees it: JSON with more than
// 16 levels inside it is deep. shallowJson() gives nothing for it (is_discarded()), nor for what is
// no JSON.
bool isDeep(const std::string& text);
nlohmann::ordered_json shallowJson(const std::string& text);

std::string textOf(const nlohmann::ordered_json& json, const char* name,
                   const std::string& otherwise = std::string());
// The same, at most 1,000 bytes of it: of a text that somebody else has sent and that we keep.
std::string shortTextOf(const nlohmann::ordered_json& json, const char* name);
std::int64_t numberOf(const nlohmann::ordered_json& json, const char* name,
                      std::int64_t otherwise = 0);
int intOf(const nlohmann::ordered_json& json, const char* name, int otherwise = 0);
bool truthOf(const nlohmann::ordered_json& json, const char* name, bool otherwise);

// Seconds, from "2026-11-21T05:30:12Z" or from a number; 0 for what no clock shows, before 1970 or
// behind 9999.
std::int64_t timeOf(const nlohmann::ordered_json& json, const char* name);
nlohmann::ordered_json timeOrNull(std::int64_t seconds);  // null for 0

// "2026-11-21T05:30:12.345Z"; milliseconds since 1970-01-01 UTC.
std::string rfc3339Milliseconds(std::int64_t at);
// Milliseconds, from such a text or one without a fraction; 0 for anything else.
std::int64_t millisecondsOf(const std::string& rfc3339Text);

Origin originOf(const std::string& word);  // kLive for any other word

#endif  // AGENT_JSONFIELDS_H
