#include "agent/web/WebServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
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

constexpr std::size_t kReadAtOnce = 8 * 1024;
constexpr char kEndOfHead[] = "\r\n\r\n";
constexpr char kBeat[] = ":\n\n";  // a comment of server-sent events

// What can be said without the library for it.
std::string refusal(const char* status, const std::string& why) {
    return std::string("HTTP/1.1 ") + status + "\r\nContent-Type: text/plain; charset=utf-8\r\n" +
           "Content-Length: " + std::to_string(why.size()) +
           "\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\nRetry-After: 5\r\n" +
           "Connection: close\r\n\r\n" + why;
}

std::string peerOf(int fd, const sockaddr_storage& address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address.ss_family == AF_INET) {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        (void)inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
        return text;
    }
    if (address.ss_family == AF_INET6) {
        const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
        (void)inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
        return text;
    }
    ucred user{};
    socklen_t size = sizeof user;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &user, &size) != 0) return "somebody";
    return "user " + std::to_string(user.uid);
}

}  // namespace

struct WebServer::Client {
    enum class Phase { kAsking, kReading, kStream, kLeaving };

    int fd = -1;
    std::string peer;
    bool isLocal = false;
    Phase phase = Phase::kAsking;
    Time since;     // when the phase began
    Time deadline;  // of the phase, or of the next progress of a stream
    std::string in;
    std::string out;
    std::size_t sent = 0;
    bool closing = false;  // after `out`
    bool done = false;

    // A stream's.
    std::int64_t after = 0;
    std::string standing;  // that it was told last
    Time quietSince;
    bool hungry = true;  // there may be more for it

    ~Client() { (void)close(fd); }

    bool writing() const { return sent < out.size(); }
    std::size_t unread() const { return out.size() - sent; }
    std::size_t headSize() const {
        const std::size_t end = in.find(kEndOfHead);
        return end == std::string::npos ? 0 : end + sizeof kEndOfHead - 1;
    }
    void begin(Phase next, Time now, std::chrono::milliseconds patience) {
        phase = next;
        since = now;
        deadline = now + patience;
    }
    void say(const std::string& bytes) {
        if (!writing()) {
            out.clear();
            sent = 0;
        }
        out += bytes;
    }
};

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
        for (const auto& client : clients) {
            const bool listens = client->phase != Client::Phase::kReading;
            const int wanted = (client->writing() ? POLLOUT : 0) |
                               (listens && client->headSize() == 0 ? POLLIN : 0);
            waiting.push_back({client->fd, static_cast<short>(wanted), 0});
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
        for (std::size_t i = 0; i < clients.size(); ++i) {
            clients[i]->hungry = clients[i]->hungry || isFeeding;
            stepSafely(*clients[i], ready > 0 ? waiting[first + i].revents : short{0});
        }
        dropFinished();
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
    for (const auto& client : clients) {
        const bool asks = client->phase == Client::Phase::kAsking && client->headSize() > 0;
        if (asks && !client->writing() && mayAnswer(*client)) return 0;
        if (client->phase != Client::Phase::kStream) {
            next = std::min(next, client->deadline);
            continue;
        }
        if (client->hungry && client->unread() < limits.streamAhead) return 0;
        next = std::min({next, nextTick,
                         client->writing() ? client->deadline : client->quietSince + limits.beat});
    }
    if (!rested && !hasStreams()) next = std::min(next, lastAsked + limits.untilRest);
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(next - now).count();
    return static_cast<int>(std::max<std::int64_t>(left + 1, 0));
}

