// Reading a recorded Linux machine, beside a loop that opens, reads and closes the same files.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "benchmarks/Contests.h"
#include "benchmarks/OtherRoot.h"
#include "storlib/RefSystem.h"
#include "storlib/System.h"
#include "storlib/sources/LinuxSource.h"

namespace {

class FileNames : public SysfsReader::Recorder {
public:
    void file(const std::string& path, const std::string&) override { names.push_back(path); }
    void link(const std::string&, const std::string&) override {}
    void entry(const std::string&) override {}

    std::vector<std::string> names;
};

void readAll(const std::vector<std::string>& names) {
    char block[4096];
    for (const std::string& name : names) {
        const int handle = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        if (handle < 0) continue;
        while (read(handle, block, sizeof block) > 0) keep(block);
        close(handle);
    }
}

void fill(LinuxSource& source) {
    RefSystem system(new System(kStorLibGeneric));
    (void)source.fill(*system.get());
}

// What the source reads of a machine, with `prefix` in front of each name.
std::vector<std::string> namesRead(const std::string& root, const std::string& prefix) {
    LinuxSource source(root);
    FileNames files;
    source.getReader().setRecorder(&files);
    fill(source);
    source.getReader().setRecorder(nullptr);
    for (std::string& name : files.names) name.insert(0, prefix);
    return files.names;
}

std::unique_ptr<Contest> makeRecording(const std::string& root) {
    auto contest = std::make_unique<Contest>();
    auto source = std::make_shared<LinuxSource>(root);
    contest->add("ours", loop([=] { fill(*source); }));
    contest->add("files", loop([names = namesRead(root, root)] { readAll(names); }));
    return contest;
}

std::unique_ptr<Contest> makeMachine(const std::string& root) {
    const OtherRoot other(root);
    if (!other.possible()) return makeRecording(root);
    auto contest = std::make_unique<Contest>();
    auto source = std::make_shared<LinuxSource>("/");
    source->getReader().keepHandles();  // the tree stands for sysfs
    const Contest::Measure fills = loop([=] { fill(*source); });
    const Contest::Measure reads = loop([names = namesRead(root, "")] { readAll(names); });
    contest->add("ours", [=](long times) { return other.run([&] { return fills(times); }); });
    contest->add("files", [=](long times) { return other.run([&] { return reads(times); }); });
    return contest;
}

}  // namespace

void addSourceContests(const BenchSettings& settings, Contests& contests) {
    for (const char* size : {"24", "1000"}) {
        const std::string root = settings.folder + "machine-" + size;
        if (!std::filesystem::exists(root)) continue;
        contests.push_back({std::string("source/") + size, [=] { return makeMachine(root); }});
        contests.push_back({std::string("recording/") + size, [=] { return makeRecording(root); }});
    }
}
