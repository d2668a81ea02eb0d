#include "storlib/sources/ReplaySource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace {

namespace fs = std::filesystem;

bool isStep(const fs::path& folder) {
    std::error_code ignored;  // whatever cannot be looked at is no step
    return fs::is_directory(folder / "sys", ignored) || fs::is_directory(folder / "proc", ignored);
}

bool isPackedStep(const fs::path& file) {
    const std::string name = file.filename().string();
    const std::string ending = ".tar.xz";
    return name.size() > ending.size() &&
           name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
}

}  // namespace

std::unique_ptr<ReplaySource> ReplaySource::open(const std::string& path, std::string& error) {
    std::error_code failure;
    std::vector<std::string> folders;
    bool packed = false;
    if (path.empty()) {
        error = "name the folder of a recording: replay:PATH";
        return nullptr;
    }
    if (isStep(path)) return std::make_unique<ReplaySource>(std::vector<std::string>{path});
    fs::directory_iterator entry(path, failure);
    if (failure) {
        error = "cannot read the recording " + path + ": " + failure.message() +
                "; name the folder that holds its steps";
        return nullptr;
    }
    for (const fs::directory_iterator end; !failure && entry != end; entry.increment(failure)) {
        if (isStep(entry->path())) folders.push_back(entry->path().string());
        packed = packed || isPackedStep(entry->path());
    }
    if (folders.empty()) {
        error = packed ? "the steps of " + path +
                             " are packed; unpack each .tar.xz into a folder of its name, or let "
                             "raidwatch replay do it"
                       : "no step in " + path + "; a recording has folders with sys and proc";
        return nullptr;
    }
    std::sort(folders.begin(), folders.end());
    return std::make_unique<ReplaySource>(folders);
}

ReplaySource::ReplaySource(const std::vector<std::string>& stepFolders)
    : steps(stepFolders), machine(stepFolders.front()) {}

std::string ReplaySource::stepName() const {
    const std::string& folder = steps[index];
    const std::size_t end = folder.find_last_not_of('/');
    const std::size_t slash = folder.rfind('/', end);
    return folder.substr(slash == std::string::npos ? 0 : slash + 1,
                         slash == std::string::npos ? end + 1 : end - slash);
}

bool ReplaySource::advance() {
    if (atEnd()) return false;
    machine.setRoot(steps[++index]);
    machine.announceChange();
    return true;
}

Ret ReplaySource::fill(System& system) {
    if (automatic && round.read()) (void)advance();  // at the end it stays
    return machine.fill(system);
}

Ret ReplaySource::tasks(const Addr& address, ProgressCollection& found) {
    return machine.tasks(address, found);
}

Ret ReplaySource::events(unsigned int controllerID, long first, std::string& listing) {
    if (automatic && round.asked(controllerID)) (void)advance();
    return machine.events(controllerID, first, listing);
}
