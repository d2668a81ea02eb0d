#include "storlib/sources/SysfsReader.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <deque>

namespace {

constexpr int kOpenAttempts = 4;
constexpr std::size_t kAttributeBlock = 4096;  // no attribute is longer
constexpr int kMaxLinks = 40;                  // as the kernel: beyond that a path counts as a loop

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
    leaveFolders();
    if (rootHandle >= 0) ::close(rootHandle);
}

void SysfsReader::setRoot(const std::string& rootFolder) {
    leaveFolders();
    if (rootHandle >= 0) ::close(rootHandle);
    root = rootFolder.empty() ? "/" : rootFolder;
    live = root.find_first_not_of('/') == std::string::npos;
    struct statfs system = {};
    keeps = live && ::statfs("/sys", &system) == 0 && system.f_type == SYSFS_MAGIC;
    rootHandle = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

bool SysfsReader::ranShort() {
    const bool was = isShort;
    isShort = false;
    if (was) {
        leaveFolders();
        keeps = false;
    }
    return was;
}

void SysfsReader::noteFailure(int failure) const {
    isShort |= failure == EMFILE || failure == ENFILE || failure == ENOMEM;
}

int SysfsReader::open(const std::string& path, int flags) const {
    errno = 0;
    const int handle = openAnyhow(path, flags);
    if (handle < 0) noteFailure(errno);
    return handle;
}

// O_NONBLOCK, because a recording may hold anything, a pipe included.
int SysfsReader::openAnyhow(const std::string& path, int flags) const {
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

// A device that moves takes the links to it along.
void SysfsReader::followDevices(const std::vector<std::pair<std::string, std::string>>& found) {
    if (devices == found) return;
    devices = found;
    for (auto& [path, attribute] : attributes) attribute.link.clear();
}

// Drops what the last two looks did not ask for.
void SysfsReader::closeUnused() {
    ++looks;
    for (auto entry = attributes.begin(); entry != attributes.end();) {
        if (looks - entry->second.lastLook <= 2) {
            ++entry;
            continue;
        }
        ::close(entry->second.handle);
        entry = attributes.erase(entry);
    }
}

// Reads an attribute through a handle that stays open; -1 when it cannot be had that way.
ssize_t SysfsReader::readKept(const std::string& path, char* block, std::size_t size) {
    auto known = attributes.find(path);
    if (known == attributes.end()) {
        if (attributes.size() >= kMostAttributes) return -1;
        const int handle = openAttribute(path);
        if (handle < 0) return -1;
        known = attributes.emplace(path, Attribute{handle, looks, {}, {}}).first;
    }
    return readOpen(known, block, size);
}

// -1 when the file has gone, which is then forgotten.
ssize_t SysfsReader::readOpen(Attributes::iterator known, char* block, std::size_t size) {
    known->second.lastLook = looks;
    ssize_t got = -1;
    do {
        got = ::pread(known->second.handle, block, size, 0);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {  // the kernel has taken it away; there may be a new one
        ::close(known->second.handle);
        attributes.erase(known);
    }
    return got;
}

void SysfsReader::leaveFolders() {
    for (const auto& [path, attribute] : attributes) ::close(attribute.handle);
    attributes.clear();
    leave(last);
    leave(entered);
    for (const auto& [folder, handle] : folders) ::close(handle);
    folders.clear();
}

void SysfsReader::leave(OpenFolder& folder) {
    if (folder.handle >= 0 && !folder.stays) ::close(folder.handle);
    folder = OpenFolder();
}

// It is another one by now, or what was asked for lies behind a link.
void SysfsReader::forget(int handle) {
    for (OpenFolder* folder : {&last, &entered}) {
        if (folder->handle != handle) continue;
        if (folder->stays) {
            const auto known = folders.find(folder->path);
            if (known != folders.end()) {
                ::close(known->second);
                folders.erase(known);
            }
        }
        leave(*folder);
    }
}

// `again`: more than one question is to be expected, so that opening it pays even when it cannot
// stay open.
void SysfsReader::open(OpenFolder& folder, bool again) {
    const auto known = folders.find(folder.path);
    folder.stays = known != folders.end() || folders.size() < kMostFolders;
    if (known != folders.end()) {
        folder.handle = known->second;
    } else if (folder.stays || again) {
        folder.handle = open(folder.path, O_PATH | O_DIRECTORY);
        if (folder.stays && folder.handle >= 0) folders.emplace(folder.path, folder.handle);
    }
}

void SysfsReader::enter(const std::string& folder) {
    if (!live || !keeps) return;
    leave(entered);
    entered.path = folder;
    open(entered, true);
}

// The open folder that `path` lies in or, below the one that was entered, under. A recording is
// read once from one end to the other, so there only a second question opens a folder, and the next
// folder closes it; the same where no more folders can stay open.
SysfsReader::Place SysfsReader::placeOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || slash == 0 || path.find('\0') != std::string::npos) {
        return {-1, ""};
    }
    const char* name = path.c_str() + slash + 1;
    if (*name == 0 || std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) return {-1, ""};

    const std::size_t depth = entered.path.size();
    if (entered.handle >= 0 && slash >= depth && path[depth] == '/' &&
        path.compare(0, depth, entered.path) == 0) {
        return {entered.handle, path.c_str() + depth + 1};
    }
    const bool same = slash == last.path.size() && path.compare(0, slash, last.path) == 0;
    if (same && last.handle >= 0) return {last.handle, name};
    if (!same) {
        if (keeps) {
            leave(last);
        } else {
            leaveFolders();
        }
        last.path.assign(path, 0, slash);
    }
    if (same || keeps) open(last, same);
    return {last.handle, name};
}

// For reading. What is not there as a plain file is looked for from the root: a link must be kept
// inside it, and the folder may be another one by now.
int SysfsReader::openAttribute(const std::string& path) {
    const Place place = placeOf(path);
    if (place.folder < 0) return open(path, O_RDONLY);
    int handle = ::openat(place.folder, place.name,
                          O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (handle >= 0) return handle;
    handle = open(path, O_RDONLY);
    if (handle >= 0) forget(place.folder);
    return handle;
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
    const int handle = openAttribute(path);
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
    char block[kAttributeBlock];
    ssize_t got = keeps ? readKept(path, block, sizeof block) : -1;
    if (got < 0) {
        const int handle = openAttribute(path);
        if (handle < 0) return std::string();
        do {
            got = ::read(handle, block, sizeof block);
        } while (got < 0 && errno == EINTR);
        ::close(handle);
    }
    if (got < 0) return std::string();
    const auto size = static_cast<std::size_t>(got);
    if (recorder != nullptr) recorder->file(path, std::string(block, size));
    return trimmed(block, size);
}

bool SysfsReader::textAgain(const std::string& path, std::string& value) {
    if (!keeps || recorder != nullptr) return false;
    const auto known = attributes.find(path);
    if (known == attributes.end()) return false;
    char block[kAttributeBlock];
    const ssize_t got = readOpen(known, block, sizeof block);
    if (got < 0) return false;
    value = trimmed(block, static_cast<std::size_t>(got));
    return true;
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
        const Place place = placeOf(path);
        there = place.folder >= 0 &&
                ::fstatat(place.folder, place.name, &ignored, AT_SYMLINK_NOFOLLOW) == 0;
        if (!there) {
            there = ::lstat(path.c_str(), &ignored) == 0;
            if (there && place.folder >= 0) forget(place.folder);
        }
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
    const Place place = placeOf(path);
    if (place.folder >= 0) found = readLink(place.folder, place.name, target);
    if (!found) {
        const int handle = open(folder.empty() ? "/" : folder, O_PATH | O_DIRECTORY);
        if (handle < 0) return std::string();
        found = readLink(handle, path.c_str() + slash + 1, target);
        ::close(handle);
        if (found && place.folder >= 0) forget(place.folder);
    }
    if (!found) return std::string();
    if (recorder != nullptr) recorder->link(path, target);
    return joined(folder, target);
}

std::string SysfsReader::resolveBeside(const std::string& attribute, const std::string& name) {
    const auto known = attributes.find(attribute);
    const bool open = known != attributes.end() && recorder == nullptr;
    if (open && known->second.link == name) return known->second.destination;
    std::string path = resolve(attribute.substr(0, attribute.rfind('/') + 1) + name);
    if (open && !path.empty()) {
        known->second.link = name;
        known->second.destination = path;
    }
    return path;
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
    const Place place = keeps ? placeOf(folder) : Place{-1, ""};
    int handle = -1;
    if (place.folder >= 0) {
        handle =
            ::openat(place.folder, place.name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }
    if (handle < 0) handle = open(folder, O_RDONLY | O_DIRECTORY);
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
    if (!keeps) leaveFolders();
    if (keeps && folder == "/sys/block") closeUnused();
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
    if (keeps && folder == "/sys/block") followDevices(found);
    return true;
}
