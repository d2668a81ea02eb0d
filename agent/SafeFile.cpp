#include "agent/SafeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <system_error>

#include "util/Clock.h"

namespace {

class Descriptor {
public:
    explicit Descriptor(int fdIN) : fd(fdIN) {}
    ~Descriptor() {
        if (fd >= 0) ::close(fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return fd; }

private:
    int fd;
};

// A new file beside the one it shall become; gone at the end of the scope unless it was renamed.
class Temporary {
public:
    explicit Temporary(const std::string& file)
        : path(file + ".XXXXXX"), fd(mkostemp(path.data(), O_CLOEXEC)) {}
    ~Temporary() {
        if (fd.get() >= 0) (void)unlink(path.c_str());
    }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;

    const std::string& name() const { return path; }
    bool isMade() const { return fd.get() >= 0; }

    bool fill(const std::string& text, unsigned mode) {
        std::size_t done = 0;
        while (done < text.size()) {
            const ssize_t count = ::write(fd.get(), text.data() + done, text.size() - done);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) return false;
            done += static_cast<std::size_t>(count);
        }
        return fchmod(fd.get(), mode) == 0 && fsync(fd.get()) == 0;
    }

private:
    std::string path;
    Descriptor fd;
};

std::string folderOf(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : file.substr(0, slash);
}

[[noreturn]] void fail(const std::string& file) {
    throw std::system_error(errno, std::generic_category(), "cannot write " + file);
}

}  // namespace

void writeSafely(const std::string& file, const std::string& text, SafeWrite how, unsigned mode) {
    Temporary fresh(file);
    if (!fresh.isMade() || !fresh.fill(text, mode)) fail(file);
    if (how == SafeWrite::kReplace) {
        if (rename(fresh.name().c_str(), file.c_str()) != 0) fail(file);
    } else if (link(fresh.name().c_str(), file.c_str()) != 0 && errno != EEXIST) {
        fail(file);
    }
    const Descriptor folder(open(folderOf(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() >= 0) (void)fsync(folder.get());
}

bool readSafely(const std::string& file, std::string& text) {
    text.clear();
    // Not to wait for the writer of a pipe that somebody put there.
    const Descriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat state {};
    if (fd.get() < 0 || fstat(fd.get(), &state) != 0) return false;
    if (!S_ISREG(state.st_mode)) {
        errno = EINVAL;
        return false;
    }
    char block[65536];
    for (;;) {
        const ssize_t count = ::read(fd.get(), block, sizeof block);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        if (count == 0) return true;
        text.append(block, static_cast<std::size_t>(count));
    }
}

bool setSocketMode(const std::string& file, unsigned mode) {
    const int fd = open(file.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat info {};
    int error = fstat(fd, &info) == 0 && S_ISSOCK(info.st_mode) ? 0 : ENOTSOCK;
    // A descriptor of a name alone cannot be changed itself; this leads to the same socket.
    const std::string same = "/proc/self/fd/" + std::to_string(fd);
    if (error == 0 && chmod(same.c_str(), static_cast<mode_t>(mode)) != 0) error = errno;
    (void)close(fd);
    errno = error;
    return error == 0;
}

std::string asideName(const std::string& file) {
    const auto now = static_cast<std::time_t>(Clock::current().now());
    std::tm parts{};
    char stamp[40] = "damaged";
    if (gmtime_r(&now, &parts) != nullptr) {
        (void)std::strftime(stamp, sizeof stamp, "damaged-%Y%m%d-%H%M%S", &parts);
    }
    const std::string wanted = file + "." + stamp;
    std::string name = wanted;
    struct stat state {};
    for (int i = 2; lstat(name.c_str(), &state) == 0; ++i) name = wanted + "-" + std::to_string(i);
    return name;
}
