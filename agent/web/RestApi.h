// RestApi: what GET /api/v1/... answers: JSON in the shapes of `raidwatch ... --json`. The document
// docs/formats/openapi.json describes it, and is served too; docs/formats/http.md is for people.
//
//   RestApi api(knowledge);
//   WebAnswer answer;
//   if (api.answers(request, answer)) return answer;
//
// A client that asks for more than it can get in one answer finds the next one in the header Link.
//
// Threads  One at a time. Ownership: the knowledge is borrowed. Errors: problem objects.
#ifndef AGENT_WEB_RESTAPI_H
#define AGENT_WEB_RESTAPI_H

#include <cstdint>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "agent/web/WebAnswer.h"
#include "agent/web/WebKnowledge.h"
#include "agent/web/WebRequest.h"

class RestApi {
public:
    static constexpr const char* kRoot = "/api/v1/";
    static constexpr int kUsualRecords = 100;
    static constexpr int kMostRecords = 1000;  // of one answer

    explicit RestApi(WebKnowledge& knowledgeIN) : knowledge(knowledgeIN) {}

    // False when the path is not below kRoot.
    bool answers(const WebRequest& request, WebAnswer& answer);

private:
    using Handler = WebAnswer (RestApi::*)(const WebRequest& request, const std::string& rest);
    struct Route {
        const char* path;  // below kRoot; with a final "/" the rest of the path is an argument
        Handler handler;
    };
    static const Route kRoutes[];

    WebAnswer status(const WebRequest& request, const std::string& rest);
    WebAnswer arrays(const WebRequest& request, const std::string& rest);
    WebAnswer drives(const WebRequest& request, const std::string& rest);
    WebAnswer enclosures(const WebRequest& request, const std::string& rest);
    WebAnswer controllers(const WebRequest& request, const std::string& rest);
    WebAnswer incidents(const WebRequest& request, const std::string& rest);
    WebAnswer incident(const WebRequest& request, const std::string& rest);
    WebAnswer events(const WebRequest& request, const std::string& rest);
    WebAnswer event(const WebRequest& request, const std::string& rest);
    WebAnswer stream(const WebRequest& request, const std::string& rest);
    WebAnswer description(const WebRequest& request, const std::string& rest);

    WebAnswer listed(const WebRequest& request, const char* kind);
    WebAnswer objectOf(const WebRequest& request, const char* kind, const std::string& key);
    nlohmann::ordered_json historyOf(const std::string& key);

    WebKnowledge& knowledge;
};

// The document itself.
extern const char* const kOpenApi;

#endif  // AGENT_WEB_RESTAPI_H
