#include "agent/web/WebListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "agent/SafeFile.h"

namespace {

constexpr int kBacklog = 64;
constexpr int kYes = 1;
constexpr mode_t kSocketMode = 0666;

sockaddr_un unixAddress(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);  // WebAddress knows it fits
    return address;
}

bool isAnswered(const std::string& path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return false;
    const sockaddr_un address = unixAddress(path);
    const bool answered =
        connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
        errno == EAGAIN;
    (void)close(fd);
    return answered;
}

std::string cureOf(int error) {
    switch (error) {
        case EADDRINUSE:
            return "another program has it; name another one, listen in [http]";
        case EADDRNOTAVAIL:
            return "this machine has no such address (yet)";
        case EACCES:
            return "ports below 1024 are not for this program; take a higher one";
        default:
            return std::strerror(error);
    }
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

WebListener::~WebListener() {
    if (descriptor < 0) return;
    (void)close(descriptor);
    if (wanted.isUnix()) (void)unlink(wanted.socket.c_str());
}

void WebListener::open(Time now) {
    next = now + kRetry;
    const int fd = wanted.isUnix() ? openUnix() : openPort();
    if (fd < 0 || listen(fd, kBacklog) != 0) {
        trouble = "cannot listen on " + wanted.text() + ": " + cureOf(errno);
        if (fd >= 0) (void)close(fd);
        return;
    }
    descriptor = fd;
    trouble.clear();
}

std::unique_ptr<WebClient> WebListener::accept(const WebLimits& limits) const {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    const int fd = accept4(descriptor, reinterpret_cast<sockaddr*>(&address), &size,
                           SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
        // Out of descriptors: the socket stays readable, so breathe before the next try.
        if (errno == EMFILE || errno == ENFILE) (void)poll(nullptr, 0, 50);
        return nullptr;
    }
    if (!wanted.isUnix()) (void)setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &kYes, sizeof kYes);
    return std::make_unique<WebClient>(fd, peerOf(fd, address), wanted.isUnix(), limits);
}

std::string WebListener::text() const {
    if (wanted.isUnix() || wanted.port != 0 || descriptor < 0) return wanted.text();
    sockaddr_storage bound{};
    socklen_t size = sizeof bound;
    WebAddress real = wanted;
    if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&bound), &size) == 0) {
        real.port = ntohs(wanted.isV6 ? reinterpret_cast<const sockaddr_in6&>(bound).sin6_port
                                      : reinterpret_cast<const sockaddr_in&>(bound).sin_port);
    }
    return real.text();
}

// -1 with errno.
int WebListener::openUnix() const {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return -1;
    const sockaddr_un address = unixAddress(wanted.socket);
    int error = 0;
    struct stat there {};
    if (lstat(wanted.socket.c_str(), &there) == 0) {
        if (!S_ISSOCK(there.st_mode) || isAnswered(wanted.socket)) {
            error = EADDRINUSE;
        } else {
            (void)unlink(wanted.socket.c_str());
        }
    }
    if (error == 0 && bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        error = errno;
    }
    // Nobody can connect before listen(), whatever the umask says.
    if (error == 0 && !setSocketMode(wanted.socket, kSocketMode)) error = errno;
    if (error == 0) return fd;
    (void)close(fd);
    errno = error;
    return -1;
}

int WebListener::openPort() const {
    sockaddr_in v4{};
    sockaddr_in6 v6{};
    v4.sin_family = AF_INET;
    v4.sin_port = htons(wanted.port);
    v6.sin6_family = AF_INET6;
    v6.sin6_port = v4.sin_port;
    (void)inet_pton(
        wanted.isV6 ? AF_INET6 : AF_INET, wanted.host.c_str(),
        wanted.isV6 ? static_cast<void*>(&v6.sin6_addr) : static_cast<void*>(&v4.sin_addr));
    const int fd =
        socket(wanted.isV6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return -1;
    (void)setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &kYes, sizeof kYes);
    if (wanted.isV6) (void)setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &kYes, sizeof kYes);
    const sockaddr* const address = wanted.isV6 ? reinterpret_cast<const sockaddr*>(&v6)
                                                : reinterpret_cast<const sockaddr*>(&v4);
    const socklen_t size = wanted.isV6 ? sizeof v6 : sizeof v4;
    if (bind(fd, address, size) == 0) return fd;
    const int error = errno;
    (void)close(fd);
    errno = error;
    return -1;
}
