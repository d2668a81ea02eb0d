#include "agent/settings/SecretFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace {

constexpr std::size_t kMostSecret = 16384;  // bytes
constexpr char kOpenToOthers[] = "can be read by others than its owner; chmod 600 it";

// Who owns it can read it, whatever its mode.
std::string wrongOwnerOf(const struct stat& info) {
    if (info.st_uid == 0 || info.st_uid == geteuid()) return std::string();
    return "belongs to somebody else; chown it to root";
}

std::string cause(const char* what) {
    return std::string(what) + " (" + std::strerror(errno) + ")";
}

std::string wrongPlainFile(const std::string& file, struct stat& info) {
    if (stat(file.c_str(), &info) != 0) return cause("cannot be found");
    if (!S_ISREG(info.st_mode)) return "is no plain file";
    if (access(file.c_str(), R_OK) != 0) return cause("cannot be read");
    return wrongOwnerOf(info);
}

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
    const std::string wrong = wrongOwnerOf(info);
    if (!wrong.empty()) return wrong;
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) != 0) return kOpenToOthers;
    if (static_cast<std::size_t>(got) > kMostSecret) return "is longer than 16 KiB";
    text.assign(buffer, static_cast<std::size_t>(got));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    if (text.empty()) return "is empty; write the secret into it";
    if (text.find_first_of(std::string("\n\r\0", 3)) != std::string::npos) {
        return "has several lines; leave only the secret in it";
    }
    return "";
}

std::string wrongSecretFile(const std::string& file) {
    struct stat info {};
    const std::string wrong = wrongPlainFile(file, info);
    if (!wrong.empty()) return wrong;
    return (info.st_mode & (S_IRWXG | S_IRWXO)) == 0 ? std::string() : kOpenToOthers;
}

std::string wrongTrustedFile(const std::string& file) {
    struct stat info {};
    const std::string wrong = wrongPlainFile(file, info);
    if (!wrong.empty()) return wrong;
    if ((info.st_mode & (S_IWGRP | S_IWOTH)) == 0) return std::string();
    return "can be changed by others than its owner; chmod go-w it";
}
