#include "agent/web/Web.h"

#include <utility>

#include "agent/daemon/RunFolder.h"

namespace {

WebKnowledge::Parts filesOf(const AgentSettings& settings) {
    return {RunFolder::spoolFile(settings), RunFolder(settings).stateFile(), settings.staleAfter,
            RunFolder::temperatureFile(settings)};
}

}  // namespace

Web::Web(const AgentSettings& settings, std::string hostIN, WebServer::Note noteIN)
    : host(std::move(hostIN)), note(std::move(noteIN)) {
    use(settings);
}

void Web::use(const AgentSettings& settings) {
    if (settings.httpListen.empty()) {
        server.reset();
        site.reset();
        return;
    }
    const WebGuard::Rules rules{settings.httpTokenHash, settings.httpHosts, host};
    if (!server) {
        site = std::make_unique<AgentSite>(filesOf(settings), rules);
        server = std::make_unique<WebServer>(*site, WebServer::Limits{}, note);
    } else {
        // The new rules first: an address that is added may ask for a token.
        server->change([&] {
            site->use(filesOf(settings), rules);
            if (tokenHash != settings.httpTokenHash) server->hangUp();
        });
    }
    tokenHash = settings.httpTokenHash;
    std::vector<WebAddress> addresses;
    for (const std::string& written : settings.httpListen) {
        WebAddress address;
        if (WebAddress::parse(written, settings.runFolder, address).empty()) {
            addresses.push_back(address);
        }
    }
    server->listenOn(addresses);
}

void Web::notify() {
    if (server) server->notify();
}

void Web::stop() {
    if (server) server->stop();
}

std::vector<std::string> Web::addresses() const {
    return server ? server->addresses() : std::vector<std::string>();
}

std::string Web::problem() const { return server ? server->problem() : std::string(); }
