// UnpackedRecording: one of the recordings of real machines in tests/recordings, unpacked for a
// test.
//
//   UnpackedRecording recording("raid5-pull");                     // all its steps
//   UnpackedRecording one("raid5-pull", {"03-degraded"});          // only some: unpacking takes a
//   while LinuxSource source(recording.step("03-degraded")); auto replay =
//   ReplaySource::open(recording.folder(), error);
#ifndef TESTS_SUPPORT_UNPACKEDRECORDING_H
#define TESTS_SUPPORT_UNPACKEDRECORDING_H

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"

class UnpackedRecording {
public:
    explicit UnpackedRecording(const std::string& sequence,
                               const std::vector<std::string>& only = {}) {
        namespace fs = std::filesystem;
        const std::string ending = ".tar.xz";
        for (const fs::directory_entry& entry : fs::directory_iterator(packed(sequence))) {
            const std::string name = entry.path().filename().string();
            if (name.size() <= ending.size() ||
                name.compare(name.size() - ending.size(), ending.size(), ending) != 0) {
                continue;
            }
            const std::string stepName = name.substr(0, name.size() - ending.size());
            const bool wanted = std::find(only.begin(), only.end(), stepName) != only.end();
            if (!only.empty() && !wanted) continue;
            fs::create_directory(dir.file(stepName));
            const std::string command =
                "tar xJf '" + entry.path().string() + "' -C '" + dir.file(stepName) + "'";
            if (std::system(command.c_str()) != 0) {
                throw std::runtime_error("cannot unpack " + name);
            }
            names.push_back(stepName);
        }
        std::sort(names.begin(), names.end());
        if (names.empty()) throw std::runtime_error("no such steps in " + sequence);
    }

    static std::string packed(const std::string& sequence) {
        return std::string(QEL_SOURCE_DIR) + "/tests/recordings/" + sequence;
    }

    std::string folder() const { return dir.folder(); }
    std::string step(const std::string& name) const { return dir.file(name); }
    const std::vector<std::string>& steps() const { return names; }

private:
    TempDir dir;
    std::vector<std::string> names;
};

#endif  // TESTS_SUPPORT_UNPACKEDRECORDING_H
