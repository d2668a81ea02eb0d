// WebGuard: who may ask at all. Before a request is looked at any further, it must change nothing,
// be meant for this machine, not come from another site's page, and show the token where one is
// asked for.
//
//   WebGuard guard({settings.httpTokenHash, settings.httpHosts, hostName});
//   WebAnswer refusal;
//   if (!guard.admits(request, refusal)) return refusal;
//
// Names    A page of a stranger can have its own name lead to our address; its requests name that
//          name as host. So only addresses, "localhost", this machine's name and those configured
//          are answered (421).
// Sites    Browsers say where a request comes from: Sec-Fetch-Site, and Origin. Others' pages get
//          nothing (403); somebody who follows a link to us does.
// Token    On every address with a port, when one is configured; never on a Unix socket, where the
//          permissions of the file decide.
//
// Threads  One at a time. Errors: an answer of 500 when tokens cannot be checked.
#ifndef AGENT_WEB_WEBGUARD_H
#define AGENT_WEB_WEBGUARD_H

#include <string>
#include <vector>

#include "agent/web/WebAnswer.h"
#include "agent/web/WebRequest.h"
#include "agent/web/WebToken.h"

class WebGuard {
public:
    struct Rules {
        std::string tokenHash;           // "": nobody is asked
        std::vector<std::string> hosts;  // more names of this machine
        std::string hostName;
    };

    explicit WebGuard(Rules rulesIN) : rules(std::move(rulesIN)), token(rules.tokenHash) {}

    bool admits(const WebRequest& request, WebAnswer& refusal);

    // What every answer carries.
    static void harden(WebAnswer& answer);

private:
    bool isOurName(const std::string& host) const;
    static bool isOwnSite(const WebRequest& request);
    bool hasToken(const WebRequest& request, WebAnswer& refusal);

    const Rules rules;
    WebToken token;
};

#endif  // AGENT_WEB_WEBGUARD_H
