// Fuzzes the line protocol of the daemon's sockets: a real server, a client that sends the input in
// pieces and then says that it is done. In the input a byte 0x1e ends a piece.
// Parsed code: agent/daemon/ControlServer.cpp

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "agent/daemon/ControlServer.h"
#include "fuzz/support/Fuzz.h"

namespace {

constexpr char kPieceEnd = '\x1e';
constexpr std::size_t kLongestLine = 64;
constexpr std::size_t kMostBytes = 8192;     // fits the socket: nobody waits for the other
constexpr int kPatienceMilliSeconds = 9000;  // before the server loses its own

std::string answerTo(const std::string& line) {
    std::size_t sum = line.size();
    for (const char c : line) sum = sum * 31 + static_cast<unsigned char>(c);
    return std::to_string(line.size()) + ":" + std::to_string(sum % 65521);
}

const std::string& socketName() {
    static const std::string name = fuzz::inRoom("control.sock");
    static ControlServer* const server = [] {
        ControlServer::Limits limits;
        limits.request = kLongestLine;
        return new ControlServer(
            name, {0600, ""}, [](const std::string& line, uid_t) { return answerTo(line); },
            limits);
    }();
    (void)server;
    return name;
}

int connected() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socketName().c_str(), socketName().size() + 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    fuzz::must(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
               "the server takes clients");
    return fd;
}

// Everything that comes until the server closes the connection.
std::string answersOn(int fd) {
    std::string all;
    char block[4096];
    for (;;) {
        pollfd waiting{fd, POLLIN, 0};
        const int ready = poll(&waiting, 1, kPatienceMilliSeconds);
        if (ready < 0 && errno == EINTR) continue;  // the fuzzer's own timer
        fuzz::must(ready == 1, "the server answers or closes");
        const ssize_t got = recv(fd, block, sizeof block, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return all;
        all.append(block, static_cast<std::size_t>(got));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input = fuzz::textOf(data, std::min(size, kMostBytes));
    const int fd = connected();
    std::string sent;
    for (std::size_t at = 0; at < input.size();) {
        const std::size_t end = std::min(input.find(kPieceEnd, at), input.size());
        const std::string piece = input.substr(at, end - at);
        at = end + 1;
        if (!piece.empty() && send(fd, piece.data(), piece.size(), MSG_NOSIGNAL) < 0) break;
        sent += piece;
    }
    (void)shutdown(fd, SHUT_WR);
    const std::string answers = answersOn(fd);
    (void)close(fd);

    std::string expected;
    bool tooLong = false;
    std::size_t at = 0;
    for (std::size_t end = 0; (end = sent.find('\n', at)) != std::string::npos; at = end + 1) {
        tooLong = end - at > kLongestLine;
        if (tooLong) break;
        expected += answerTo(sent.substr(at, end - at)) + "\n";
    }
    const bool maybeTooLong = tooLong || sent.size() - at > kLongestLine;
    fuzz::must(answers.compare(0, expected.size(), expected) == 0, "lines are answered in order");
    const std::string more = answers.substr(expected.size());
    fuzz::must(more.empty() ? !tooLong : maybeTooLong, "a line too long is told, and no other");
    fuzz::must(more.empty() || more.find('\n') == more.size() - 1, "the last word is one line");
    return 0;
}
