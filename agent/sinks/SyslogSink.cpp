#include "agent/sinks/SyslogSink.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "agent/SafeText.h"
#include "agent/sinks/SinkValues.h"

namespace {

constexpr std::size_t kLongestText = 1500;  // columns; services cut lines at 2048 bytes or later
constexpr std::size_t kLongestField = 120;

struct Facility {
    const char* word;
    int number;
};

constexpr Facility kFacilities[] = {
    {"user", 1},    {"mail", 2},    {"daemon", 3},  {"auth", 4},    {"cron", 9},
    {"local0", 16}, {"local1", 17}, {"local2", 18}, {"local3", 19}, {"local4", 20},
    {"local5", 21}, {"local6", 22}, {"local7", 23},
};

constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

int facilityNumber(const std::string& word) {
    for (const Facility& row : kFacilities) {
        if (word == row.word) return row.number;
    }
    return kFacilities[2].number;
}

// "Nov 21 05:30:12", in English whatever the locale is.
std::string stamp(std::int64_t seconds) {
    const auto when = static_cast<std::time_t>(seconds);
    std::tm local{};
    localtime_r(&when, &local);
    char text[32];
    std::snprintf(text, sizeof text, "%s %2d %02d:%02d:%02d", kMonths[local.tm_mon % 12],
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}

// " serial=\"S7K2 M9\"", nothing when it is empty.
std::string field(const char* key, const std::string& raw) {
    if (raw.empty()) return std::string();
    std::string value;
    for (const char c : cutText(safeText(raw), kLongestField)) {
        if (c == '"' || c == '\\') value += '\\';
        value += c;
    }
    return std::string(" ") + key + "=\"" + value + "\"";
}

class Socket {
public:
    explicit Socket(int type) : fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {}
    ~Socket() {
        if (fd >= 0) close(fd);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    bool connectTo(const std::string& path, std::int64_t timeoutSeconds) const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.c_str(), path.size() + 1);  // its length was checked
        timeval limit{};
        limit.tv_sec = static_cast<time_t>(timeoutSeconds);
        return fd >= 0 && setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == 0 &&
               connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }

    bool sendAll(const char* bytes, std::size_t size) const {
        while (size != 0) {
            const ssize_t sent = send(fd, bytes, size, MSG_NOSIGNAL);
            if (sent < 0 && errno == EINTR) continue;
            if (sent < 0) return false;
            bytes += sent;
            size -= static_cast<std::size_t>(sent);
        }
        return true;
    }

private:
    int fd;
};

// 0, or the errno. Some services listen on a stream; there each line ends with a NUL.
int sendLine(const std::string& path, const std::string& line, std::int64_t timeoutSeconds) {
    const Socket datagrams(SOCK_DGRAM);
    if (datagrams.connectTo(path, timeoutSeconds)) {
        return line.empty() || datagrams.sendAll(line.data(), line.size()) ? 0 : errno;
    }
    if (errno != EPROTOTYPE) return errno;
    const Socket stream(SOCK_STREAM);
    if (!stream.connectTo(path, timeoutSeconds)) return errno;
    return line.empty() || stream.sendAll(line.c_str(), line.size() + 1) ? 0 : errno;
}

std::string sentence(const std::string& path, int error) {
    if (error == ENOENT || error == ECONNREFUSED) {
        return "no syslog service listens on " + path + "; start one, or use the journal";
    }
    if (error == EAGAIN) return "the syslog service on " + path + " does not read";
    return "cannot send to " + path + ": " + std::strerror(error);
}

}  // namespace

SyslogSink::SyslogSink(const SinkSettings& settings) : timeout(settings.timeout) {
    const SinkValues values(settings);
    path = values.text("socket", "/dev/log");
    if (path.empty() || path[0] != '/' || path.size() >= sizeof(sockaddr_un::sun_path)) {
        throw values.wrong("socket",
                           "\"" + path + "\" is no whole path of a socket, 107 bytes at most");
    }
    facility =
        facilityNumber(values.oneOf("facility", "daemon",
                                    {"user", "mail", "daemon", "auth", "cron", "local0", "local1",
                                     "local2", "local3", "local4", "local5", "local6", "local7"}));
    tag = values.text("tag", "raidwatch");
    if (tag.empty() || tag.size() > 32 ||
        tag.find_first_not_of(
            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./") !=
            std::string::npos) {
        throw values.wrong("tag", "must be 1 to 32 letters, digits or -_./");
    }
    records = recordChoice(values.oneOf("send", "told", {"notices", "events", "told", "both"}));
}

std::string SyslogSink::line(const Record& record, const std::string& id) const {
    std::string text = "<" + std::to_string(facility * 8 + priorityOf(record)) + ">" +
                       stamp(timeOf(record)) + " " + tag + "[" + std::to_string(getpid()) + "]: ";
    if (record.origin == Origin::kTest || record.origin == Origin::kDrill) {
        text += record.origin == Origin::kTest ? "TEST: " : "DRILL: ";
    }
    text += cutText(messageOf(record), kLongestText);
    const int code = codeOf(record);
    text += field("id", id) + field("severity", severityOf(record));
    if (record.kind == Record::Kind::kNotice)
        text += field("notice", noticeWord(record.notice.kind));
    text += field("code", code == 0 ? std::string() : std::to_string(code));
    text += field("event", eventIdOf(record)) + field("object", record.objectName);
    text += field("serial", serialOf(record));
    if (record.incident != 0) text += field("incident", std::to_string(record.incident));
    return text;
}

Answer SyslogSink::deliver(const Record& record, const std::string& id) {
    const int error = sendLine(path, line(record, id), timeout);
    if (error == 0) return {Answer::Kind::kDelivered, "taken by the syslog service on " + path};
    const auto kind = error == EMSGSIZE ? Answer::Kind::kRefused : Answer::Kind::kRetry;
    return {kind, sentence(path, error)};
}

std::string SyslogSink::problem() {
    const int error = sendLine(path, std::string(), timeout);
    return error == 0 ? std::string() : sentence(path, error);
}

std::unique_ptr<Sink> makeSyslogSink(const SinkSettings& settings) {
    return std::make_unique<SyslogSink>(settings);
}
