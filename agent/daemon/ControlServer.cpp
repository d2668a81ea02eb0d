#include "agent/daemon/ControlServer.h"

#include <grp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

#include "agent/Failure.h"
#include "agent/SafeFile.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kBacklog = 32;
constexpr std::size_t kReadAtOnce = 16 * 1024;
constexpr char kTooLong[] =
    R"({"ok": false, "error": "the request is too long; one line of at most 64 KiB", "exit": 2})"
    "\n";
constexpr char kTooMany[] =
    R"({"ok": false, "error": "too many connections; try again in a moment", "exit": 1})"
    "\n";

[[noreturn]] void fail(const std::string& what, const std::string& file) {
    throw Failure(Failure::kFailed,
                  "cannot " + what + " the socket " + file + " (" + std::strerror(errno) + ")");
}

std::optional<gid_t> groupOf(const std::string& name) {
    std::vector<char> space(16 * 1024);
    group entry{};
    group* found = nullptr;
    (void)getgrnam_r(name.c_str(), &entry, space.data(), space.size(), &found);
    if (found == nullptr) return std::nullopt;
    return found->gr_gid;
}

uid_t peerOf(int fd) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return static_cast<uid_t>(-1);
    return peer.uid;
}

}  // namespace

struct ControlServer::Client {
    Client(int fdIN, uid_t peerIN, SteadyClock::time_point deadlineIN)
        : fd(fdIN), peer(peerIN), deadline(deadlineIN) {}

    int fd;
    uid_t peer;
    SteadyClock::time_point deadline;
    std::string in;
    std::string out;
    std::size_t sent = 0;
    bool closing = false;  // after `out`
    bool done = false;

    bool writing() const { return sent < out.size(); }
    bool hasLine() const { return in.find('\n') != std::string::npos; }
};

ControlServer::ControlServer(const std::string& fileIN, const Access& access, Handler handlerIN,
                             const Limits& limitsIN)
    : file(fileIN), handler(std::move(handlerIN)), limits(limitsIN) {
    try {
        listenOn(access);
        wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (wakeUp < 0) fail("serve", file);
        thread = std::thread([this] { serve(); });
    } catch (...) {
        for (const int fd : {listener, wakeUp}) {
            if (fd >= 0) (void)close(fd);
        }
        throw;
    }
}

ControlServer::~ControlServer() {
    stop();
    (void)close(wakeUp);
}

void ControlServer::stop() {
    if (!thread.joinable()) return;
    const std::uint64_t one = 1;
    (void)!write(wakeUp, &one, sizeof one);
    thread.join();
    for (const Client& client : clients) (void)close(client.fd);
    clients.clear();
    (void)close(listener);
    (void)unlink(file.c_str());
}

void ControlServer::listenOn(const Access& access) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (file.size() >= sizeof address.sun_path) {
        throw Failure(Failure::kBadUse, "the name of the socket " + file +
                                            " is too long; name a shorter run folder in [paths]");
    }
    std::memcpy(address.sun_path, file.c_str(), file.size() + 1);
    listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener < 0) fail("make", file);
    (void)unlink(file.c_str());
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("make", file);
    }
    mode_t mode = access.mode;
    if (!access.group.empty()) {
        const std::optional<gid_t> group = groupOf(access.group);
        if (!group || chown(file.c_str(), static_cast<uid_t>(-1), *group) != 0) {
            mode &= ~static_cast<mode_t>(S_IRWXG);
            remark = "only this user and root may use " + file + ": " +
                     (group ? "it cannot be given to the group " + access.group
                            : "there is no group " + access.group +
                                  "; make it with groupadd --system " + access.group);
        }
    }
    // Nobody can connect before listen(), whatever the umask says.
    if (!setSocketMode(file, mode)) fail("open", file);
    if (listen(listener, kBacklog) != 0) fail("listen on", file);
}

void ControlServer::serve() {
    for (;;) {
        std::vector<pollfd> waiting;
        waiting.push_back({wakeUp, POLLIN, 0});
        waiting.push_back({listener, POLLIN, 0});
        for (const Client& client : clients) {
            const int wanted = client.writing() ? POLLOUT : client.hasLine() ? 0 : POLLIN;
            waiting.push_back({client.fd, static_cast<short>(wanted), 0});
        }
        const int ready = poll(waiting.data(), waiting.size(), millisecondsToWait());
        if (ready < 0 && errno != EINTR) return;
        if ((waiting[0].revents & POLLIN) != 0) return;
        // One step for each client, so that nobody who asks much delays the others.
        for (std::size_t i = 0; i < clients.size(); ++i) {
            Client& client = clients[i];
            const int events = ready > 0 ? waiting[i + 2].revents : 0;
            const bool called = events != 0;
            if (client.writing()) {
                if (called) writeTo(client);
            } else if (client.hasLine()) {
                if (mayAnswer(client)) {
                    answer(client);
                } else {
                    // Who has gone would wake us again and again until his time is over.
                    client.done = (events & (POLLHUP | POLLERR)) != 0;
                }
            } else if (called) {
                readFrom(client);
            }
        }
        dropFinished();
        if (ready > 0 && waiting[1].revents != 0) acceptClients();
    }
}

