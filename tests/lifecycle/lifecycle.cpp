// lifecycle: what a host does with the library, again and again, and what that leaves behind.
//
//   lifecycle SCENARIO...      plays each scenario to its end, twice: the second monitor begins
//                              with the snapshot that the first one has left
//   lifecycle --starts N       one monitor, started, polled, drained and stopped N times
//   lifecycle --monitors N     N monitors, each constructed, started, polled, drained, stopped and
//                              destroyed; each reads the snapshot of the one before
//
// The last two measure what the process holds after a tenth of the rounds and at the end, print
// both, and end with 1 when something grew. Intended growth: each monitor's queue leaves an empty
// file "/StorLock0QEL-<clock>" whose stream stays open for the life of the process (UnixLocker.h),
// one descriptor and some 600 bytes. The files are removed at the end of the program.
//
// A host like any other: shared libraries, public headers, scripts/in-test-room around it. Time is
// a clock that a sleep moves, so that nothing waits.
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "monitor/VantRaidMonitor.h"
#include "storlib/VantLib.h"
#include "storlib/sources/MemorySource.h"
#include "storlib/sources/SteppedSource.h"
#include "tests/lifecycle/Resources.h"
#include "tests/support/Machine.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kMemoryCounts = false;  // their own memory grows with what they watch
#else
constexpr bool kMemoryCounts = true;
#endif

constexpr long kStreamBytes = 640;  // of a stream that is never closed, at most
constexpr long kSlack = 65536;      // buffers that are still growing to their size
constexpr long kResidentSlack = 1024 * 1024;

// The folder, the settings and the texts of monitors.
class Place {
public:
    Place() {
        BaseRaidMonitor::useFolder(dir.folder());
        dir.write("QELConfig.conf", "qel.debugMask=0\nqel.eventQueueSize=1000\n");
        std::filesystem::copy_file(QEL_SOURCE_DIR "/catalogue/RaidNLS.properties",
                                   dir.file("RaidNLS.properties"));
    }
    ~Place() { BaseRaidMonitor::useFolder(""); }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    void forgetSnapshot() const { std::filesystem::remove(dir.file("QELVANTConfig.xml")); }

private:
    TempDir dir;
};

// The lock files of this process: a queue's stay open, so they are found among its descriptors, and
// no other process's are touched.
class OwnLockFiles {
public:
    OwnLockFiles() = default;
    ~OwnLockFiles() {
        std::error_code ignored;
        for (const std::filesystem::path& file : open()) std::filesystem::remove(file, ignored);
    }
    OwnLockFiles(const OwnLockFiles&) = delete;
    OwnLockFiles& operator=(const OwnLockFiles&) = delete;

    static std::vector<std::filesystem::path> open() {
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;  // the descriptor of this very listing
            const std::filesystem::path file = std::filesystem::read_symlink(entry.path(), gone);
            if (file.string().compare(0, 14, "/StorLock0QEL-") == 0) files.push_back(file);
        }
        return files;
    }
};

// A monitor's loop on a thread of its own that stands still in a pause between two polls.
class Run {
public:
    // Until `enough`, asked on the loop's thread in each second of sleep, is true.
    template <typename Condition>
    Run(VantRaidMonitor& monitorIN, ManualClock& clockIN, Condition enough)
        : monitor(monitorIN), clock(clockIN) {
        clock.onSleep([this, enough](unsigned) {
            if (!enough()) return;
            resting = true;
            while (!released) std::this_thread::yield();
        });
        thread = std::thread([this] {
            try {
                monitor.start();
            } catch (const std::exception& e) {
                std::fprintf(stderr, "the loop broke off: %s\n", e.what());
                std::_Exit(1);
            }
        });
    }
    ~Run() {
        monitor.stop();
        released = true;
        thread.join();
        clock.onSleep(nullptr);
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    // Drains while the loop runs; returns how many events there were until it rested.
    long drain() {
        long count = 0;
        for (bool last = false; !last;) {
            last = resting;
            QELEvent some[3];
            count += monitor.getEvents(some, 3);
            (void)monitor.getNumberOfEvents();
            count += static_cast<long>(monitor.getEvents(0).size());
            std::this_thread::yield();
        }
        return count;
    }

private:
    VantRaidMonitor& monitor;
    ManualClock& clock;
    std::atomic<bool> resting{false};
    std::atomic<bool> released{false};
    std::thread thread;
};

// --- scenarios ---

void play(const std::string& scenario, Place& place, ManualClock& clock) {
    place.forgetSnapshot();
    long total = 0;
    for (const char* snapshot : {"without", "with"}) {
        std::string error;
        const std::unique_ptr<VantLib> lib = VantLib::open("scenario:" + scenario, error);
        if (lib == nullptr) throw std::runtime_error(error);
        const auto& source = static_cast<SteppedSource&>(lib->getSource());
        VantRaidMonitor monitor(lib.get());
        long events = 0;
        {
            int secondsAfterTheEnd = 0;
            Run run(monitor, clock, [&] { return source.atEnd() && ++secondsAfterTheEnd > 10; });
            events = run.drain();
        }
        std::printf("%s, %s a snapshot: %ld events\n",
                    std::filesystem::path(scenario).stem().c_str(), snapshot, events);
        total += events;
    }
    if (total == 0) throw std::runtime_error(scenario + " raised nothing");
}

// --- rounds ---

// A machine on which something happens between two readings.
class RestlessMachine {
public:
    RestlessMachine() {
        Machine::Controller& controller = machine.addController(1);
        controller.drives = {{0, 1, kDriveMember, "KOVA-PQ", "", "S-1"},
                             {0, 2, kDriveMember, "KOVA-PQ", "", "S-2"},
                             {1, 3, kDriveHotSpare, "KOVA-PQ", "", "S-3"}};
        controller.arrays = {{0, kLogicalOptimal}, {1, kLogicalOptimal}};
    }

