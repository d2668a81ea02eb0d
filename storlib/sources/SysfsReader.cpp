#include "storlib/sources/SysfsReader.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <deque>

namespace {

constexpr int kOpenAttempts = 4;
constexpr int kMaxLinks = 40;  // as the kernel: beyond that a path counts as a loop

bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r' || c == '\0'; }

std::string trimmed(const char* text, std::size_t size) {
    std::size_t first = 0;
    while (first < size && isSpace(text[first])) ++first;
    while (size > first && isSpace(text[size - 1])) --size;
    return std::string(text + first, size - first);
}

void pushParts(const std::string& path, std::deque<std::string>& parts) {
    std::vector<std::string> found;
    std::size_t begin = 0;
    while (begin < path.size()) {
        std::size_t end = path.find('/', begin);
        if (end == std::string::npos) end = path.size();
        if (end > begin) found.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    parts.insert(parts.begin(), found.begin(), found.end());
}

bool readLink(int folder, const char* name, std::string& target) {
    char buffer[4096];
    const ssize_t length = readlinkat(folder, name, buffer, sizeof buffer);
    if (length <= 0 || length == static_cast<ssize_t>(sizeof buffer)) return false;
    target.assign(buffer, static_cast<std::size_t>(length));
    return true;
}

// "/sys/block" and "../devices/x" give "/sys/devices/x"; never above "/".
std::string joined(const std::string& folder, const std::string& target) {
    const bool fromRoot = !target.empty() && target[0] == '/';
    const std::string whole = fromRoot ? target : folder + "/" + target;
    std::string path;
    path.reserve(whole.size());
    std::size_t begin = 0;
    while (begin < whole.size()) {
        std::size_t end = whole.find('/', begin);
        if (end == std::string::npos) end = whole.size();
        const std::size_t length = end - begin;
        if (length == 2 && whole.compare(begin, 2, "..") == 0) {
            const std::size_t last = path.rfind('/');
            path.erase(last == std::string::npos ? 0 : last);
        } else if (length > 1 || (length == 1 && whole[begin] != '.')) {
            path += '/';
            path.append(whole, begin, length);
        }
        begin = end + 1;
    }
    return path.empty() ? "/" : path;
}

}  // namespace

SysfsReader::SysfsReader(const std::string& rootFolder) { setRoot(rootFolder); }

SysfsReader::~SysfsReader() {
    if (rootHandle >= 0) ::close(rootHandle);
}

void SysfsReader::setRoot(const std::string& rootFolder) {
    if (rootHandle >= 0) ::close(rootHandle);
    root = rootFolder.empty() ? "/" : rootFolder;
    live = root.find_first_not_of('/') == std::string::npos;
    rootHandle = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

// O_NONBLOCK, because a recording may hold anything, a pipe included.
int SysfsReader::open(const std::string& path, int flags) const {
    flags |= O_CLOEXEC;
    if ((flags & O_PATH) == 0) flags |= O_NONBLOCK | O_NOCTTY;
    if (path.find('\0') != std::string::npos || path.empty()) return -1;
    if (live) return ::open(path.c_str(), flags);
    if (rootHandle < 0) return -1;
    if (kernelKeepsInside) {
        open_how how = {};
        how.flags = static_cast<unsigned int>(flags);
        how.resolve = RESOLVE_IN_ROOT;
        long handle = -1;
        for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
            handle = syscall(SYS_openat2, rootHandle, path.c_str(), &how, sizeof how);
            // The kernel gives a ".." up whenever something is renamed anywhere meanwhile.
            if (handle >= 0 || errno != EAGAIN) break;
        }
        if (handle >= 0) return static_cast<int>(handle);
        if (errno == EAGAIN) return openByWalk(path, flags);
        if (errno != ENOSYS && errno != EPERM) return -1;
        kernelKeepsInside = false;
    }
    return openByWalk(path, flags);
}

int SysfsReader::openByWalk(const std::string& path, int flags) const {
    std::deque<std::string> parts;
    pushParts(path, parts);
    std::vector<int> way;  // handles of the folders entered, so that ".." goes back one
    int links = 0;
    int handle = -1;
    const auto here = [&] { return way.empty() ? rootHandle : way.back(); };
    if (parts.empty()) handle = ::openat(rootHandle, ".", flags);
    while (!parts.empty()) {
        const std::string part = parts.front();
        parts.pop_front();
        if (part == "." || part == "..") {
            if (part == ".." && !way.empty()) {
                ::close(way.back());
                way.pop_back();
            }
            if (parts.empty()) handle = ::openat(here(), ".", flags);
            continue;
        }
        std::string target;
        const bool isPlace = parts.empty() && (flags & O_NOFOLLOW) != 0;  // a link counts itself
        if (!isPlace && readLink(here(), part.c_str(), target)) {
            if (++links > kMaxLinks) break;
            if (target[0] == '/') {
                for (const int folder : way) ::close(folder);
                way.clear();
            }
            pushParts(target, parts);
            if (parts.empty()) handle = ::openat(here(), ".", flags);
            continue;
        }
        if (parts.empty()) {
            handle = ::openat(here(), part.c_str(), flags | O_NOFOLLOW);
        } else {
            const int next =
                ::openat(here(), part.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (next < 0) break;
            way.push_back(next);
        }
    }
    for (const int folder : way) ::close(folder);
    return handle;
}

bool SysfsReader::read(const std::string& path, std::string& contents, std::size_t limit) {
    const int handle = open(path, O_RDONLY);
    if (handle < 0) return false;
    contents.clear();
    char block[4096];
    bool good = false;
    while (contents.size() < limit) {
        const std::size_t wanted = std::min(sizeof block, limit - contents.size());
        const ssize_t got = ::read(handle, block, wanted);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            good = false;
            break;
        }
        good = true;
        if (got == 0) break;
        contents.append(block, static_cast<std::size_t>(got));
    }
    ::close(handle);
    if (good && recorder != nullptr) recorder->file(path, contents);
    if (!good) contents.clear();
    return good;
}

// One read: an attribute of sysfs comes whole, and is no longer than a page.
std::string SysfsReader::text(const std::string& path) {
    const int handle = open(path, O_RDONLY);
    if (handle < 0) return std::string();
    char block[4096];
    ssize_t got = 0;
    do {
        got = ::read(handle, block, sizeof block);
    } while (got < 0 && errno == EINTR);
    ::close(handle);
    if (got < 0) return std::string();
    const auto size = static_cast<std::size_t>(got);
    if (recorder != nullptr) recorder->file(path, std::string(block, size));
    return trimmed(block, size);
}

bool SysfsReader::parse(const std::string& text, std::int64_t& value) {
    const std::string digits = trimmed(text.data(), text.size());
    const char* end = digits.data() + digits.size();
    std::int64_t parsed = 0;
    const auto result = std::from_chars(digits.data(), end, parsed);
    if (result.ec != std::errc() || result.ptr != end) return false;
    value = parsed;
    return true;
}

bool SysfsReader::number(const std::string& path, std::int64_t& value) {
    return parse(text(path), value);
}

std::int64_t SysfsReader::number(const std::string& path, std::int64_t unknown, std::int64_t least,
                                 std::int64_t most) {
    std::int64_t value = 0;
    if (!number(path, value) || value < least || value > most) return unknown;
    return value;
}

bool SysfsReader::exists(const std::string& path) {
    bool there = false;
    if (live) {
        struct stat ignored = {};
        there = ::lstat(path.c_str(), &ignored) == 0;
    } else {
        const int handle = open(path, O_PATH | O_NOFOLLOW);
        there = handle >= 0;
        if (there) ::close(handle);
    }
    if (there && recorder != nullptr) recorder->entry(path);
    return there;
}

std::string SysfsReader::resolve(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || slash + 1 == path.size()) return std::string();
    const std::string folder = path.substr(0, slash);
    std::string target;
    bool found = false;
    if (live) {
        found = readLink(AT_FDCWD, path.c_str(), target);
    } else {
        const int handle = open(folder.empty() ? "/" : folder, O_PATH | O_DIRECTORY);
        if (handle < 0) return std::string();
        found = readLink(handle, path.c_str() + slash + 1, target);
        ::close(handle);
    }
    if (!found) return std::string();
    if (recorder != nullptr) recorder->link(path, target);
    return joined(folder, target);
}

