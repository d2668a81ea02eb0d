#include "agent/daemon/Agent.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "agent/Failure.h"
#include "agent/daemon/OfflineChanges.h"
#include "agent/daemon/PidLock.h"
#include "agent/daemon/RunFolder.h"
#include "agent/spool/Spool.h"

namespace {

using Json = nlohmann::ordered_json;
using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t kLongestAnswer = std::size_t{256} * 1024 * 1024;

// One connection. Nobody there is no error: it is what decides whether the spool is asked.
class Connection {
public:
    explicit Connection(const std::string& fileIN, std::chrono::seconds patience)
        : file(fileIN), deadline(SteadyClock::now() + patience) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (file.size() >= sizeof address.sun_path) return;
        std::memcpy(address.sun_path, file.c_str(), file.size() + 1);
        fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (fd < 0) return;
        if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            error = errno;
            (void)close(fd);
            fd = -1;
        }
    }
    ~Connection() {
        if (fd >= 0) (void)close(fd);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool isUp() const { return fd >= 0; }
    bool isForbidden() const { return error == EACCES || error == EPERM; }
    bool isBusy() const { return error == EAGAIN; }

    std::string ask(const std::string& line) {
        std::size_t sent = 0;
        while (sent < line.size()) {
            const ssize_t count =
                send(fd, line.data() + sent, line.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
            // A server that turns us away has answered before we have said all.
            if (count < 0 && (errno == EPIPE || errno == ECONNRESET)) break;
            if (count < 0) {
                waitFor(POLLOUT);
            } else {
                sent += static_cast<std::size_t>(count);
            }
        }
        std::string answer;
        for (;;) {
            char bytes[64 * 1024];
            const ssize_t count = recv(fd, bytes, sizeof bytes, MSG_DONTWAIT);
            if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
                waitFor(POLLIN);
                continue;
            }
            if (count <= 0) fail("has closed the connection without an answer");
            answer.append(bytes, static_cast<std::size_t>(count));
            if (answer.back() == '\n') break;
            if (answer.size() > kLongestAnswer) fail("gives an answer without end");
        }
        answer.pop_back();
        return answer;
    }

private:
    void waitFor(short what) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - SteadyClock::now());
        pollfd state{fd, what, 0};
        if (left.count() <= 0 || poll(&state, 1, static_cast<int>(left.count())) == 0) {
            fail("does not answer");
        }
    }
    [[noreturn]] void fail(const std::string& what) const {
        throw Failure(Failure::kFailed,
                      "the daemon " + what + " on " + file + "; see systemctl status raidwatch");
    }

    std::string file;
    int fd = -1;
    int error = 0;
    SteadyClock::time_point deadline;
};

Json resultOf(const std::string& answer) {
    const Json json = Json::parse(answer, nullptr, false);
    if (!json.is_object() || !json.contains("ok")) {
        throw Failure(Failure::kFailed,
                      "the daemon gave an answer that is no JSON; is it another "
                      "version? restart it");
    }
    if (json.at("ok") == true) return json.value("result", Json());
    const Json exit = json.value("exit", Json(Failure::kFailed));
    const Json error = json.value("error", Json());
    throw Failure(exit.is_number_integer() ? exit.get<int>() : Failure::kFailed,
                  error.is_string() ? error.get<std::string>() : "the daemon refused");
}

std::string lineOf(const Json& request) {
    return request.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

Failure notRunning(const std::string& why) {
    return Failure(Failure::kFailed,
                   "raidwatch is not running; start it with systemctl start raidwatch" + why);
}

}  // namespace

bool Agent::isRunning() const {
    return Connection(RunFolder(settings).readSocket(), patience).isUp();
}

Json Agent::ask(const Json& request) {
    Connection daemon(RunFolder(settings).readSocket(), patience);
    return daemon.isUp() ? resultOf(daemon.ask(lineOf(request))) : askFiles(request);
}

Json Agent::askFiles(const Json& request) const {
    try {
        Spool spool(RunFolder::spoolFile(settings), Spool::Access::kReadOnly);
        Requests requests(spool, nullptr, RunFolder(settings).stateFile());
        return resultOf(requests.answer(lineOf(request)));
    } catch (const SpoolError& e) {
        throw notRunning(std::string(" (nor can its records be read: ") + e.what() + ")");
    }
}

Json Agent::change(const Json& request) {
    Connection daemon(RunFolder(settings).controlSocket(), patience);
    if (daemon.isUp()) return resultOf(daemon.ask(lineOf(request)));
    if (daemon.isForbidden()) {
        throw Failure(Failure::kFailed, "not permitted: become a member of the group " +
                                            settings.controlGroup + ", or use sudo");
    }
    if (daemon.isBusy()) {
        throw Failure(Failure::kFailed, "the daemon is busy; try again in a moment");
    }
    if (!OfflineChanges::canDo(request)) throw notRunning("");
    // It would not see what is changed behind its back.
    if (PidLock::isHeld(RunFolder(settings).lockFile())) {
        throw Failure(Failure::kFailed, "raidwatch is starting or stopping; try again in a moment");
    }
    try {
        Spool spool(RunFolder::spoolFile(settings));
        OfflineChanges changes(spool, settings);
        Requests requests(spool, &changes, RunFolder(settings).stateFile());
        return resultOf(requests.answer(lineOf(request)));
    } catch (const SpoolError& e) {
        throw notRunning(std::string(" (nor can its records be changed: ") + e.what() + ")");
    }
}
