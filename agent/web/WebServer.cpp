#include "agent/web/WebServer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <future>
#include <utility>

#include "agent/Failure.h"
#include "agent/daemon/IdleMemory.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr char kBeat[] = ":\n\n";  // a comment of server-sent events

// What can be said without the library for it.
std::string refusal(const char* status, const std::string& why) {
    return std::string("HTTP/1.1 ") + status + "\r\nContent-Type: text/plain; charset=utf-8\r\n" +
           "Content-Length: " + std::to_string(why.size()) +
           "\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\nRetry-After: 5\r\n" +
           "Connection: close\r\n\r\n" + why;
}

}  // namespace

struct WebServer::Change {
    const std::function<void()>& what;
    std::promise<void> done;
};

WebServer::WebServer(WebSite& siteIN, const Limits& limitsIN, Note noteIN, Exchanges exchangesIN)
    : site(siteIN),
      limits(limitsIN),
      note(std::move(noteIN)),
      exchanges(std::move(exchangesIN)),
      wakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wakeUp < 0) throw Failure(Failure::kFailed, "no descriptor is left for the web server");
    lastAsked = SteadyClock::now();
    thread = std::thread([this] { serve(); });
}

WebServer::~WebServer() {
    stop();
    (void)close(wakeUp);
}

void WebServer::stop() {
    {
        const std::lock_guard<std::mutex> guard(mutex);
        stopping = true;
    }
    notify();
    if (thread.joinable()) thread.join();
}

void WebServer::notify() {
    const std::uint64_t one = 1;
    (void)!write(wakeUp, &one, sizeof one);
}

void WebServer::change(const std::function<void()>& what) {
    Change wanted{what, {}};
    {
        const std::lock_guard<std::mutex> guard(mutex);
        if (stopping) return;
        changes.push_back(&wanted);
    }
    notify();
    wanted.done.get_future().get();
}

void WebServer::listenOn(const std::vector<WebAddress>& addresses) {
    change([this, &addresses] {
        std::vector<std::unique_ptr<WebListener>> kept;
        for (const WebAddress& address : addresses) {
            const auto there = std::find_if(
                listeners.begin(), listeners.end(),
                [&](const auto& one) { return one && one->address().text() == address.text(); });
            kept.push_back(there == listeners.end() ? std::make_unique<WebListener>(address)
                                                    : std::move(*there));
        }
        listeners = std::move(kept);
        openListeners();
    });
}

void WebServer::hangUp() { clients.clear(); }

std::vector<std::string> WebServer::addresses() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return open;
}

std::string WebServer::problem() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return trouble;
}

// --- the server's thread ---

void WebServer::serve() {
    for (;;) {
        std::vector<pollfd> waiting;
        waiting.push_back({wakeUp, POLLIN, 0});
        for (const auto& listener : listeners) waiting.push_back({listener->fd(), POLLIN, 0});
        const std::size_t first = waiting.size();
        for (const auto& client : clients.all()) {
            waiting.push_back({client->fd, client->events(), 0});
        }
        const int ready = poll(waiting.data(), waiting.size(), millisecondsToWait());
        if (ready < 0 && errno != EINTR) break;
        std::uint64_t calls = 0;
        (void)!read(wakeUp, &calls, sizeof calls);
        {
            const std::lock_guard<std::mutex> guard(mutex);
            if (stopping) break;
        }
        const bool isFeeding = isTimeToFeed(calls > 0);
        for (std::size_t i = 0; i < clients.all().size(); ++i) {
            WebClient& client = *clients.all()[i];
            client.hungry = client.hungry || isFeeding;
            stepSafely(client, ready > 0 ? waiting[first + i].revents : short{0});
        }
        clients.dropFinished();
        for (std::size_t i = 0; ready > 0 && i + 1 < first; ++i) {
            if (waiting[i + 1].revents != 0) acceptFrom(*listeners[i]);
        }
        openListeners();
        carryOutChanges();
        restWhenIdle();
    }
    clients.clear();
    listeners.clear();
    publish();
    carryOutChanges();
}

bool WebServer::isTimeToFeed(bool notified) {
    const Time now = SteadyClock::now();
    if (!notified && now < nextTick) return false;
    nextTick = now + limits.tick;
    return true;
}

// After the end, those who wait are only let go.
void WebServer::carryOutChanges() {
    std::vector<Change*> wanted;
    bool isOver = false;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        wanted.swap(changes);
        isOver = stopping;
    }
    for (Change* each : wanted) {
        try {
            if (!isOver) each->what();
            each->done.set_value();
        } catch (...) {
            each->done.set_exception(std::current_exception());
        }
    }
}

void WebServer::openListeners() {
    const Time now = SteadyClock::now();
    for (const auto& listener : listeners) {
        if (listener->isDue(now)) listener->open(now);
    }
    publish();
}

