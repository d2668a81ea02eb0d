#include "agent/TempFolder.h"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "agent/Failure.h"

namespace fs = std::filesystem;

TempFolder::TempFolder() {
    std::error_code error;
    fs::path base = fs::temp_directory_path(error);
    if (!error) base = fs::canonical(base, error);
    if (error) {
        throw Failure(Failure::kFailed, "no folder for temporary files (" + error.message() +
                                            "); set TMPDIR to one that can be written to");
    }
    std::string name = (base / "raidwatch-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw Failure(Failure::kFailed, "cannot make a folder in " + base.string() + " (" +
                                            std::strerror(errno) +
                                            "); set TMPDIR to one that can be written to");
    }
    folder = name;
}

TempFolder::~TempFolder() {
    std::error_code ignored;  // what stays behind lies where the machine cleans up
    fs::remove_all(folder, ignored);
}
