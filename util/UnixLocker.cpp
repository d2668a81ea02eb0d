#include "util/UnixLocker.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace {

constexpr key_t kKey = 54321;
constexpr int kProjectId = 54321;
constexpr int kPermissions = 0777;
constexpr short kTake = -1;
constexpr short kGiveBack = 1;

// The argument of semctl(), which its callers have to declare themselves.
union semun {
    int val;
    semid_ds* buf;
    unsigned short* array;
};

void operate(std::int32_t identifier, short operation) {
    if (identifier < 1) return;
    // No SEM_UNDO: whether the lock of a holder that died may be given back is for an
    // administrator to say, not for the kernel.
    sembuf step{0, operation, 0};
    while (semop(identifier, &step, 1) == -1 && errno == EINTR) {
    }
}

}  // namespace

UnixLocker::UnixLocker(EnumAdapterType type, const char* suffix) {
    std::string path = "/StorLock" + std::to_string(static_cast<int>(type));
    if (suffix != nullptr) path += suffix;

    // The stream stays open for the life of the process: the file only has to exist.
    if (std::fopen(path.c_str(), "w+") == nullptr) std::perror("File open failed:");
    if (ftok(path.c_str(), kProjectId) == -1) {
        std::perror("key for lock unavailable:");
        return;
    }

    identifier = semget(kKey, 1, IPC_CREAT | IPC_EXCL | kPermissions);
    if (identifier < 1) {
        identifier = semget(kKey, 1, IPC_CREAT | kPermissions);
        return;
    }
    if (errno == EEXIST) return;
    semun free{};
    free.val = 1;
    if (semctl(identifier, 0, SETVAL, free) == -1) std::perror("set value for semaphore failed:");
}

void UnixLocker::getLock() { operate(identifier, kTake); }

void UnixLocker::releaseLock() { operate(identifier, kGiveBack); }
