// What the engine needs: its folder and the files in it, its texts, its lock.
#include "agent/doctor/Doctor.h"

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <vector>

#include "agent/EngineFolder.h"
#include "agent/EventReference.h"
#include "agent/Failure.h"
#include "agent/Languages.h"
#include "agent/daemon/MachineLock.h"
#include "agent/settings/EngineConfig.h"
#include "agent/settings/Quantity.h"
#include "agent/spool/SafeSnapshot.h"
#include "util/Clock.h"

namespace fs = std::filesystem;

namespace {

constexpr char kCatalogue[] = "RaidNLS.properties";
constexpr char kSnapshot[] = "QELVANTConfig.xml";
constexpr char kLogs[] = "qavelogs";
constexpr std::uintmax_t kManyBytes = std::uintmax_t{256} << 20;  // of logs
constexpr std::int64_t kLongHeld = 10;  // seconds; a monitor has the lock for microseconds

bool isThere(const std::string& name) { return access(name.c_str(), F_OK) == 0; }

std::uintmax_t bytesBelow(const std::string& folder) {
    std::uintmax_t sum = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error)) {
        std::error_code unreadable;
        const std::uintmax_t size = it->file_size(unreadable);
        if (!unreadable && it->is_regular_file(unreadable)) sum += size;
    }
    return sum;
}

}  // namespace

std::string Doctor::engineFolder() const {
    const std::string folder =
        settings.engineFolder.empty() ? EngineFolder::libraryFolder() : settings.engineFolder;
    return folder.back() == '/' ? folder : folder + "/";
}

void Doctor::lookAtCatalogue() {
    std::string file = engineFolder() + kCatalogue;
    try {
        if (!settings.language.empty() || !isThere(file)) {
            file = Languages::catalogue(settings.language);
        }
        if (file.empty() || access(file.c_str(), R_OK) != 0) {
            problem("message texts", "there is no catalogue: events come without text",
                    "install the package again");
            return;
        }
        std::size_t texts = 0;
        std::string missing;
        const EventReference reference(file);
        for (const EventReference::Entry& entry : reference.all()) {
            if (entry.key.empty()) continue;
            ++texts;
            if (entry.text.empty() && missing.empty()) missing = entry.key;
        }
        if (missing.empty()) {
            ok("message texts", std::to_string(texts) + " texts in " + file);
        } else {
            problem("message texts", file + " lacks texts, the first is " + missing,
                    "install the package again, or complete the file");
        }
    } catch (const Failure& e) {
        problem("message texts", e.what(), "choose another language in [monitor]");
    }
}

void Doctor::lookAtEngineFolder() {
    const std::string folder = engineFolder();
    if (!isThere(folder)) {
        problem("engine folder", folder + " is missing", "raidwatch doctor --fix makes it");
    } else if (access(folder.c_str(), R_OK | W_OK | X_OK) != 0) {
        denied("engine folder", "cannot write to " + folder + ": no snapshot is kept",
               "give it to root, or name another one, engine in [paths]");
    } else {
        ok("engine folder", folder);
    }
}

void Doctor::lookAtSnapshot() {
    const SafeSnapshot safe(engineFolder() + kSnapshot);
    const SafeSnapshot copy(safe.copyFile());
    const std::string file = engineFolder() + kSnapshot;
    const bool hasCopy = isThere(safe.copyFile());
    try {
        const bool copyGood = hasCopy && !copy.readCurrent().empty();
        if (!isThere(file)) {
            ok("snapshot", copyGood ? "only the safe copy is there; the daemon starts from it"
                                    : "none yet; the first look at the storage makes it");
        } else if (access(file.c_str(), R_OK) != 0) {
            denied("snapshot", "cannot read " + file, "give it to root");
        } else if (!safe.readCurrent().empty()) {
            ok("snapshot", copyGood ? "complete, and so is its safe copy" : "complete");
        } else if (copyGood) {
            advice("snapshot", file + " is not complete",
                   "none needed: the daemon starts from the safe copy");
        } else {
            problem("snapshot", file + " is not complete, and there is no safe copy",
                    "restart the daemon: it sets the file aside and begins anew");
        }
        if (hasCopy && !copyGood && access(safe.copyFile().c_str(), R_OK) == 0) {
            problem("snapshot", "the safe copy " + safe.copyFile() + " is not complete",
                    "restart the daemon: it sets the copy aside and makes a new one");
        }
    } catch (const Failure& e) {
        problem("snapshot", e.what(), "see to its folder");
    }
}

void Doctor::lookAtEngineSettings() {
    const EngineConfig config = EngineConfig::read(engineFolder());
    if (!config.problem.empty()) {
        denied("engine settings", config.problem, "correct the file");
    } else if (config.queueSize < EngineConfig::kGoodQueueSize) {
        advice("engine settings",
               "only " + std::to_string(config.queueSize) + " events can wait in " + config.file,
               "set qel.eventQueueSize=" + std::to_string(EngineConfig::kGoodQueueSize) +
                   " there, so that a storm of events loses none");
    } else {
        ok("engine settings", std::to_string(config.queueSize) + " events can wait");
    }
}

void Doctor::lookAtLogs() {
    const std::string folder = engineFolder() + kLogs;
    if (!isThere(folder)) {
        ok("engine logs", "none yet");
        return;
    }
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
        denied("engine logs", "cannot write to " + folder, "give it to root");
        return;
    }
    const std::uintmax_t bytes = bytesBelow(folder);
    const std::string size = std::to_string(bytes >> 20) + " MiB in " + folder;
    if (bytes > kManyBytes) {
        advice("engine logs", size, "see that logrotate runs, and set qel.debugMask=0");
    } else {
        ok("engine logs", size);
    }
}

void Doctor::lookAtMachineLock() {
    const MachineLock::Diagnosis found = MachineLock::look();
    switch (found.state) {
        case MachineLock::State::kAbsent:
        case MachineLock::State::kFree:
            ok("machine lock", found.line);
            return;
        case MachineLock::State::kStuck:
            problem("machine lock", found.line,
                    "stop raidwatch, then raidwatch doctor --fix frees it");
            return;
        case MachineLock::State::kUnknown:
            advice("machine lock", found.line, "look again as root, outside of containers");
            return;
        case MachineLock::State::kTaken:
            break;
    }
    const std::int64_t held = Clock::current().now() - found.since;
    if (held < kLongHeld) {
        ok("machine lock", found.line);
    } else {
        problem("machine lock", found.line + " for " + writtenDuration(held),
                "see why that process stands still; when it ends, raidwatch doctor --fix helps");
    }
}
