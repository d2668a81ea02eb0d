// WebClients: all connections of the web server, and who of them may stay when there are too many
// or when too much lies unread.
//
//   WebClients clients(limits);
//   if (!clients.makeRoom(peer)) refuse(fd);
//   clients.add(std::move(client));
//   for (const auto& client : clients.all()) ...
//
// Threads  One at a time. `limits` outlives it. Errors: none.
#ifndef AGENT_WEB_WEBCLIENTS_H
#define AGENT_WEB_WEBCLIENTS_H

#include <memory>
#include <string>
#include <vector>

#include "agent/web/WebClient.h"
#include "agent/web/WebLimits.h"

class WebClients {
public:
    using List = std::vector<std::unique_ptr<WebClient>>;

    explicit WebClients(const WebLimits& limitsIN) : limits(limitsIN) {}

    // Who has kept us waiting longest goes, of the same peer when that one has too many places.
    // False: nobody may be sent away yet.
    bool makeRoom(const std::string& peer);
    void add(std::unique_ptr<WebClient> client) { list.push_back(std::move(client)); }
    const List& all() const { return list; }

    // A peer that has much lying waits for its own readers.
    bool mayAnswer(const WebClient& asking) const;
    bool mayStream(const WebClient& asking) const;
    bool hasStreams() const;
    // Many peers, which on the loopback may be one user, do not make the daemon grow: who leaves
    // most lying is done.
    void shedUnread();

    void dropFinished();
    void clear() { list.clear(); }

private:
    const WebLimits& limits;
    List list;
};

#endif  // AGENT_WEB_WEBCLIENTS_H
