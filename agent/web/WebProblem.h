// WebProblem: why a web client does not get what it asked for, as a JSON problem object (RFC 9457):
//
//   {"type":"about:blank","title":"Not Found","status":404,"detail":"there is no array ..."}
//
// Pure functions; any thread.
#ifndef AGENT_WEB_WEBPROBLEM_H
#define AGENT_WEB_WEBPROBLEM_H

#include <string>

#include "agent/web/WebAnswer.h"

constexpr char kProblemType[] = "application/problem+json";

// `detail` may hold raw text.
WebAnswer webProblem(int status, const std::string& detail);
const char* statusTitle(int status);

#endif  // AGENT_WEB_WEBPROBLEM_H
