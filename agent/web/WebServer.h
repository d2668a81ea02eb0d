// WebServer: serves a WebSite to web clients, on Unix sockets and ports, with streams of
// server-sent events.
//
//   WebServer server(site, {}, [&](const std::string& line) { note(line); });
//   server.listenOn(addresses);
//   server.notify();                      // something was recorded, or looked at
//   server.change([&] { site.use(...); });  // between two answers
//   server.stop();
//
// One thread does it all and waits for no client: whatever clients do delays other clients at most,
// and those by no more than one answer each. Everything is bounded: connections, also of one peer
// (an address, or a user of this machine); the head of a request and the time for sending it;
// answers that wait to be read, and the time for reading them; streams. When all places are taken,
// whoever keeps us waiting longest makes room, and when too much waits to be read, whoever has most
// of it. A stream that is not read gets nothing more until it
// is; it can go on where it was, so nothing is missed.
//
// Threads    notify(), change(), listenOn(), addresses(), problem() and stop() from any.
// Ownership  The site is borrowed; it outlives the server.
// Errors     Addresses that cannot be had: problem(), and one note each. Others are answers.
#ifndef AGENT_WEB_WEBSERVER_H
#define AGENT_WEB_WEBSERVER_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "agent/web/HttpExchange.h"
#include "agent/web/WebAddress.h"
#include "agent/web/WebListener.h"
#include "agent/web/WebSite.h"

class WebServer {
public:
    struct Limits {
        std::size_t clients = 64;
        std::size_t perPeer = 32;
        std::size_t streams = 16;
        std::size_t streamsPerPeer = 8;
        std::size_t head = 16 * 1024;                // bytes of a request
        std::size_t unread = 4 * 1024 * 1024;        // bytes of answers that a peer has yet to read
        std::size_t unreadOfAll = 32 * 1024 * 1024;  // of all peers together
        std::size_t streamAhead = 64 * 1024;  // bytes that a stream may be ahead of its reader
        std::chrono::milliseconds forHead{10000};
        std::chrono::milliseconds forNext{30000};    // an open connection without a request
        std::chrono::milliseconds forAnswer{60000};  // for reading it, and a stream's next part
        std::chrono::milliseconds beat{15000};       // a sign of life on a silent stream
        std::chrono::milliseconds tick{5000};        // how often a stream looks by itself
        std::chrono::milliseconds untilRest{5000};   // without a request or a stream
        std::chrono::milliseconds grace{1000};     // that everybody has before he may be sent away
        std::chrono::milliseconds farewell{2000};  // for the other side to hang up
    };
    using Note = std::function<void(const std::string&)>;
    using Exchanges = std::function<std::unique_ptr<HttpExchange>()>;

    // `exchanges` is asked once, when the first client comes.
    WebServer(WebSite& siteIN, const Limits& limitsIN, Note noteIN,
              Exchanges exchangesIN = loadHttpExchange);
    ~WebServer();  // stop()
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    // From now on there, and nowhere else. What stays is not interrupted. Returns when it is so.
    void listenOn(const std::vector<WebAddress>& addresses);
    // Carries it out between two answers and returns when it is done; does nothing after stop().
    void change(const std::function<void()>& what);
    // Inside change(): whoever is connected has to come again.
    void hangUp();
    void notify();
    // Ends streams and connections, removes the sockets.
    void stop();

    std::vector<std::string> addresses() const;  // where it listens now, for people
    std::string problem() const;                 // where it cannot; "" when all is well

private:
    using Time = std::chrono::steady_clock::time_point;
    struct Client;
    struct Change;

    void serve();
    void carryOutChanges();
    void openListeners();
    void publish();
    void acceptFrom(const WebListener& listener);
    bool makeRoom(const std::string& peer);
    void step(Client& client, short events);
    void stepSafely(Client& client, short events);
    void readFrom(Client& client);
    void answer(Client& client);
    bool mayAnswer(const Client& asking) const;
    void shedUnread();
    bool mayStream(const Client& asking) const;
    bool hasStreams() const;
    void feed(Client& stream);
    void beat(Client& stream);
    bool isTimeToFeed(bool notified);
    void writeTo(Client& client);
    void dropFinished();
    void restWhenIdle();
    int millisecondsToWait() const;
    HttpExchange* exchange();

    WebSite& site;
    const Limits limits;
    const Note note;
    const Exchanges exchanges;
    int wakeUp = -1;  // an event descriptor

    // The server's thread only.
    std::vector<std::unique_ptr<WebListener>> listeners;
    std::vector<std::unique_ptr<Client>> clients;
    std::unique_ptr<HttpExchange> http;
    std::vector<std::string> told;  // problems of listeners that people know of
    std::string missing;            // why there is no `http`
    bool stumbled = false;          // over a client; said once
    Time lastAsked;
    Time nextTick;  // when streams look by themselves
    bool rested = true;

    mutable std::mutex mutex;
    std::vector<Change*> changes;   // guarded by `mutex`
    std::vector<std::string> open;  // guarded by `mutex`
    std::string trouble;            // guarded by `mutex`
    bool stopping = false;          // guarded by `mutex`
    std::thread thread;
};

#endif  // AGENT_WEB_WEBSERVER_H
