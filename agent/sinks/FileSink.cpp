#include "agent/sinks/FileSink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "agent/SafeText.h"
#include "agent/sinks/SinkValues.h"
#include "agent/spool/RecordJson.h"

namespace {

constexpr std::int64_t kDefaultSize = 10 * 1024 * 1024;
constexpr std::int64_t kLeastSize = 1;
constexpr std::int64_t kMostSize = std::int64_t{1} << 40;
constexpr mode_t kMode = 0640;

bool writeAll(int fd, const std::string& bytes) {
    std::size_t at = 0;
    while (at < bytes.size()) {
        const ssize_t written = ::write(fd, bytes.data() + at, bytes.size() - at);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        at += static_cast<std::size_t>(written);
    }
    return true;
}

bool isSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

FileSink::FileSink(const SinkSettings& settings) {
    const SinkValues values(settings);
    path = values.require("path");
    if (path[0] != '/' || path.back() == '/') {
        throw values.wrong("path", "\"" + path + "\" is no file with its whole path from / on");
    }
    const std::size_t slash = path.rfind('/');
    folder = slash == 0 ? "/" : path.substr(0, slash);
    name = path.substr(slash + 1);
    maxSize = values.number("max_size", kDefaultSize, kLeastSize, kMostSize);
    keep = static_cast<int>(values.number("keep", 5, 0, 1000));
    records = recordChoice(values.oneOf("send", "both", {"notices", "events", "told", "both"}));
}

FileSink::~FileSink() { close(); }

Answer FileSink::deliver(const Record& record, const std::string& id) {
    std::string trouble = prepare();
    if (trouble.empty()) trouble = append(recordJson(record, id) + "\n");
    if (!trouble.empty()) {
        close();
        return {Answer::Kind::kRetry, trouble};
    }
    struct stat state {};
    (void)fstat(fd, &state);  // for the answer only
    return {Answer::Kind::kDelivered, "written to " + path + ", now " +
                                          std::to_string(static_cast<long long>(state.st_size)) +
                                          " bytes" +
                                          (rotateTrouble.empty() ? "" : "; " + rotateTrouble)};
}

std::string FileSink::problem() {
    const std::string trouble = prepare();
    close();
    return trouble.empty() ? rotateTrouble : trouble;
}

// A line that a crash or a full disk cut short is ended first, so that it spoils no other.
std::string FileSink::append(const std::string& line) {
    if (!writeAll(fd, endsMidLine() ? "\n" + line : line)) return failure("write");
    if (fdatasync(fd) != 0) return failure("write safely");
    return std::string();
}

std::string FileSink::prepare() {
    if (fd >= 0 && !isStillThere()) close();  // renamed or removed by somebody else
    if (fd < 0) {
        const std::string trouble = open();
        if (!trouble.empty()) return trouble;
    }
    struct stat state {};
    if (fstat(fd, &state) != 0) return failure("examine");
    if (state.st_size < maxSize) return std::string();
    // A file that cannot be renamed grows on: better too long than not written.
    rotateTrouble = rotate();
    return rotateTrouble.empty() ? open() : std::string();
}

std::string FileSink::open() {
    close();
    folderFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFd < 0) return failure("open the folder of");
    struct stat above {};
    if (fstat(folderFd, &above) != 0) return failure("examine the folder of");
    // Where everybody may write, a link may be a trap laid by somebody else.
    const bool shared = (above.st_mode & S_IWOTH) != 0;
    const int flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    fd = openat(folderFd, name.c_str(), shared ? flags | O_NOFOLLOW : flags, kMode);
    if (fd < 0 && errno == ELOOP && shared) {
        return "cannot use " + path + ": it is a symbolic link in a folder that everybody may " +
               "write; use another folder";
    }
    if (fd < 0) return failure("open");
    struct stat state {};
    if (fstat(fd, &state) != 0) return failure("examine");
    if (!S_ISREG(state.st_mode)) return "cannot use " + path + ": it is no regular file";
    if (shared && (state.st_nlink > 1 || (state.st_uid != 0 && state.st_uid != geteuid()))) {
        return "cannot use " + path +
               ": it is somebody else's, in a folder that everybody may write; use another folder";
    }
    if (fsync(folderFd) != 0) return failure("make safe the folder of");  // the name, when new
    return std::string();
}

// path.4 becomes path.5, ... path becomes path.1; what was path.<keep> goes.
std::string FileSink::rotate() {
    const auto numbered = [&](int n) { return n == 0 ? name : name + "." + std::to_string(n); };
    if (keep == 0 && unlinkat(folderFd, name.c_str(), 0) != 0) return failure("remove");
    for (int n = keep - 1; n >= 0; --n) {
        const int failed =
            renameat(folderFd, numbered(n).c_str(), folderFd, numbered(n + 1).c_str());
        if (failed != 0 && errno != ENOENT) return failure("rename");
    }
    return std::string();
}

bool FileSink::isStillThere() const {
    struct stat ours {};
    struct stat there {};
    return fstat(fd, &ours) == 0 && stat(path.c_str(), &there) == 0 && isSame(ours, there);
}

bool FileSink::endsMidLine() const {
    struct stat state {};
    if (fstat(fd, &state) != 0 || state.st_size == 0) return false;
    char last = '\n';
    return pread(fd, &last, 1, state.st_size - 1) == 1 && last != '\n';
}

void FileSink::close() {
    if (fd >= 0) ::close(fd);
    if (folderFd >= 0) ::close(folderFd);
    fd = -1;
    folderFd = -1;
}

std::string FileSink::failure(const std::string& doing) const {
    const int error = errno;
    return "cannot " + doing + " " + path + ": " + std::strerror(error);
}

std::unique_ptr<Sink> makeFileSink(const SinkSettings& settings) {
    return std::make_unique<FileSink>(settings);
}
