// AgentSite: what the daemon shows to web clients: the page, /api/v1/ (RestApi), /metrics, /healthz
// and the stream; docs/formats/http.md lists them.
//
//   AgentSite site({spoolFile, stateFile, settings.staleAfter}, {tokenHash, hosts, hostName});
//   WebServer server(site, {}, note);
//
// It changes nothing, whatever it is asked. What the last poll saw is UNKNOWN when it is stale.
//
// Threads  One at a time. Errors: answers.
#ifndef AGENT_WEB_AGENTSITE_H
#define AGENT_WEB_AGENTSITE_H

#include <cstdint>
#include <memory>
#include <string>

#include "agent/web/RestApi.h"
#include "agent/web/WebGuard.h"
#include "agent/web/WebKnowledge.h"
#include "agent/web/WebSite.h"

class AgentSite : public WebSite {
public:
    static constexpr int kRecordsAtOnce = 100;  // of a stream

    AgentSite(const WebKnowledge::Parts& parts, const WebGuard::Rules& rules);
    ~AgentSite() override;

    // Other settings, from the next answer on.
    void use(const WebKnowledge::Parts& parts, const WebGuard::Rules& rules);

    WebAnswer answer(const WebRequest& request) override;
    std::string recordedAfter(std::int64_t& after) override;
    std::string standing() override;
    void rest() override;

private:
    struct Parts;  // that are made anew by use()

    WebAnswer routed(const WebRequest& request);
    WebAnswer health(const WebRequest& request);

    std::unique_ptr<Parts> parts;
};

#endif  // AGENT_WEB_AGENTSITE_H
