#include "storlib/sources/RecordingWriter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <system_error>
#include <vector>

#include "storlib/LogicalDrive.h"
#include "storlib/ProgressCollection.h"
#include "storlib/RefSystem.h"
#include "storlib/System.h"
#include "storlib/sources/LinuxSource.h"

namespace {

namespace fs = std::filesystem;

class Collector : public SysfsReader::Recorder {
public:
    void file(const std::string& path, const std::string& contents) override {
        files[path] = contents;
    }
    void link(const std::string& path, const std::string& target) override { links[path] = target; }
    void entry(const std::string& path) override { entries.insert(path); }

    std::map<std::string, std::string> files;
    std::map<std::string, std::string> links;
    std::set<std::string> entries;
};

// What a poll reads besides the tree: tasks, and what tells how one has ended.
void readTasks(LinuxSource& source, const System& system) {
    std::vector<RaidObject*> drives;
    system.getChildren(drives, "LogicalDrive", true, true);
    for (const RaidObject* object : drives) {
        const auto* drive = static_cast<const LogicalDrive*>(object);
        ProgressCollection ignored;  // only the reading counts
        (void)source.tasks(drive->addr, ignored);
        SysfsReader& reader = source.getReader();
        const std::string place = reader.resolve("/sys/block/" + drive->logicalName);
        for (const char* mark : {"resync_start", "sync_min", "reshape_position"}) {
            (void)reader.text(place + "/md/" + mark);
        }
    }
}

std::string nextStep(const std::string& destination) {
    int highest = 0;
    std::error_code ignored;
    for (fs::directory_iterator entry(destination, ignored), end; !ignored && entry != end;
         entry.increment(ignored)) {
        highest = std::max(highest, std::atoi(entry->path().filename().string().c_str()));
    }
    char name[32];
    std::snprintf(name, sizeof name, "%02d-step", highest + 1);
    return destination + "/" + name;
}

bool writeFile(const std::string& path, const std::string& contents) {
    std::error_code failure;
    fs::create_directories(fs::path(path).parent_path(), failure);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
    out.close();
    return static_cast<bool>(out);
}

// Links come last, when nothing is written below them any more: whatever one points at, no file
// lands outside the step.
bool writeStep(const Collector& seen, const std::string& step) {
    std::error_code failure;
    for (const auto& [path, contents] : seen.files) {
        if (!writeFile(step + path, contents)) return false;
    }
    for (const std::string& path : seen.entries) {
        if (seen.files.count(path) != 0 || seen.links.count(path) != 0) continue;
        fs::create_directories(step + path, failure);
        if (failure) return false;
    }
    for (const auto& [path, target] : seen.links) {
        fs::create_directories(fs::path(step + path).parent_path(), failure);
        fs::create_symlink(target, step + path, failure);
        if (failure) return false;
    }
    return true;
}

}  // namespace

namespace RecordingWriter {

std::string captureStep(const std::string& root, const std::string& destination,
                        std::string& error) {
    Collector seen;
    LinuxSource source(root);
    source.getReader().setRecorder(&seen);
    const RefSystem system(new System);
    if (source.fill(*system.get()).status != Ret::kOk) {
        error = source.lastError();
        return std::string();
    }
    readTasks(source, *system.get());
    std::error_code failure;
    fs::create_directories(destination, failure);
    const std::string step = nextStep(destination);
    if (!fs::create_directory(step, failure) || !writeStep(seen, step)) {
        error = "cannot write a recording below " + destination +
                (failure ? ": " + failure.message() : std::string());
        return std::string();
    }
    return step;
}

}  // namespace RecordingWriter