bool SysfsReader::namesIn(int folder, const std::string& prefix,
                          std::vector<std::string>& names) const {
    alignas(dirent64) char block[8192];
    if (folder < 0) return false;
    std::vector<std::string> found;
    for (;;) {
        const long filled = syscall(SYS_getdents64, folder, block, sizeof block);
        if (filled < 0) return false;
        if (filled == 0) break;
        for (long at = 0; at < filled;) {
            const auto* entry = reinterpret_cast<const dirent64*>(block + at);
            const char* name = entry->d_name;
            if (name[0] != '.' && std::strncmp(name, prefix.c_str(), prefix.size()) == 0) {
                found.emplace_back(name);
            }
            at += entry->d_reclen;
        }
    }
    std::sort(found.begin(), found.end());
    names.swap(found);
    return true;
}

bool SysfsReader::list(const std::string& folder, const std::string& prefix,
                       std::vector<std::string>& names) {
    const int handle = open(folder, O_RDONLY | O_DIRECTORY);
    const bool found = namesIn(handle, prefix, names);
    if (handle >= 0) ::close(handle);
    if (found && recorder != nullptr) {
        recorder->entry(folder);
        for (const std::string& name : names) recorder->entry(folder + "/" + name);
    }
    return found;
}

bool SysfsReader::listLinks(const std::string& folder, const std::string& prefix,
                            std::vector<std::pair<std::string, std::string>>& found) {
    const int handle = open(folder, O_RDONLY | O_DIRECTORY);
    std::vector<std::string> names;
    if (!namesIn(handle, prefix, names)) {
        if (handle >= 0) ::close(handle);
        return false;
    }
    found.clear();
    if (recorder != nullptr) recorder->entry(folder);
    for (const std::string& name : names) {
        std::string target;
        if (!readLink(handle, name.c_str(), target)) continue;
        if (recorder != nullptr) recorder->link(folder + "/" + name, target);
        found.emplace_back(name, joined(folder, target));
    }
    ::close(handle);
    return true;
}
