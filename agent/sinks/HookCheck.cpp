#include "agent/sinks/HookCheck.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <iterator>

#include "agent/SafeText.h"

namespace {

constexpr int kMostLinks = 40;  // as the kernel follows
constexpr mode_t kAnyExecute = S_IXUSR | S_IXGRP | S_IXOTH;

enum class Wanted { kProgram, kFolder };

// Checks one name; "" when it is safe.
std::string nodeTrouble(const std::string& path, const struct stat& node, uid_t user) {
    const std::string shown = safeText(path);
    if (node.st_uid != 0 && node.st_uid != user) {
        return shown + " belongs to another user; run: chown root " + shown;
    }
    if (S_ISLNK(node.st_mode)) return std::string();  // its mode means nothing
    // In such a folder nobody can rename or remove what belongs to somebody else.
    if (S_ISDIR(node.st_mode) && (node.st_mode & S_ISVTX) != 0) return std::string();
    if ((node.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return shown + " is writable by " +
               ((node.st_mode & S_IWOTH) != 0 ? "everybody" : "its group") + "; run: chmod go-w " +
               shown;
    }
    return std::string();
}

// The names of a path in reverse, so that the next one is at the end.
void pushNames(const std::string& path, std::vector<std::string>& names) {
    std::vector<std::string> forward;
    for (std::size_t at = 0; at < path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        if (end > at) forward.push_back(path.substr(at, end - at));
        at = end + 1;
    }
    names.insert(names.end(), forward.rbegin(), forward.rend());
}

std::string linkTarget(const std::string& path) {
    char target[PATH_MAX];
    const ssize_t size = readlink(path.c_str(), target, sizeof target);
    return size > 0 ? std::string(target, static_cast<std::size_t>(size)) : std::string();
}

std::string endTrouble(const std::string& path, const struct stat& node, Wanted wanted) {
    const std::string shown = safeText(path);
    if (wanted == Wanted::kFolder) return S_ISDIR(node.st_mode) ? "" : shown + " is no folder";
    if (!S_ISREG(node.st_mode)) return shown + " is no program";
    if ((node.st_mode & kAnyExecute) == 0) {
        return shown + " is not executable; run: chmod +x " + shown;
    }
    return std::string();
}

// Walks the path name by name, as the kernel does, and looks at all that it meets.
std::string walk(const std::string& path, uid_t user, Wanted wanted) {
    if (path.empty() || path[0] != '/') {
        return safeText(path) + " is no whole path; write it from / on";
    }
    std::vector<std::string> names;
    pushNames(path, names);
    std::string at;  // without a final /; "" is the root
    struct stat node {};
    if (stat("/", &node) != 0) return std::string("/: ") + std::strerror(errno);
    std::string trouble = nodeTrouble("/", node, user);
    for (int links = 0; trouble.empty() && !names.empty();) {
        const std::string name = names.back();
        names.pop_back();
        if (name == ".") continue;
        if (name == "..") {
            at.erase(at.empty() ? 0 : at.rfind('/'));
            continue;
        }
        const std::string next = at + "/" + name;
        if (lstat(next.c_str(), &node) != 0) return safeText(next) + ": " + std::strerror(errno);
        trouble = nodeTrouble(next, node, user);
        if (S_ISLNK(node.st_mode)) {
            if (++links > kMostLinks) return safeText(next) + ": too many symbolic links";
            const std::string target = linkTarget(next);
            if (target.empty()) return safeText(next) + ": cannot read the symbolic link";
            if (target[0] == '/') at.clear();
            pushNames(target, names);
        } else {
            at = next;
        }
    }
    if (!trouble.empty()) return trouble;
    if (stat(at.empty() ? "/" : at.c_str(), &node) != 0)
        return safeText(at) + ": " + std::strerror(errno);
    return endTrouble(at, node, wanted);
}

bool isLeftBehind(const std::string& name) {
    constexpr const char* kEndings[] = {"~",         ".bak",      ".swp",      ".rpmsave",
                                        ".rpmnew",   ".dpkg-old", ".dpkg-new", ".dpkg-dist",
                                        ".dpkg-tmp", ".disabled"};
    return std::any_of(std::begin(kEndings), std::end(kEndings), [&](const std::string& ending) {
        return name.size() >= ending.size() &&
               name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
    });
}

}  // namespace

std::string hookTrouble(const std::string& path, uid_t user) {
    return walk(path, user, Wanted::kProgram);
}

std::string hookFolderTrouble(const std::string& path, uid_t user) {
    return walk(path, user, Wanted::kFolder);
}

std::vector<std::string> hooksIn(const std::string& folder) {
    std::vector<std::string> hooks;
    DIR* const dir = opendir(folder.c_str());
    if (dir == nullptr) return hooks;
    while (const dirent* const entry = readdir(dir)) {
        const std::string name = entry->d_name;
        struct stat node {};
        const std::string path = folder + "/" + name;
        if (name[0] == '.' || isLeftBehind(name) || stat(path.c_str(), &node) != 0) continue;
        if (S_ISREG(node.st_mode) && (node.st_mode & kAnyExecute) != 0) hooks.push_back(path);
    }
    closedir(dir);
    std::sort(hooks.begin(), hooks.end());
    return hooks;
}
