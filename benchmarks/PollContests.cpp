// One poll of the whole engine: read, compare, raise, write the snapshot.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include <pugixml.hpp>

#include "benchmarks/Contests.h"
#include "benchmarks/FlatDocument.h"
#include "benchmarks/GeneratedMachine.h"
#include "benchmarks/OtherRoot.h"
#include "storlib/VantLib.h"
#include "storlib/sources/LinuxSource.h"
#include "storlib/sources/MemorySource.h"
#include "tests/support/MonitorRoom.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
// A monitor in a folder of its own, on a clock that stands still.
class Watched {
public:
    Watched(std::shared_ptr<ManualClock> newClock, std::unique_ptr<ConfigSource> source)
        : clock(std::move(newClock)), lib(std::move(source)) {
        BaseRaidMonitor::useFolder(dir.folder());
        fs::copy_file(QEL_SOURCE_DIR "/catalogue/RaidNLS.properties",
                      dir.file("RaidNLS.properties"));
        dir.write("QELConfig.conf", "qel.debugMask=0\nqel.eventQueueSize=100000\n");
        monitor = std::make_unique<VantUnderTest>(&lib);
        BaseRaidMonitor::useFolder("");
        monitor->poll(VantRaidMonitor::kCheckConfig, monitor->queue());
        refresh();
        drain();
    }

    void idle() { monitor->poll(VantRaidMonitor::kCompareConfig, monitor->queue()); }
    void refresh() {
        monitor->forceRefresh = true;
        idle();
    }
    std::size_t drain() { return monitor->getEvents(0).size(); }
    const std::string& folder() const { return dir.folder(); }

private:
    std::shared_ptr<ManualClock> clock;
    TempDir dir;
    VantLib lib;
    std::unique_ptr<VantUnderTest> monitor;
};

// --- the engine's own work: what the source takes for reading does not count ---

class OwnWork {
public:
    OwnWork(const std::shared_ptr<ManualClock>& clock, int drives)
        : reading(std::make_shared<double>(0)), watched(clock, makeSource(drives)) {}

    double measure(long times) {
        double sum = 0;
        for (long i = 0; i < times; ++i) {
            *reading = 0;
            const double start = threadTime();
            watched.refresh();
            sum += threadTime() - start - *reading;
        }
        return sum;
    }

private:
    std::unique_ptr<ConfigSource> makeSource(int drives) {
        return std::make_unique<MemorySource>([spent = reading, drives](System& system) {
            const double start = threadTime();
            GeneratedMachine::fill(system, drives);
            *spent += threadTime() - start;
        });
    }

    std::shared_ptr<double> reading;
    Watched watched;
};

struct PugiSnapshot {
    explicit PugiSnapshot(int drives) {
        (void)original.load_string(GeneratedMachine::snapshot(drives).c_str(), pugi::parse_minimal);
        list = flatten(original);
    }

    void buildAndSave() const {
        pugi::xml_document document;
        pugi::xml_node parent = document;
        for (const FlatElement& element : list) {
            if (element.closes) {
                parent = parent.parent();
                continue;
            }
            pugi::xml_node node = parent.append_child(element.name);
            for (const FlatElement::Attribute& attribute : element.attributes) {
                pugi::xml_attribute made = node.append_attribute(attribute.name);
                if (attribute.text != nullptr) {
                    made.set_value(attribute.text);
                } else {
                    made.set_value(attribute.number);
                }
            }
            if (!element.empty) parent = node;
        }
        (void)document.save_file(dir.file("snapshot.xml").c_str(), "    ",
                                 pugi::format_indent | pugi::format_no_declaration);
    }

    pugi::xml_document original;
    std::vector<FlatElement> list;
    TempDir dir;
};

std::unique_ptr<Contest> makePoll(int drives) {
    auto contest = std::make_unique<Contest>();
    auto own = std::make_shared<OwnWork>(std::make_shared<ManualClock>(), drives);
    contest->add("ours", [=](long times) { return own->measure(times); });
    auto peer = std::make_shared<PugiSnapshot>(drives);
    contest->add("pugixml", loop([=] { peer->buildAndSave(); }));
    return contest;
}