void WebServer::acceptFrom(const WebListener& listener) {
    for (;;) {
        sockaddr_storage address{};
        socklen_t size = sizeof address;
        const int fd = accept4(listener.fd(), reinterpret_cast<sockaddr*>(&address), &size,
                               SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) {
            // Out of descriptors: the listener stays readable, so breathe before the next try.
            if (errno == EMFILE || errno == ENFILE) (void)poll(nullptr, 0, 50);
            return;
        }
        auto client = std::make_unique<Client>();
        client->fd = fd;
        client->isLocal = listener.address().isUnix();
        client->peer = peerOf(fd, address);
        if (!makeRoom(client->peer)) {
            const std::string words = refusal("503 Service Unavailable", "too many connections\n");
            (void)!send(fd, words.data(), words.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            continue;
        }
        if (!client->isLocal) {
            const int yes = 1;
            (void)setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        }
        client->begin(Client::Phase::kAsking, SteadyClock::now(), limits.forHead);
        clients.push_back(std::move(client));
    }
}

// Who has kept us waiting longest goes, of the same peer when that one has too many places.
bool WebServer::makeRoom(const std::string& peer) {
    const auto same = [&peer](const auto& one) { return one->peer == peer; };
    const bool ofPeer = static_cast<std::size_t>(
                            std::count_if(clients.begin(), clients.end(), same)) >= limits.perPeer;
    if (!ofPeer && clients.size() < limits.clients) return true;
    auto oldest = clients.end();
    for (auto it = clients.begin(); it != clients.end(); ++it) {
        if ((*it)->phase == Client::Phase::kStream || (ofPeer && !same(*it))) continue;
        if (oldest == clients.end() || (*it)->since < (*oldest)->since) oldest = it;
    }
    if (oldest == clients.end() || (*oldest)->since + limits.grace > SteadyClock::now()) {
        return false;
    }
    clients.erase(oldest);
    return true;
}

// Whatever goes wrong with one client, memory too, ends that one and not the daemon.
void WebServer::stepSafely(Client& client, short events) {
    try {
        step(client, events);
    } catch (const std::exception& e) {
        client.done = true;
        if (!stumbled) note(std::string("a web client was sent away: ") + e.what());
        stumbled = true;
    }
}

void WebServer::step(Client& client, short events) {
    if (client.done) return;
    if ((events & (POLLERR | POLLNVAL)) != 0) {
        client.done = true;
        return;
    }
    if ((events & (POLLIN | POLLHUP)) != 0) readFrom(client);
    if (client.done) return;
    if (client.phase == Client::Phase::kStream) {
        if (client.hungry) feed(client);
        beat(client);
    } else if (!client.writing() && client.phase == Client::Phase::kAsking) {
        const bool tooLong = client.headSize() == 0 && client.in.size() > limits.head;
        if (tooLong) {
            client.say(refusal("431 Request Header Fields Too Large",
                               "the head of the request is too long\n"));
            client.closing = true;
            client.begin(Client::Phase::kReading, SteadyClock::now(), limits.forAnswer);
        } else if (client.headSize() > 0 && mayAnswer(client)) {
            shedUnread();
            answer(client);
        }
    }
    if (client.writing()) writeTo(client);
}

void WebServer::readFrom(Client& client) {
    char bytes[kReadAtOnce];
    const ssize_t count = recv(client.fd, bytes, sizeof bytes, MSG_DONTWAIT);
    if (count <= 0) {
        client.done = count == 0 || (errno != EAGAIN && errno != EINTR);
        return;
    }
    const bool isHeard = client.phase == Client::Phase::kAsking;
    if (!isHeard) return;
    if (client.in.empty()) client.begin(client.phase, SteadyClock::now(), limits.forHead);
    client.in.append(bytes, static_cast<std::size_t>(count));
}

bool WebServer::mayAnswer(const Client& asking) const {
    std::size_t unread = 0;
    for (const auto& client : clients) {
        if (client->peer == asking.peer) unread += client->unread();
    }
    return unread < limits.unread;
}

// One peer waits for its own readers, above. Many peers, which on the loopback may be one user, do
// not make the daemon grow: who leaves most lying goes.
void WebServer::shedUnread() {
    for (;;) {
        std::size_t all = 0;
        Client* most = nullptr;
        for (const auto& client : clients) {
            all += client->unread();
            if (most == nullptr || client->unread() > most->unread()) most = client.get();
        }
        if (all < limits.unreadOfAll || most == nullptr) return;
        most->done = true;
        most->out = std::string();
        most->sent = 0;
    }
}

bool WebServer::hasStreams() const {
    return std::any_of(clients.begin(), clients.end(),
                       [](const auto& client) { return client->phase == Client::Phase::kStream; });
}

bool WebServer::mayStream(const Client& asking) const {
    std::size_t all = 0;
    std::size_t ofPeer = 0;
    for (const auto& client : clients) {
        if (client->phase != Client::Phase::kStream) continue;
        ++all;
        if (client->peer == asking.peer) ++ofPeer;
    }
    return all < limits.streams && ofPeer < limits.streamsPerPeer;
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

void WebServer::answer(Client& client) {
    lastAsked = SteadyClock::now();
    rested = false;
    const std::string head = client.in.substr(0, client.headSize());
    client.in.erase(0, head.size());
    HttpExchange::Result result;
    if (HttpExchange* const protocol = exchange()) {
        result = protocol->exchange(
            head,
            [&](const WebRequest& plain) {
                WebRequest request = plain;
                request.peer = client.peer;
                request.isLocal = client.isLocal;
                request.mayStream = mayStream(client);
                return site.answer(request);
            },
            false);
    } else {
        result.bytes = refusal("503 Service Unavailable", missing + "\n");
    }
    client.say(result.bytes);
    const bool isStream = result.streamAfter != WebAnswer::kNoStream;
    client.closing = !result.keepOpen && !isStream;
    client.begin(isStream ? Client::Phase::kStream : Client::Phase::kReading, lastAsked,
                 limits.forAnswer);
    if (!isStream) return;
    client.after = result.streamAfter;
    client.quietSince = lastAsked;
    client.in.clear();
    feed(client);
}

// As much as its reader has room for; the rest when he has read that.
void WebServer::feed(Client& stream) {
    const Time now = SteadyClock::now();
    const bool wasWriting = stream.writing();
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
    if (news.empty()) return;
    stream.say(news);
    stream.quietSince = now;
    if (!wasWriting) stream.deadline = now + limits.forAnswer;
}

// So that both sides notice when the other one is gone.
void WebServer::beat(Client& stream) {
    const Time now = SteadyClock::now();
    if (stream.writing() || now < stream.quietSince + limits.beat) return;
    stream.say(kBeat);
    stream.quietSince = now;
    stream.deadline = now + limits.forAnswer;
}

void WebServer::writeTo(Client& client) {
    const Time now = SteadyClock::now();
    while (client.writing()) {
        const ssize_t count = send(client.fd, client.out.data() + client.sent, client.unread(),
                                   MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) {
            client.done = errno != EAGAIN && errno != EINTR;
            return;
        }
        client.sent += static_cast<std::size_t>(count);
        if (client.phase == Client::Phase::kStream) client.deadline = now + limits.forAnswer;
    }
    client.out = std::string();
    client.sent = 0;
    if (client.closing) {
        // Hanging up with something unread in between would take the answer away again.
        (void)shutdown(client.fd, SHUT_WR);
        client.closing = false;
        client.begin(Client::Phase::kLeaving, now, limits.farewell);
    } else if (client.phase == Client::Phase::kReading) {
        client.begin(Client::Phase::kAsking, now, limits.forNext);
    }
}

void WebServer::dropFinished() {
    const Time now = SteadyClock::now();
    const auto finished = [now](const std::unique_ptr<Client>& client) {
        if (client->done) return true;
        // A stream with nothing to read may be silent for as long as it likes.
        const bool waits = client->phase != Client::Phase::kStream || client->writing();
        return waits && client->deadline <= now;
    };
    clients.erase(std::remove_if(clients.begin(), clients.end(), finished), clients.end());
}

void WebServer::restWhenIdle() {
    if (rested || hasStreams() || SteadyClock::now() < lastAsked + limits.untilRest) return;
    rested = true;
    site.rest();
    giveBackMemory();
}