void WebServer::publish() {
    std::vector<std::string> listening;
    std::vector<std::string> problems;
    for (const auto& listener : listeners) {
        if (listener->fd() >= 0) {
            listening.push_back(listener->text());
        } else {
            problems.push_back(listener->problem());
        }
    }
    for (const std::string& line : problems) {
        if (std::find(told.begin(), told.end(), line) == told.end()) note(line + "; trying again");
    }
    if (!told.empty() && problems.empty()) {
        for (const std::string& place : listening) note("web clients are served at " + place);
    }
    told = problems;
    if (!missing.empty()) problems.push_back(missing);
    std::string all;
    for (const std::string& line : problems) all += (all.empty() ? "" : "; ") + line;
    const std::lock_guard<std::mutex> guard(mutex);
    open = std::move(listening);
    trouble = std::move(all);
}

int WebServer::millisecondsToWait() const {
    const Time now = SteadyClock::now();
    Time next = now + std::chrono::hours(1);
    for (const auto& listener : listeners) {
        if (listener->fd() < 0) next = std::min(next, listener->due());
    }
    for (const auto& client : clients.all()) {
        if (client->asks() && clients.mayAnswer(*client)) return 0;
        if (!client->isStream()) {
            next = std::min(next, client->due());
            continue;
        }
        if (client->hungry && client->unread() < limits.streamAhead) return 0;
        next = std::min({next, nextTick,
                         client->isWriting() ? client->due() : client->quietSince + limits.beat});
    }
    if (!rested && !clients.hasStreams()) next = std::min(next, lastAsked + limits.untilRest);
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(next - now).count();
    return static_cast<int>(std::max<std::int64_t>(left + 1, 0));
}

void WebServer::acceptFrom(const WebListener& listener) {
    while (std::unique_ptr<WebClient> client = listener.accept(limits)) {
        if (clients.makeRoom(client->peer)) {
            clients.add(std::move(client));
            continue;
        }
        client->sayLast(refusal("503 Service Unavailable", "too many connections\n"));
        client->send();
    }
}

// Whatever goes wrong with one client, memory too, ends that one and not the daemon.
void WebServer::stepSafely(WebClient& client, short events) {
    try {
        step(client, events);
    } catch (const std::exception& e) {
        client.done = true;
        if (!stumbled) note(std::string("a web client was sent away: ") + e.what());
        stumbled = true;
    }
}

void WebServer::step(WebClient& client, short events) {
    if (client.done) return;
    if ((events & (POLLERR | POLLNVAL)) != 0) return client.end();
    if ((events & (POLLIN | POLLHUP)) != 0) client.receive();
    if (client.done) return;
    if (client.isStream()) {
        if (client.hungry) feed(client);
        beat(client);
    } else if (client.isTooLong()) {
        client.sayLast(refusal("431 Request Header Fields Too Large",
                               "the head of the request is too long\n"));
    } else if (client.asks() && clients.mayAnswer(client)) {
        clients.shedUnread();
        answer(client);
    }
    if (client.isWriting()) client.send();
}

HttpExchange* WebServer::exchange() {
    if (http) return http.get();
    try {
        http = exchanges();
    } catch (const std::exception& e) {
        if (missing.empty()) note(e.what());
        missing = e.what();
        publish();
    }
    return http.get();
}

void WebServer::answer(WebClient& client) {
    lastAsked = SteadyClock::now();
    rested = false;
    const std::string head = client.takeHead();
    HttpExchange::Result result;
    if (HttpExchange* const protocol = exchange()) {
        result = protocol->exchange(
            head,
            [&](const WebRequest& plain) {
                WebRequest request = plain;
                request.peer = client.peer;
                request.isLocal = client.isLocal;
                request.mayStream = clients.mayStream(client);
                return site.answer(request);
            },
            false);
    } else {
        result.bytes = refusal("503 Service Unavailable", missing + "\n");
    }
    if (result.streamAfter != WebAnswer::kNoStream) {
        client.say(result.bytes);
        client.beginStream(result.streamAfter);
        feed(client);
    } else if (result.keepOpen) {
        client.say(result.bytes);
    } else {
        client.sayLast(result.bytes);
    }
}

// As much as its reader has room for; the rest when he has read that.
void WebServer::feed(WebClient& stream) {
    std::string news;
    while (stream.unread() + news.size() < limits.streamAhead) {
        const std::string part = site.recordedAfter(stream.after);
        stream.hungry = !part.empty();
        if (!stream.hungry) break;
        news += part;
    }
    if (!stream.hungry) {
        const std::string standing = site.standing();
        if (standing != stream.standing) news += standing;
        stream.standing = standing;
    }
    if (!news.empty()) stream.say(news);
}

// So that both sides notice when the other one is gone.
void WebServer::beat(WebClient& stream) {
    const bool isQuiet = SteadyClock::now() >= stream.quietSince + limits.beat;
    if (isQuiet && !stream.isWriting()) stream.say(kBeat);
}

void WebServer::restWhenIdle() {
    if (rested || clients.hasStreams() || SteadyClock::now() < lastAsked + limits.untilRest) return;
    rested = true;
    site.rest();
    giveBackMemory();
}
