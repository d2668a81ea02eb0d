// LockFiles: removes, at the end of the scope, the empty lock files that the queues made in it
// have left in the root folder.
//
// Their names carry the processor time of the process at that moment, so those of this scope are
// known and no other process's are touched.
#ifndef TESTS_SUPPORT_LOCKFILES_H
#define TESTS_SUPPORT_LOCKFILES_H

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

class LockFiles {
public:
    LockFiles() = default;
    ~LockFiles() {
        std::error_code ignored;
        for (const std::string& file : left()) std::filesystem::remove(file, ignored);
    }
    LockFiles(const LockFiles&) = delete;
    LockFiles& operator=(const LockFiles&) = delete;

    std::vector<std::string> left() const {
        const std::string prefix = "StorLock0QEL-";
        const std::clock_t end = std::clock();
        std::vector<std::string> files;
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator("/", ignored)) {
            const std::string name = entry.path().filename().string();
            if (name.compare(0, prefix.size(), prefix) != 0) continue;
            const long long when = std::atoll(name.c_str() + prefix.size());
            if (when >= start && when <= end) files.push_back(entry.path().string());
        }
        return files;
    }

private:
    std::clock_t start = std::clock();
};

#endif  // TESTS_SUPPORT_LOCKFILES_H
