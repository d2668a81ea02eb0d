#include "agent/settings/SecretFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace {

constexpr std::size_t kMostSecret = 16384;  // bytes

}  // namespace

std::string readSecretFile(const std::string& file, std::string& text) {
    if (file.empty() || file.front() != '/') return "is no path that begins with /; give one";
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return std::string("cannot be read (") + std::strerror(errno) +
               "); make the file, with nothing but the secret in it";
    }
    struct stat info {};
    const bool known = fstat(fd, &info) == 0;
    char buffer[kMostSecret + 1];
    const ssize_t got = known && S_ISREG(info.st_mode) ? read(fd, buffer, sizeof buffer) : -1;
    close(fd);
    if (got < 0) return "cannot be read; it must be a plain file";
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        return "can be read by others than its owner; chmod 600 it";
    }
    if (static_cast<std::size_t>(got) > kMostSecret) return "is longer than 16 KiB";
    text.assign(buffer, static_cast<std::size_t>(got));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    if (text.empty()) return "is empty; write the secret into it";
    if (text.find_first_of(std::string("\n\r\0", 3)) != std::string::npos) {
        return "has several lines; leave only the secret in it";
    }
    return "";
}