    std::unique_ptr<MemorySource> source() {
        return std::make_unique<MemorySource>([this](System& system) {
            change();
            machine.builder()(system);
        });
    }

private:
    void change() {
        odd = !odd;
        Machine::Controller& controller = machine.controllers[0];
        controller.drives[0].state = odd ? kDriveMember : kDriveFailed;
        controller.arrays[0].state = odd ? kLogicalOptimal : kLogicalDegraded;
        controller.status = odd ? kAdapterNormal : kAdapterNormal + 1;
    }

    Machine machine;
    bool odd = false;
};

// One start, some polls, one stop. The readings that a start forces find something each time.
long oneRun(VantRaidMonitor& monitor, ManualClock& clock) {
    int seconds = 0;
    Run run(monitor, clock, [&] {
        clock.advance(30);  // each poll reads the machine
        return ++seconds >= 7;
    });
    return run.drain();
}

long startAgain(int rounds, VantRaidMonitor& monitor, ManualClock& clock) {
    long events = 0;
    for (int i = 0; i < rounds; ++i) {
        const long found = oneRun(monitor, clock);
        if (found == 0) throw std::runtime_error("a run raised nothing");
        events += found;
    }
    return events;
}

long makeAgain(int rounds, RestlessMachine& machine, ManualClock& clock) {
    long events = 0;
    for (int i = 0; i < rounds; ++i) {
        VantLib lib(machine.source());
        VantRaidMonitor monitor(&lib);
        events += startAgain(1, monitor, clock);
    }
    return events;
}

struct Row {
    const char* name;
    long before;
    long after;
    long allowed;  // growth
};

// Prints the table; false when something grew by more than it may.
bool compare(const Resources& before, const Resources& after, long streams) {
    const long heap = streams * kStreamBytes + kSlack;
    const Row rows[] = {
        {"heap in use, bytes", before.heapBytes, after.heapBytes, heap},
        {"resident, bytes", before.residentBytes, after.residentBytes, heap + kResidentSlack},
        {"descriptors", before.descriptors, after.descriptors, streams},
        {"threads", before.threads, after.threads, 0},
        {"semaphore sets", before.semaphoreSets, after.semaphoreSets, 0},
        {"shared memory", before.sharedMemory, after.sharedMemory, 0},
    };
    bool good = true;
    std::printf("%-22s %12s %12s %10s\n", "", "after 1/10", "at the end", "growth");
    for (const Row& row : rows) {
        const bool counts = kMemoryCounts || std::strstr(row.name, "bytes") == nullptr;
        const bool grew = counts && row.after - row.before > row.allowed;
        std::printf("%-22s %12ld %12ld %10ld%s%s\n", row.name, row.before, row.after,
                    row.after - row.before, grew ? "  TOO MUCH" : "",
                    counts ? "" : "  (not judged)");
        good = good && !grew;
    }
    return good;
}

bool startRounds(int rounds, ManualClock& clock) {
    const OwnLockFiles locks;
    const long threads = Resources::now().threads;
    RestlessMachine machine;
    VantLib lib(machine.source());
    VantRaidMonitor monitor(&lib);
    long events = startAgain(rounds / 10, monitor, clock);
    const Resources before = Resources::settled(threads);
    events += startAgain(rounds - rounds / 10, monitor, clock);
    const Resources after = Resources::settled(threads);
    std::printf("%d starts of one monitor, %ld events, %zu lock file(s)\n", rounds, events,
                OwnLockFiles::open().size());
    return compare(before, after, 0) && OwnLockFiles::open().size() == 1;
}

bool monitorRounds(int rounds, ManualClock& clock) {
    const OwnLockFiles locks;
    const long threads = Resources::now().threads;
    RestlessMachine machine;
    long events = makeAgain(rounds / 10, machine, clock);
    const Resources before = Resources::settled(threads);
    events += makeAgain(rounds - rounds / 10, machine, clock);
    const Resources after = Resources::settled(threads);
    std::printf("%d monitors, %ld events, %zu lock files\n", rounds, events,
                OwnLockFiles::open().size());
    return compare(before, after, rounds - rounds / 10);
}

// Each monitor leaves an open stream; the usual 1,024 are too few for thousands of them.
void allowDescriptors() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    (void)setrlimit(RLIMIT_NOFILE, &limit);  // a limit that stays shows as a failed round
}

int usage() {
    std::fputs("usage: lifecycle SCENARIO... | --starts N | --monitors N\n", stderr);
    return 2;
}

int runAll(const std::vector<std::string>& arguments) {
    Place place;
    ManualClock clock;
    const bool starts = arguments[0] == "--starts";
    if (starts || arguments[0] == "--monitors") {
        const int rounds = arguments.size() == 2 ? std::atoi(arguments[1].c_str()) : 0;
        if (rounds < 10) return usage();
        allowDescriptors();
        return (starts ? startRounds(rounds, clock) : monitorRounds(rounds, clock)) ? 0 : 1;
    }
    const OwnLockFiles locks;
    for (const std::string& scenario : arguments) play(scenario, place, clock);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    try {
        return runAll({argv + 1, argv + argc});
    } catch (const std::exception& e) {
        std::fprintf(stderr, "lifecycle: %s\n", e.what());
        return 1;
    }
}
