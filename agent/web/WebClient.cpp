#include "agent/web/WebClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t kReadAtOnce = 8 * 1024;
constexpr char kEndOfHead[] = "\r\n\r\n";

}  // namespace

WebClient::WebClient(int fdIN, std::string peerIN, bool isLocalIN, const WebLimits& limitsIN)
    : fd(fdIN), peer(std::move(peerIN)), isLocal(isLocalIN), limits(limitsIN) {
    begin(Phase::kAsking, SteadyClock::now(), limits.forHead);
}

WebClient::~WebClient() { (void)close(fd); }

void WebClient::begin(Phase next, Time now, std::chrono::milliseconds patience) {
    phase = next;
    since = now;
    deadline = now + patience;
}

std::size_t WebClient::headSize() const {
    const std::size_t end = in.find(kEndOfHead);
    return end == std::string::npos ? 0 : end + sizeof kEndOfHead - 1;
}

short WebClient::events() const {
    const bool listens = phase != Phase::kReading && headSize() == 0;
    return static_cast<short>((isWriting() ? POLLOUT : 0) | (listens ? POLLIN : 0));
}

void WebClient::receive() {
    char bytes[kReadAtOnce];
    const ssize_t count = recv(fd, bytes, sizeof bytes, MSG_DONTWAIT);
    if (count <= 0) {
        done = count == 0 || (errno != EAGAIN && errno != EINTR);
        return;
    }
    const bool isHeard = phase == Phase::kAsking;
    if (!isHeard) return;
    if (in.empty()) begin(phase, SteadyClock::now(), limits.forHead);
    in.append(bytes, static_cast<std::size_t>(count));
}

bool WebClient::isTooLong() const {
    return phase == Phase::kAsking && !isWriting() && headSize() == 0 && in.size() > limits.head;
}

std::string WebClient::takeHead() {
    const std::string head = in.substr(0, headSize());
    in.erase(0, head.size());
    return head;
}

void WebClient::say(const std::string& bytes) {
    const Time now = SteadyClock::now();
    const bool wasWriting = isWriting();
    if (!wasWriting) {
        out.clear();
        sent = 0;
    }
    out += bytes;
    if (!isStream()) return begin(Phase::kReading, now, limits.forAnswer);
    quietSince = now;
    if (!wasWriting) deadline = now + limits.forAnswer;
}

void WebClient::sayLast(const std::string& bytes) {
    say(bytes);
    closing = true;
}

void WebClient::beginStream(std::int64_t afterIN) {
    begin(Phase::kStream, SteadyClock::now(), limits.forAnswer);
    after = afterIN;
    quietSince = since;
    in.clear();
}

void WebClient::end() {
    done = true;
    out = std::string();
    sent = 0;
}

void WebClient::send() {
    const Time now = SteadyClock::now();
    while (isWriting()) {
        const ssize_t count = ::send(fd, out.data() + sent, unread(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) {
            done = errno != EAGAIN && errno != EINTR;
            return;
        }
        sent += static_cast<std::size_t>(count);
        if (isStream()) deadline = now + limits.forAnswer;
    }
    out = std::string();
    sent = 0;
    if (closing) {
        // Hanging up with something unread in between would take the answer away again.
        (void)shutdown(fd, SHUT_WR);
        closing = false;
        begin(Phase::kLeaving, now, limits.farewell);
    } else if (phase == Phase::kReading) {
        begin(Phase::kAsking, now, limits.forNext);
    }
}

// A stream with nothing to read may be silent for as long as it likes.
bool WebClient::isOver(Time now) const {
    return done || ((!isStream() || isWriting()) && deadline <= now);
}
