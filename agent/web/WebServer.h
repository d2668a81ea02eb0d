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
// WebListener accepts connections, WebClient is one, WebClients says who may stay; what is answered
// is the site's business.
//
// Threads    notify(), change(), listenOn(), addresses(), problem() and stop() from any.
// Ownership  The site is borrowed; it outlives the server.
// Errors     Addresses that cannot be had: problem(), and one note each. Others are answers.
#ifndef AGENT_WEB_WEBSERVER_H
#define AGENT_WEB_WEBSERVER_H

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "agent/web/HttpExchange.h"
#include "agent/web/WebAddress.h"
#include "agent/web/WebClients.h"
#include "agent/web/WebLimits.h"
#include "agent/web/WebListener.h"
#include "agent/web/WebSite.h"

class WebServer {
public:
    using Limits = WebLimits;
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
    struct Change;

    void serve();
    void carryOutChanges();
    void openListeners();
    void publish();
    void acceptFrom(const WebListener& listener);
    void step(WebClient& client, short events);
    void stepSafely(WebClient& client, short events);
    void answer(WebClient& client);
    void feed(WebClient& stream);
    void beat(WebClient& stream);
    bool isTimeToFeed(bool notified);
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
    WebClients clients{limits};
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
