// Web: the web server of the daemon, as [http] configures it.
//
//   Web web(settings, host, note);
//   web.notify();                 // something was recorded, or looked at
//   web.use(settings);            // after a reload
//   problem = web.problem();
//
// Threads  Any; use() and stop() one at a time. Errors: problem(), and notes. When [http] listens
//          nowhere there is no thread and nothing is loaded.
#ifndef AGENT_WEB_WEB_H
#define AGENT_WEB_WEB_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/web/AgentSite.h"
#include "agent/web/WebServer.h"

class Web {
public:
    Web(const AgentSettings& settings, std::string hostIN, WebServer::Note noteIN);

    void use(const AgentSettings& settings);
    void notify();
    void stop();

    std::vector<std::string> addresses() const;
    std::string problem() const;

private:
    const std::string host;
    std::string tokenHash;  // in force
    const WebServer::Note note;
    std::unique_ptr<AgentSite> site;
    std::unique_ptr<WebServer> server;
};

#endif  // AGENT_WEB_WEB_H
