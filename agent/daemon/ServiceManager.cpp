#include "agent/daemon/ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "agent/SafeText.h"

// The protocol of sd_notify(3), which invites programs to speak it themselves: libsystemd and what
// it pulls in would be resident for a few datagrams.
namespace {

// 0 unless the variable is a whole number.
std::int64_t numberOf(const char* variable) {
    const char* const text = std::getenv(variable);
    if (text == nullptr) return 0;
    const char* const end = text + std::strlen(text);
    std::int64_t number = 0;
    const std::from_chars_result read = std::from_chars(text, end, number);
    return read.ec == std::errc() && read.ptr == end ? number : 0;
}

bool watchdogIsOurs() {
    return std::getenv("WATCHDOG_PID") == nullptr || numberOf("WATCHDOG_PID") == getpid();
}

void sendTo(const std::string& place, const std::string& text) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (place.empty() || place.size() >= sizeof address.sun_path) return;
    if (place.front() != '/' && place.front() != '@') return;
    std::copy(place.begin(), place.end(), address.sun_path);
    if (place.front() == '@') address.sun_path[0] = '\0';  // no file
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return;
    (void)sendto(fd, text.data(), text.size(), MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&address),
                 static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + place.size()));
    close(fd);
}

}  // namespace

ServiceManager::ServiceManager() {
    const std::int64_t microseconds = numberOf("WATCHDOG_USEC");
    if (microseconds > 0 && watchdogIsOurs()) interval = std::chrono::microseconds(microseconds);
}

void ServiceManager::ready(const std::string& status) {
    shown = safeText(status);
    send("READY=1\nSTATUS=" + shown);
    lastFed = std::chrono::steady_clock::now();  // READY starts the watchdog
}

void ServiceManager::status(const std::string& line) {
    const std::string safe = safeText(line);
    if (safe == shown) return;
    shown = safe;
    send("STATUS=" + shown);
}

void ServiceManager::reloading() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t microseconds =
        static_cast<std::int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
    send("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds));
}

void ServiceManager::stopping() { send("STOPPING=1"); }

void ServiceManager::polled() {
    if (!hasWatchdog()) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - lastFed < interval / 4) return;
    lastFed = now;
    send("WATCHDOG=1");
}

void ServiceManager::send(const std::string& text) const {
    const char* const place = std::getenv("NOTIFY_SOCKET");
    if (place != nullptr) sendTo(place, text);
}