int ControlServer::millisecondsToWait() const {
    if (clients.empty()) return -1;
    const auto hasWork = [this](const Client& client) {
        return !client.writing() && client.hasLine() && mayAnswer(client);
    };
    if (std::any_of(clients.begin(), clients.end(), hasWork)) return 0;
    const auto first =
        std::min_element(clients.begin(), clients.end(), [](const Client& a, const Client& b) {
            return a.deadline < b.deadline;
        })->deadline;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(first - SteadyClock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left + 1, 0, limits.patience.count() + 1));
}

void ControlServer::acceptClients() {
    for (;;) {
        const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) {
            // Out of descriptors: the listener stays readable, so breathe before the next try.
            if (errno == EMFILE || errno == ENFILE) (void)poll(nullptr, 0, 50);
            return;
        }
        const uid_t peer = peerOf(fd);
        if (!hasPlaceFor(peer)) {
            (void)!send(fd, kTooMany, sizeof kTooMany - 1, MSG_NOSIGNAL | MSG_DONTWAIT);
            (void)close(fd);
            continue;
        }
        clients.emplace_back(fd, peer, SteadyClock::now() + limits.patience);
    }
}

// An account can have thousands of user numbers, by user namespaces; root has only one.
bool ControlServer::hasPlaceFor(uid_t user) const {
    if (clientsOf(user) >= limits.perUser) return false;
    return user == 0 || clients.size() < limits.clients;
}

std::size_t ControlServer::clientsOf(uid_t user) const {
    return static_cast<std::size_t>(
        std::count_if(clients.begin(), clients.end(),
                      [user](const Client& client) { return client.peer == user; }));
}

void ControlServer::readFrom(Client& client) {
    char bytes[kReadAtOnce];
    const ssize_t count = recv(client.fd, bytes, sizeof bytes, MSG_DONTWAIT);
    if (count <= 0) {
        client.done = count == 0 || (errno != EAGAIN && errno != EINTR);
        return;
    }
    client.in.append(bytes, static_cast<std::size_t>(count));
    if (client.in.size() > limits.request || (client.hasLine() && mayAnswer(client))) {
        answer(client);
    }
}

bool ControlServer::mayAnswer(const Client& asking) const {
    std::size_t own = 0;
    std::size_t all = 0;
    for (const Client& client : clients) {
        const std::size_t unread = client.out.size() - client.sent;
        all += unread;
        if (client.peer == asking.peer) own += unread;
    }
    return own < limits.unread && (asking.peer == 0 || all < limits.unreadOfAll);
}

// The next line, or a line that has become too long.
void ControlServer::answer(Client& client) {
    const std::size_t end = std::min(client.in.find('\n'), client.in.size());
    if (end > limits.request) {
        client.out = kTooLong;
        client.closing = true;
        client.in.clear();
    } else {
        const std::string line = client.in.substr(0, end);
        client.in.erase(0, end + 1);
        client.out = handler(line, client.peer) + "\n";
    }
    client.sent = 0;
    client.deadline = SteadyClock::now() + limits.patience;
    writeTo(client);
}

void ControlServer::writeTo(Client& client) {
    while (client.writing()) {
        const ssize_t count = send(client.fd, client.out.data() + client.sent,
                                   client.out.size() - client.sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) {
            client.done = errno != EAGAIN && errno != EINTR;
            return;
        }
        client.sent += static_cast<std::size_t>(count);
    }
    client.out = std::string();
    client.sent = 0;
    client.deadline = SteadyClock::now() + limits.patience;
    client.done = client.closing;
}

void ControlServer::dropFinished() {
    const auto now = SteadyClock::now();
    const auto finished = [now](const Client& client) {
        if (!client.done && client.deadline > now) return false;
        (void)close(client.fd);
        return true;
    };
    clients.erase(std::remove_if(clients.begin(), clients.end(), finished), clients.end());
}
