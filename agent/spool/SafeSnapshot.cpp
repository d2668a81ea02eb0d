#include "agent/spool/SafeSnapshot.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "agent/Failure.h"
#include "agent/SafeFile.h"

namespace {

// How the engine's snapshot begins and ends; without any child it is one empty element.
constexpr char kBegin[] = "<System";
constexpr char kEnd[] = "</System>";
constexpr char kEmpty[] = "<System/>";
constexpr char kEndOfReading = '\xff';
constexpr int kMostLinks = 40;

// The name that the engine's file has once every symbolic link at it is followed; the file itself
// need not be there.
std::string targetOf(std::string file) {
    char buffer[PATH_MAX];
    for (int i = 0; i < kMostLinks; ++i) {
        const ssize_t length = readlink(file.c_str(), buffer, sizeof buffer);
        if (length <= 0) return file;
        const std::string link(buffer, static_cast<std::size_t>(length));
        const std::size_t slash = file.rfind('/');
        const bool relative = link[0] != '/' && slash != std::string::npos;
        file = relative ? file.substr(0, slash + 1) + link : link;
    }
    throw Failure(Failure::kFailed,
                  "too many symbolic links at the engine's snapshot " + file + "; remove them");
}

bool endsWith(const std::string& text, std::size_t length, const char* end) {
    const std::size_t size = std::strlen(end);
    return length >= size && text.compare(length - size, size, end) == 0;
}

// A file that was cut off does not end with the end tag of its root.
bool isComplete(const std::string& text) {
    const std::size_t last = text.find_last_not_of(" \t\r\n");
    if (last == std::string::npos || text.find(kEndOfReading) != std::string::npos) return false;
    if (text.compare(0, std::strlen(kBegin), kBegin) != 0) return false;
    return endsWith(text, last + 1, kEnd) || text.compare(0, last + 1, kEmpty) == 0;
}

bool exists(const std::string& name) {
    struct stat state {};
    return lstat(name.c_str(), &state) == 0;
}

void write(const std::string& file, const std::string& text) {
    try {
        writeSafely(file, text);
    } catch (const std::system_error& e) {
        throw Failure(Failure::kFailed, std::string(e.what()) +
                                            "; see that there is room and that this user may "
                                            "write there");
    }
}

// Into the blocks that the file has. False leaves it in any state.
bool overwrite(const std::string& file, const std::string& text) {
    const int fd = open(file.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return false;
    const auto size = static_cast<ssize_t>(text.size());
    const bool done = pwrite(fd, text.data(), text.size(), 0) == size && ftruncate(fd, size) == 0 &&
                      fsync(fd) == 0;
    return close(fd) == 0 && done;
}

}  // namespace

SafeSnapshot::SafeSnapshot(std::string engineFile)
    : file(targetOf(std::move(engineFile))), copy(file + ".safe") {}

std::string SafeSnapshot::restore(const std::string& committed) {
    remark.clear();
    kept = copyText();
    if (isComplete(committed) && committed != kept) {
        try {
            keep(committed);
        } catch (const Failure&) {
            // Later. What must be right now is the engine's file.
        }
    }
    const std::string& text = isComplete(committed) ? committed : kept;
    std::string current;
    (void)readSafely(file, current);
    if (text.empty() && exists(file) && !isComplete(current)) tellOfCut();
    if (text.empty() || current == text) return remark;
    putInPlace(text);
    return "the engine's snapshot " + file +
           " was not the one whose events are all in the spool; that one is put back";
}

// The engine makes of it what it can.
void SafeSnapshot::tellOfCut() {
    remark += (remark.empty() ? "" : "; ") + std::string("the engine's snapshot ") + file +
              " is damaged, and there is no copy of it: what it lacks will be told as new";
}

std::string SafeSnapshot::copyText() {
    if (!exists(copy)) return std::string();
    std::string text;
    const bool readable = readSafely(copy, text);
    if (!readable && errno != EINVAL && errno != ELOOP) {
        throw Failure(Failure::kFailed, "cannot read " + copy + ": " + std::strerror(errno) +
                                            "; see that this user may read it");
    }
    if (readable && isComplete(text)) return text;
    const std::string aside = asideName(copy);
    if (std::rename(copy.c_str(), aside.c_str()) != 0) {
        throw Failure(Failure::kFailed, copy + " is damaged and cannot be renamed: " +
                                            std::strerror(errno) + "; move it away by hand");
    }
    remark = "the safe snapshot " + copy + " was damaged; it is now " + aside +
             " and the engine starts from its own";
    return std::string();
}

void SafeSnapshot::putInPlace(const std::string& text) {
    try {
        write(file, text);
    } catch (const Failure&) {
        if (text == kept && std::rename(copy.c_str(), file.c_str()) == 0) {
            kept.clear();
        } else if (!overwrite(file, text)) {
            throw;
        }
    }
}

std::string SafeSnapshot::readCurrent() const {
    std::string text;
    return readSafely(file, text) && isComplete(text) ? text : std::string();
}

void SafeSnapshot::keep(const std::string& text) {
    if (text.empty() || text == kept || !isComplete(text)) return;
    std::string there;
    if (!kept.empty() || !readSafely(copy, there) || there != text) write(copy, text);
    kept = text;
}

void SafeSnapshot::putBack(const std::string& text) const {
    try {
        write(file, text);
    } catch (const Failure&) {
        if (!overwrite(file, text)) throw;
    }
}
