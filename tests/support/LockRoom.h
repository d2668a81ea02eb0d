// LockRoom: runs a piece of a test in a child process that has System V semaphores and a root
// folder of its own, so that the machine-wide lock can be held, lost and left behind safely.
//
//   inLockRoom([] {
//       UnixLocker lock(kAdapterGeneric, "x");
//       EXPECT_EQ(1, lockValue());
//   });
//
// In the room the first set (identifier 0, which counts as no lock) is already taken, and "/" is
// a temporary folder that holds nothing but an empty "/tmp". The room is torn down after
// kRoomSeconds: a lock that never comes back fails the test and does not hang it. Where the system
// does not allow such a room the test is skipped with the reason.
#ifndef TESTS_SUPPORT_LOCKROOM_H
#define TESTS_SUPPORT_LOCKROOM_H

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <string>

#include "tests/support/TempDir.h"

constexpr unsigned kRoomSeconds = 60;

enum class FirstSet { kTaken, kFree };

inline int lockSet() { return semget(54321, 1, 0); }
inline int lockValue() { return semctl(lockSet(), 0, GETVAL); }
inline int lockWaiters() { return semctl(lockSet(), 0, GETNCNT); }

inline void setLockValue(int value) {
    union {
        int val;
        void* unused;
    } argument{};
    argument.val = value;
    EXPECT_EQ(0, semctl(lockSet(), 0, SETVAL, argument));
}

// Lets other threads and processes run until `isTrue`; a room that waits in vain is torn down.
template <typename Condition>
void waitUntil(Condition isTrue) {
    while (!isTrue()) usleep(200);
}

inline void inLockRoom(const std::function<void()>& body, FirstSet first = FirstSet::kTaken) {
    constexpr int kRefused = 77;
    const TempDir root;
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(-1, child) << std::strerror(errno);
    if (child == 0) {
        alarm(kRoomSeconds);
        if (unshare(CLONE_NEWIPC) != 0 || chroot(root.folder().c_str()) != 0 || chdir("/") != 0) {
            _exit(kRefused);
        }
        (void)mkdir("/tmp", 0700);  // for GoogleTest's captured output
        if (first == FirstSet::kTaken) (void)semget(IPC_PRIVATE, 1, 0600);
        try {
            body();
        } catch (const std::exception& e) {  // or the child would go on with the other tests
            ADD_FAILURE() << "thrown in the room: " << e.what();
        }
        std::fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    if (WIFEXITED(status) && WEXITSTATUS(status) == kRefused) {
        GTEST_SKIP() << "NOT TESTED: this user may not have an IPC namespace and a root folder of "
                        "its own (unshare, chroot); run as root";
    }
    ASSERT_FALSE(WIFSIGNALED(status)) << "ended by signal " << WTERMSIG(status)
                                      << (WTERMSIG(status) == SIGALRM ? ": waited for ever" : "");
    EXPECT_EQ(0, WEXITSTATUS(status)) << "failed in the room, see above";
}

#endif  // TESTS_SUPPORT_LOCKROOM_H