std::unique_ptr<Contest> makePollGrowth() {
    auto contest = std::make_unique<Contest>();
    auto clock = std::make_shared<ManualClock>();
    for (const int drives : {10000, 100}) {
        auto own = std::make_shared<OwnWork>(clock, drives);
        contest->add(
            drives == 100 ? "small" : "ours", [=](long times) { return own->measure(times); },
            drives);
    }
    return contest;
}

// --- whole polls of a recorded machine ---

struct Recorded {
    explicit Recorded(const std::string& root) {
        auto made = std::make_unique<LinuxSource>(root);
        source = made.get();
        watched = std::make_unique<Watched>(std::make_shared<ManualClock>(), std::move(made));
    }

    LinuxSource* source;  // the library's, which is the monitor's
    std::unique_ptr<Watched> watched;
};

// Processor time of the process, in nanoseconds.
double runProcess(const std::vector<std::string>& words) {
    rusage used{};
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    if (posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0) {
        int status = 0;
        (void)wait4(child, &status, 0, &used);
    }
    posix_spawn_file_actions_destroy(&actions);
    const auto nanoseconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_usec) * 1e3;
    };
    return nanoseconds(used.ru_utime) + nanoseconds(used.ru_stime);
}

void addMdadm(Contest& contest) {
    contest.add("mdadm", [](long times) {
        const double start = threadTime();
        double sum = 0;
        for (long i = 0; i < times; ++i) {
            sum += runProcess({"mdadm", "--monitor", "--scan", "--oneshot"});
        }
        return sum + threadTime() - start;  // starting it is part of the price
    });
}

// The monitor's own folder has to be there under the other root as well.
Contest::Measure idleOnMachine(const std::shared_ptr<Recorded>& machine, const OtherRoot& other,
                               const std::string& root) {
    machine->source->getReader().keepHandles();  // the tree stands for sysfs
    const Contest::Measure polls = loop([=] { machine->watched->idle(); });
    fs::create_directories(root + machine->watched->folder());
    return [=](long times) {
        return other.run([&] {
            (void)polls(2);  // on the first one everything is new
            return polls(times);
        });
    };
}

std::unique_ptr<Contest> makeIdle(const std::string& root) {
    auto contest = std::make_unique<Contest>();
    const OtherRoot other(root);
    if (other.possible()) {
        contest->add("ours", idleOnMachine(std::make_shared<Recorded>("/"), other, root));
    } else {
        auto machine = std::make_shared<Recorded>(root);
        contest->add("ours", loop([=] { machine->watched->idle(); }));
    }
    addMdadm(*contest);
    return contest;
}

std::unique_ptr<Contest> makeRefresh(const std::string& root) {
    auto contest = std::make_unique<Contest>();
    auto machine = std::make_shared<Recorded>(root);
    contest->add("ours", loop([=] { machine->watched->refresh(); }));
    addMdadm(*contest);
    return contest;
}

// The poll that meets the failures. Going back to the sound machine does not count.
std::unique_ptr<Contest> makeFailures(const std::string& sound, const std::string& failed) {
    auto contest = std::make_unique<Contest>();
    auto machine = std::make_shared<Recorded>(sound);
    contest->add("ours", prepared(
                             [=] {
                                 machine->source->setRoot(sound);
                                 machine->watched->refresh();
                                 machine->watched->idle();
                                 machine->watched->idle();
                                 (void)machine->watched->drain();
                             },
                             [=] {
                                 machine->source->setRoot(failed);
                                 machine->watched->idle();
                             }));
    return contest;
}

}  // namespace

void addPollContests(const BenchSettings& settings, Contests& contests) {
    for (const int drives : settings.sizes) {
        contests.push_back({"poll/" + std::to_string(drives), [=] { return makePoll(drives); }});
    }
    contests.push_back({"poll-growth/10000", makePollGrowth});
    for (const char* size : {"24", "1000"}) {
        const std::string root = settings.folder + "machine-" + size;
        if (!fs::exists(root)) continue;
        contests.push_back({std::string("idle/") + size, [=] { return makeIdle(root); }});
        contests.push_back({std::string("refresh/") + size, [=] { return makeRefresh(root); }});
        const std::string failed = root + "-failed";
        if (!fs::exists(failed)) continue;
        contests.push_back(
            {std::string("failures/") + size, [=] { return makeFailures(root, failed); }});
    }
}
