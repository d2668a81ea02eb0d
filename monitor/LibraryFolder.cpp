#include "monitor/LibraryFolder.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// Lines are taken in pieces of this many characters; no library path comes near it.
constexpr int kLineLimit = 1000;

}  // namespace

std::string libraryFolder(const char* mapFile) {
    const std::string unknown = "./";
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(mapFile, "r"));
    if (!file) return unknown;
    char line[kLineLimit + 1];
    do {
        if (std::fgets(line, sizeof line, file.get()) == nullptr) return unknown;
    } while (std::strstr(line, "libQEL") == nullptr);
    const char* slash = std::strchr(line, '/');
    if (slash == nullptr) return unknown;
    std::string path(slash);
    if (path.back() == '\n') path.pop_back();
    // Then the first slash stood in front of the permissions and this is no path.
    if (path.find(" r-xp ") != std::string::npos) return unknown;
    path.erase(path.rfind('/') + 1);
    return path;
}
