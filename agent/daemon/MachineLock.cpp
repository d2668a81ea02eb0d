#include "agent/daemon/MachineLock.h"

#include <signal.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "agent/Failure.h"
#include "util/Clock.h"

namespace {

constexpr key_t kKey = 54321;  // of every monitor on the machine, see util/UnixLocker.h
// Between making the set and setting it free a monitor needs two system calls.
constexpr std::int64_t kSecondsToMakeIt = 10;

// The argument of semctl(), which its callers have to declare themselves.
union semun {
    int val;
    semid_ds* buf;
    unsigned short* array;
};

std::string procFile(pid_t process, const char* name) {
    std::ifstream in("/proc/" + std::to_string(process) + "/" + name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A zombie holds nothing any more: its memory and its threads are gone.
bool isZombie(pid_t process) {
    const std::string stat = procFile(process, "stat");
    const std::string::size_type name = stat.rfind(')');  // which may hold blanks and brackets
    return name != std::string::npos && name + 2 < stat.size() &&
           (stat[name + 2] == 'Z' || stat[name + 2] == 'X');
}

bool isAlive(pid_t process) {
    if (kill(process, 0) != 0 && errno == ESRCH) return false;
    return !isZombie(process);
}

std::string processName(pid_t process) {
    std::string name = procFile(process, "comm");
    while (!name.empty() && name.back() == '\n') name.pop_back();
    return name.empty() ? "" : " (" + name + ")";
}

std::string numbered(pid_t process) { return "process " + std::to_string(process); }

MachineLock::Diagnosis unseen(const std::string& why) {
    MachineLock::Diagnosis found;
    found.state = MachineLock::State::kUnknown;
    found.line = "the machine-wide lock cannot be looked at (" + why + ")";
    return found;
}

MachineLock::Diagnosis plain(MachineLock::State state, const char* line) {
    MachineLock::Diagnosis found;
    found.state = state;
    found.line = line;
    return found;
}

// Value 0, and nobody ever took it: made, but not set free.
MachineLock::Diagnosis lookAtNew(MachineLock::Diagnosis found, const semid_ds& set) {
    found.since = static_cast<std::int64_t>(set.sem_ctime);
    // Far in the future as well as long ago: the clock may have been set back meanwhile.
    if (std::abs(Clock::current().now() - found.since) < kSecondsToMakeIt) {
        found.state = MachineLock::State::kTaken;
        found.line = "the machine-wide lock is being made";
        return found;
    }
    found.state = MachineLock::State::kStuck;
    found.line =
        "the machine-wide lock was made but never set free by a process that is gone: "
        "every monitor waits for ever";
    return found;
}

MachineLock::Diagnosis lookAtTaken(MachineLock::Diagnosis found, const semid_ds& set) {
    if (set.sem_otime == 0 && found.holder == 0) return lookAtNew(found, set);
    found.since = static_cast<std::int64_t>(set.sem_otime);
    if (found.holder <= 0) {
        return unseen("it is taken by a process of another container");
    }
    if (isAlive(found.holder)) {
        found.state = MachineLock::State::kTaken;
        found.line = "the machine-wide lock is taken by " + numbered(found.holder) +
                     processName(found.holder);
        return found;
    }
    found.state = MachineLock::State::kStuck;
    found.line = "the machine-wide lock is taken by " + numbered(found.holder) +
                 ", which is gone: every monitor waits for ever";
    return found;
}

}  // namespace

MachineLock::Diagnosis MachineLock::look() {
    const int set = semget(kKey, 1, 0);
    if (set == -1 && errno == ENOENT) {
        return plain(State::kAbsent, "no monitor has made the machine-wide lock yet");
    }
    if (set == -1) return unseen(std::strerror(errno));
    // The engine takes the identifier 0 for "no lock" and never touches it.
    if (set == 0)
        return plain(State::kAbsent, "the monitors here do without the machine-wide lock");

    semid_ds about{};
    semun argument{};
    argument.buf = &about;
    const int value = semctl(set, 0, GETVAL);
    Diagnosis found;
    found.holder = semctl(set, 0, GETPID);
    found.waiting = semctl(set, 0, GETNCNT);
    if (value == -1 || found.holder == -1 || semctl(set, 0, IPC_STAT, argument) == -1) {
        return unseen(std::strerror(errno));
    }
    if (value > 0) return plain(State::kFree, "the machine-wide lock is free");
    found = lookAtTaken(found, about);
    // A process that gave the lock back and ended meanwhile left nothing behind. The dead do
    // nothing more: when the last operator is still the same, its last operation was the taking.
    if (found.state == State::kStuck &&
        (semctl(set, 0, GETVAL) != 0 || semctl(set, 0, GETPID) != found.holder)) {
        return plain(State::kFree, "the machine-wide lock is free");
    }
    return found;
}

std::string MachineLock::repair(int agentLock) {
    // On a description that has the lock already this changes nothing.
    if (flock(agentLock, LOCK_EX | LOCK_NB) != 0) {
        throw Failure(Failure::kFailed,
                      "the machine-wide lock is not repaired while another raidwatch runs; stop it "
                      "first");
    }
    const Diagnosis found = look();
    if (found.state != State::kStuck) return "";
    // Both steps or none: a lock that came free meanwhile is not given back twice.
    sembuf steps[] = {{0, 0, IPC_NOWAIT}, {0, 1, IPC_NOWAIT}};
    if (semop(semget(kKey, 1, 0), steps, 2) != 0) {
        if (errno == EAGAIN) return "";
        throw Failure(Failure::kFailed, "cannot set the machine-wide lock free (" +
                                            std::string(std::strerror(errno)) +
                                            "); run as root, or remove it with ipcrm -S 54321");
    }
    const std::string who = found.holder == 0
                                ? "was never set free"
                                : "was left taken by " + numbered(found.holder) + ", which is gone";
    return "the machine-wide lock " + who + "; it is free again";
}
