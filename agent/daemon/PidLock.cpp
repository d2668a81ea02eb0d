#include "agent/daemon/PidLock.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "agent/Failure.h"

namespace {

// Somebody may only be looking, see isHeld().
constexpr int kTries = 10;
constexpr int kPauseMilliseconds = 10;

// "" when the file does not tell: the holder may be about to write it.
std::string holderOf(int fd) {
    char text[24] = "";
    const ssize_t count = pread(fd, text, sizeof text - 1, 0);
    const long pid = count > 0 ? std::strtol(text, nullptr, 10) : 0;
    return pid > 0 ? " as process " + std::to_string(pid) : "";
}

}  // namespace

PidLock::PidLock(const std::string& file)
    : fd(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
    if (fd < 0) {
        throw Failure(Failure::kFailed, "cannot write " + file + " (" + std::strerror(errno) +
                                            "); name another folder for it, run in [paths]");
    }
    (void)fchmod(fd, 0600);  // as left by an older version; fails where it is somebody else's
    for (int tries = 0; flock(fd, LOCK_EX | LOCK_NB) != 0;) {
        if (errno == EINTR) continue;
        if (errno == EWOULDBLOCK && ++tries < kTries) {
            (void)poll(nullptr, 0, kPauseMilliseconds);
            continue;
        }
        const std::string holder = holderOf(fd);
        (void)close(fd);
        throw Failure(Failure::kFailed, "raidwatch runs already" + holder + " (lock " + file +
                                            "); stop that one first");
    }
    const std::string text = std::to_string(getpid()) + "\n";
    if (ftruncate(fd, 0) != 0 || pwrite(fd, text.data(), text.size(), 0) < 0) {
        // The lock is what counts; the number is for people.
    }
}

// A shared lock for a moment; the constructor has patience for that.
bool PidLock::isHeld(const std::string& file) {
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return false;
    const bool held = flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    (void)close(fd);
    return held;
}

// The file stays: to remove it would let two processes lock two files of the same name.
PidLock::~PidLock() {
    (void)!ftruncate(fd, 0);
    (void)close(fd);
}
