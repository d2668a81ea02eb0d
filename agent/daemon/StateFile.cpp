#include "agent/daemon/StateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>

#include "agent/Failure.h"
#include "agent/Output.h"

namespace {

[[noreturn]] void fail(const std::string& name) {
    throw Failure(Failure::kFailed, "cannot write " + name + " (" + std::strerror(errno) +
                                        "); see that the folder exists and has room");
}

// A descriptor that is closed at the end of the scope.
struct Descriptor {
    int fd;
    ~Descriptor() {
        if (fd >= 0) (void)close(fd);
    }
};

}  // namespace

void StateFile::write(const std::string& text) const {
    const std::string fresh = name + ".new";
    try {
        const Descriptor file{
            open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644)};
        // Whatever the umask says: every user may read it.
        if (file.fd < 0 || fchmod(file.fd, 0644) != 0) fail(fresh);
        Output(file.fd).write(text);
        if (std::rename(fresh.c_str(), name.c_str()) != 0) fail(name);
    } catch (const Failure&) {
        (void)unlink(fresh.c_str());
        throw;
    }
}

void StateFile::writeAtMost(const std::string& text, std::chrono::seconds interval) const {
    struct stat info {};
    if (stat(name.c_str(), &info) == 0) {
        const auto age = std::time(nullptr) - info.st_mtime;
        if (age >= 0 && age < interval.count()) return;
    }
    write(text);
}

std::string StateFile::read() const {
    std::ifstream in(name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}
