// What the machine must have: room, time, storage to look at, tools.
#include "agent/doctor/Doctor.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "agent/Failure.h"
#include "agent/Wording.h"
#include "agent/settings/Quantity.h"
#include "agent/spool/Spool.h"
#include "agent/state/StateBuilder.h"
#include "storlib/VantLib.h"
#include "util/Clock.h"

namespace {

constexpr std::uint64_t kMebi = std::uint64_t{1} << 20;
constexpr std::uint64_t kTooLittle = 16 * kMebi;  // free bytes: the next records may not fit
constexpr std::uint64_t kLittle = 256 * kMebi;
constexpr std::uint64_t kFewNames = 100;         // free inodes
constexpr std::int64_t kOldestNow = 1735689600;  // 2025-01-01: older than this program
constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 24 * kHour;

bool hasProgram(const std::string& name) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(std::string(path == nullptr ? "" : path) +
                               ":/usr/local/sbin:/usr/sbin:/sbin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (!folder.empty() && access((folder + "/" + name).c_str(), X_OK) == 0) return true;
    }
    return false;
}

}  // namespace

void Doctor::lookAtSpace() {
    struct statvfs info {};
    const bool there = access(settings.stateFolder.c_str(), F_OK) == 0;
    const std::string& folder = there ? settings.stateFolder : std::string("/");
    if (statvfs(folder.c_str(), &info) != 0) {
        advice("free space", "cannot be told for " + folder, "see df " + folder);
        return;
    }
    const std::uint64_t bytes = std::uint64_t{info.f_bavail} * info.f_frsize;
    const std::string text = std::to_string(bytes / kMebi) + " MiB free for " + folder;
    if (bytes < kTooLittle) {
        problem("free space", text + ": the next records may not fit", "make room there");
    } else if (info.f_files != 0 && info.f_favail < kFewNames) {
        problem("free space", "hardly any file can be made in " + folder, "remove files there");
    } else if (bytes < kLittle) {
        advice("free space", text, "make room there before it is full");
    } else {
        ok("free space", text);
    }
}

void Doctor::lookAtClock() {
    const std::int64_t now = Clock::current().now();
    const std::string time = Clock::text(static_cast<std::time_t>(now));
    constexpr char kSet[] = "set it: timedatectl set-ntp true";
    if (now < kOldestNow) {
        problem("clock", "it says " + time + ": times in messages will be wrong", kSet);
        return;
    }
    std::int64_t hardware = 0;
    std::ifstream in(root + "/sys/class/rtc/rtc0/since_epoch");
    // It may go by local time, so some hours say nothing.
    if (in >> hardware && (hardware - now > kDay || now - hardware > kDay)) {
        advice("clock",
               "it says " + time + ", but the clock that runs while the power is off is " +
                   writtenDuration(std::llabs(hardware - now) / kHour * kHour) + " away",
               "if the time is right: hwclock --systohc; otherwise set it");
        return;
    }
    try {
        const Spool spool(RunFolder::spoolFile(settings), Spool::Access::kReadOnly);
        const std::int64_t last = spool.lastSequence();
        for (const Record& record : spool.read(last - 1, 1)) {
            if (record.at / 1000 <= now + kHour) continue;
            problem("clock",
                    "it says " + time + ", before the last record that was kept: it went back",
                    kSet);
            return;
        }
    } catch (const SpoolError&) {
        // Nothing to compare with.
    }
    ok("clock", time);
}

void Doctor::lookAtSource() {
    std::string error;
    const std::unique_ptr<VantLib> lib = VantLib::open(settings.source, error);
    if (!lib) {
        problem("storage", error, "correct source in [monitor]");
        return;
    }
    if (lib->getSystemConfig().status != Ret::kOk) {
        denied("storage", settings.source + " cannot be read: " + lib->lastError(),
               "see that its files can be read");
        return;
    }
    StateBuilder builder;
    const MachineState state = builder.build(*lib, Clock::current().now());
    const std::string text =
        settings.source + ": " + counted(state.controllers.size(), "controller") + ", " +
        counted(state.arrays.size(), "array") + ", " + counted(state.drives.size(), "drive");
    if (state.drives.empty() && state.arrays.empty()) {
        advice("storage", text + ": there is nothing to watch",
               "see raidwatch list, and source in [monitor]");
    } else {
        ok("storage", text);
    }
}

void Doctor::lookAtTools() {
    if (hasProgram("smartctl")) {
        ok("tools", "smartctl is there");
    } else {
        advice("tools", "smartctl is missing: drives that foretell their failure are not seen",
               "apt install smartmontools");
    }
}
