#include "agent/daemon/MachineLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <cerrno>
#include <ctime>
#include <functional>
#include <string>

#include "agent/Failure.h"
#include "agent/FastClock.h"
#include "events/QELEventCollection.h"
#include "tests/support/LockRoom.h"

namespace {

using State = MachineLock::State;

// As a monitor makes it, with the value that it has before and after it is set free.
void makeLock(int value) {
    const int set = semget(54321, 1, IPC_CREAT | IPC_EXCL | 0777);
    ASSERT_GT(set, 0);
    if (value != 0) setLockValue(value);
}

void take() {
    sembuf step{0, -1, 0};
    ASSERT_EQ(0, semop(lockSet(), &step, 1));
}

// A process that takes the lock and is killed while it has it.
pid_t killedHolder() {
    const pid_t holder = fork();
    if (holder == 0) {
        take();
        (void)raise(SIGKILL);
    }
    int status = 0;
    EXPECT_EQ(holder, waitpid(holder, &status, 0));
    return holder;
}

int openLockFile() {
    const int fd = open("/agent.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_GE(fd, 0);
    return fd;
}

int heldLockFile() {
    const int fd = openLockFile();
    EXPECT_EQ(0, flock(fd, LOCK_EX));
    return fd;
}

TEST(MachineLock, GivenNoMonitorEverRanThenItIsAbsentAndLookingDoesNotMakeIt) {
    inLockRoom([] {
        EXPECT_EQ(State::kAbsent, MachineLock::look().state);
        EXPECT_EQ("no monitor has made the machine-wide lock yet", MachineLock::look().line);
        EXPECT_EQ(-1, lockSet());
        EXPECT_EQ("", MachineLock::repair(heldLockFile()));
    });
}

TEST(MachineLock, GivenAMonitorsQueueThenItIsFree) {
    inLockRoom([] {
        QELEventCollection queue("", 200, kEventAll);
        queue.addEvent("x");
        const MachineLock::Diagnosis found = MachineLock::look();
        EXPECT_EQ(State::kFree, found.state);
        EXPECT_EQ("the machine-wide lock is free", found.line);
        EXPECT_EQ("", MachineLock::repair(heldLockFile()));
        EXPECT_EQ(1, lockValue());
    });
}

TEST(MachineLock, GivenAHolderThatWasKilledThenItIsStuckAndRepairedAndTheEngineGoesOn) {
    inLockRoom([] {
        QELEventCollection queue("", 200, kEventAll);
        const std::int64_t before = std::time(nullptr);
        const std::string holder = std::to_string(killedHolder());
        const MachineLock::Diagnosis found = MachineLock::look();
        EXPECT_EQ(State::kStuck, found.state);
        EXPECT_EQ(holder, std::to_string(found.holder));
        EXPECT_LE(before - 1, found.since);
        EXPECT_EQ(0, found.waiting);
        EXPECT_EQ("the machine-wide lock is taken by process " + holder +
                      ", which is gone: every monitor waits for ever",
                  found.line);

        const int lock = heldLockFile();
        EXPECT_EQ("the machine-wide lock was left taken by process " + holder +
                      ", which is gone; it is free again",
                  MachineLock::repair(lock));
        EXPECT_EQ(1, lockValue());
        EXPECT_EQ(State::kFree, MachineLock::look().state);
        QELEvent event;
        event.severity = kEventError;
        queue.addEvent(event);
        EXPECT_EQ(1u, queue.getAllEvents().size());
        EXPECT_EQ("", MachineLock::repair(lock)) << "once is enough";
        EXPECT_EQ(1, lockValue());
    });
}

TEST(MachineLock, GivenAHolderThatLivesThenItIsNeverTouched) {
    inLockRoom([] {
        makeLock(1);
        int ready[2];
        ASSERT_EQ(0, pipe(ready));
        const pid_t holder = fork();
        if (holder == 0) {
            take();
            (void)!write(ready[1], "x", 1);
            for (;;) pause();
        }
        char byte = 0;
        ASSERT_EQ(1, read(ready[0], &byte, 1));
        const FastClock clock(std::time(nullptr) + 365 * 86400);  // however long it takes
        const MachineLock::Diagnosis found = MachineLock::look();
        EXPECT_EQ(State::kTaken, found.state);
        EXPECT_EQ(holder, found.holder);
        EXPECT_EQ(0u, found.line.find("the machine-wide lock is taken by process " +
                                      std::to_string(holder)));
        EXPECT_EQ("", MachineLock::repair(heldLockFile()));
        EXPECT_EQ(0, lockValue());
        kill(holder, SIGKILL);
        int status = 0;
        ASSERT_EQ(holder, waitpid(holder, &status, 0));
        EXPECT_EQ(State::kStuck, MachineLock::look().state);
    });
}

TEST(MachineLock, GivenOthersInLineThenTheyAreCountedAndGoOnAfterTheRepair) {
    inLockRoom([] {
        makeLock(1);
        (void)killedHolder();
        const pid_t waiter = fork();
        if (waiter == 0) {
            take();
            _exit(0);
        }
        waitUntil([] { return lockWaiters() == 1; });
        EXPECT_EQ(1, MachineLock::look().waiting);
        EXPECT_NE("", MachineLock::repair(heldLockFile()));
        int status = 0;
        ASSERT_EQ(waiter, waitpid(waiter, &status, 0));
        EXPECT_TRUE(WIFEXITED(status));
    });
}

TEST(MachineLock, GivenAnotherAgentHasItsLockThenNothingIsRepaired) {
    inLockRoom([] {
        makeLock(1);
        (void)killedHolder();
        const int other = heldLockFile();
        const int mine = openLockFile();
        try {
            (void)MachineLock::repair(mine);
            ADD_FAILURE() << "repaired";
        } catch (const Failure& e) {
            EXPECT_STREQ(
                "the machine-wide lock is not repaired while another raidwatch runs; stop it "
                "first",
                e.what());
        }
        EXPECT_EQ(0, lockValue());
        close(other);
        EXPECT_NE("", MachineLock::repair(mine));
        EXPECT_EQ(1, lockValue());
    });
}

// A monitor was killed between making the set and setting it free.
TEST(MachineLock, GivenAClockThatWasSetBackThenASetThatWasNeverSetFreeIsStuckAllTheSame) {
    inLockRoom([] {
        makeLock(0);
        const FastClock clock(std::time(nullptr) - 3600);
        EXPECT_EQ(State::kStuck, MachineLock::look().state);
    });
}

TEST(MachineLock, GivenASetThatWasNeverSetFreeThenItIsStuckAfterAWhile) {
    inLockRoom([] {
        makeLock(0);
        FastClock clock(std::time(nullptr));
        EXPECT_EQ(State::kTaken, MachineLock::look().state);
        EXPECT_EQ("the machine-wide lock is being made", MachineLock::look().line);
        clock.sleepSeconds(11);
        EXPECT_EQ(State::kStuck, MachineLock::look().state);
        EXPECT_EQ("the machine-wide lock was never set free; it is free again",
                  MachineLock::repair(heldLockFile()));
        EXPECT_EQ(1, lockValue());
    });
}

// The first set of a fresh IPC namespace has the identifier 0, which the engine does not use.
TEST(MachineLock, GivenTheIdentifierThatTheEngineDoesNotUseThenNothingIsWrong) {
    inLockRoom(
        [] {
            ASSERT_EQ(0, semget(54321, 1, IPC_CREAT | 0777));
            EXPECT_EQ(State::kAbsent, MachineLock::look().state);
            EXPECT_EQ("", MachineLock::repair(heldLockFile()));
        },
        FirstSet::kFree);
}

TEST(MachineLock, GivenASetThatWeMayNotReadThenSaysThatItCannotBeSeen) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can become another user";
    inLockRoom([] {
        ASSERT_GT(semget(54321, 1, IPC_CREAT | 0600), 0);
        const pid_t other = fork();
        if (other == 0) {
            const bool changed = setgid(65534) == 0 && setuid(65534) == 0;
            const MachineLock::Diagnosis found = MachineLock::look();
            _exit(changed && found.state == State::kUnknown &&
                          found.line ==
                              "the machine-wide lock cannot be looked at (Permission denied)"
                      ? 0
                      : 1);
        }
        int status = 0;
        ASSERT_EQ(other, waitpid(other, &status, 0));
        EXPECT_EQ(0, status);
    });
}

// Its parent has not asked for it yet; /proc still shows it. (The room above has no /proc.)
TEST(MachineLock, GivenAHolderThatIsAZombieThenItIsGone) {
    std::fflush(nullptr);
    const pid_t room = fork();
    if (room == 0) {
        if (unshare(CLONE_NEWIPC) != 0) _exit(77);
        (void)semget(IPC_PRIVATE, 1, 0600);
        makeLock(1);
        const pid_t holder = fork();
        if (holder == 0) {
            take();
            _exit(0);
        }
        siginfo_t info{};
        (void)waitid(P_PID, static_cast<id_t>(holder), &info, WEXITED | WNOWAIT);
        const MachineLock::Diagnosis found = MachineLock::look();
        _exit(found.state == State::kStuck && found.holder == holder ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(room, waitpid(room, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "NOT TESTED: no IPC namespace of its own here";
    EXPECT_EQ(0, WEXITSTATUS(status));
}

}  // namespace
