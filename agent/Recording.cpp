#include "agent/Recording.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "agent/Failure.h"
#include "agent/SafeText.h"
#include "agent/Unpacker.h"

namespace fs = std::filesystem;

namespace {

constexpr char kArchiveEnd[] = ".tar.xz";
constexpr std::size_t kMostSteps = 10000;
constexpr std::uint64_t kMostBytes = 1u << 30;  // of all unpacked steps together

bool isArchive(const fs::path& path) {
    const std::string name = path.filename().string();
    const std::string end = kArchiveEnd;
    return name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
}

std::string stepName(const fs::path& archive) {
    const std::string name = archive.filename().string();
    return name.substr(0, name.size() - std::string(kArchiveEnd).size());
}

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw Failure(Failure::kBadUse,
                  safeText(path) + " " + why +
                      "; give the folder that holds a recording's steps, 01-... and so on");
}

std::vector<fs::path> entriesOf(const std::string& path) {
    if (path.empty()) refuse("PATH", "is empty");
    std::error_code error;
    if (!fs::exists(path, error)) refuse(path, error ? "cannot be read" : "does not exist");
    if (!fs::is_directory(path, error)) refuse(path, "is not a folder");
    std::vector<fs::path> entries;
    for (fs::directory_iterator it(path, error), end; !error && it != end; it.increment(error)) {
        entries.push_back(it->path());
    }
    if (error) refuse(path, "cannot be read (" + error.message() + ")");
    std::sort(entries.begin(), entries.end());
    return entries;
}

}  // namespace

Recording::Recording(const std::string& path, const std::function<bool()>& interrupted) {
    std::vector<fs::path> archives;
    std::vector<fs::path> folders;
    for (const fs::path& entry : entriesOf(path)) {
        std::error_code ignored;  // what cannot be looked at is no step
        if (fs::is_directory(entry, ignored)) folders.push_back(entry);
        if (isArchive(entry) && fs::is_regular_file(entry, ignored)) archives.push_back(entry);
    }
    if (archives.empty() && folders.empty()) refuse(path, "holds no recording");
    if (archives.size() + folders.size() > kMostSteps) refuse(path, "holds too many steps");
    if (archives.empty()) {
        folder = path;
        return;
    }
    unpacked = std::make_unique<TempFolder>();
    folder = unpacked->path();
    std::error_code error;
    for (const fs::path& step : folders) {
        fs::create_directory_symlink(fs::absolute(step), fs::path(folder) / step.filename(), error);
        if (error) throw Failure(Failure::kFailed, "cannot write to " + folder);
    }
    Unpacker::Limits limits;
    std::uint64_t left = kMostBytes;
    for (const fs::path& archive : archives) {
        limits.bytes = std::min(limits.bytes, left);
        left -= Unpacker(limits).unpack(archive.string(), folder + "/" + stepName(archive),
                                        interrupted);
    }
}
