#include "agent/sinks/HookProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "tests/agent/HookFixture.h"
#include "tests/agent/LocalService.h"

namespace {

using End = HookResult::End;
using Milliseconds = std::chrono::milliseconds;

class HookProcessTest : public testing::Test {
protected:
    HookResult run(const std::string& lines) {
        call.arguments.insert(call.arguments.begin(), folder.script("hook", lines));
        return runHook(call, limits, cancelFd);
    }

    // Whether a process still does something; one that nobody has waited for does not.
    static bool isAlive(const std::string& pid) {
        const std::string state = outputOf("cat /proc/" + pid + "/stat 2>/dev/null");
        const std::size_t name = state.rfind(") ");
        return name != std::string::npos && state[name + 2] != 'Z';
    }

    HookFolder folder;
    HookCall call;
    HookLimits limits;
    int cancelFd = -1;
};

TEST_F(HookProcessTest, ArgumentsInputAndOutputArrive) {
    call.arguments = {"one", "two words"};
    call.input = "line one\nline two\n";
    const HookResult result = run("echo \"$#:$1:$2\"; cat; echo problem >&2; exit 3");
    EXPECT_EQ(End::kExited, result.end);
    EXPECT_EQ(3, result.status);
    EXPECT_EQ("2:one:two words\nline one\nline two\nproblem\n", result.output);
    EXPECT_FALSE(result.cut);
}

TEST_F(HookProcessTest, InputMayBeLargeAndLeftUnread) {
    call.input = std::string(3 << 20, 'x');
    EXPECT_EQ("3145728\n", run("wc -c").output);
    call.arguments.clear();
    EXPECT_EQ(0, run("exit 0").status);
}

TEST_F(HookProcessTest, TheEnvironmentIsWhatWasGivenAndNothingElse) {
    setenv("QEL_TEST_SECRET", "x", 1);
    call.arguments = {"/usr/bin/env"};
    call.environment = {"PATH=/usr/bin:/bin", "GIVEN=yes"};
    EXPECT_EQ("PATH=/usr/bin:/bin\nGIVEN=yes\n", runHook(call, limits, -1).output);
    unsetenv("QEL_TEST_SECRET");
}

TEST_F(HookProcessTest, NoFileOfOursIsOpenInIt) {
    const int leak = open("/dev/null", O_RDONLY);  // without close-on-exec
    call.environment = {"PATH=/usr/bin:/bin"};
    // The shell itself holds its script open at 10 or above, and 3 while it lists the folder.
    const std::string seen = run("for f in /proc/$$/fd/*; do n=${f##*/}; [ -e $f ] && [ $n -lt 10 "
                                 "] && echo $n; done; exit 0")
                                 .output;
    close(leak);
    EXPECT_EQ("0\n1\n2\n", seen);
}

TEST_F(HookProcessTest, ItStartsInTheRootFolderInAGroupOfItsOwnWithUsualSignals) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto handler = signal(SIGUSR2, SIG_IGN);
    call.environment = {"PATH=/usr/bin:/bin"};
    const HookResult result =
        run("pwd; [ $(ps -o pgid= -p $$) = $$ ] && echo group; umask;"
            "exec grep -E 'SigBlk|SigIgn' /proc/self/status");
    signal(SIGUSR2, handler);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ("/\ngroup\n0077\nSigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n",
              result.output);
}

TEST_F(HookProcessTest, OutputIsBoundedButReadToItsEnd) {
    limits.output = 10;
    const HookResult result =
        run("i=0; while [ $i -lt 20000 ]; do echo 0123456789; i=$((i+1)); done; exit 4");
    EXPECT_EQ(4, result.status);
    EXPECT_EQ("0123456789", result.output);
    EXPECT_TRUE(result.cut);
}

TEST_F(HookProcessTest, ASignalIsToldAsSuch) {
    const HookResult result = run("kill -9 $$");
    EXPECT_EQ(End::kSignalled, result.end);
    EXPECT_EQ(SIGKILL, result.status);
}

TEST_F(HookProcessTest, AtTheTimeLimitTheWholeGroupIsEnded) {
    limits.time = Milliseconds(1500);  // long enough for the shell to come so far
    limits.grace = Milliseconds(200);
    call.environment = {"PATH=/usr/bin:/bin"};
    const auto before = std::chrono::steady_clock::now();
    const HookResult result =
        run("trap '' TERM; (trap '' TERM; sleep 100) & echo $!; wait; sleep 100");
    EXPECT_EQ(End::kTimeOut, result.end);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
    const std::string child = result.output.substr(0, result.output.find('\n'));
    ASSERT_NE("", child);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(child); })) << "process " << child;
}

TEST_F(HookProcessTest, AtTheTimeLimitItMayStillSayGoodbye) {
    limits.time = Milliseconds(1500);  // long enough for the shell to come so far
    limits.grace = Milliseconds(20000);
    call.environment = {"PATH=/usr/bin:/bin"};
    const HookResult result =
        run("exec 2>/dev/null; trap 'echo goodbye; exit 0' TERM; echo hello; while :; do sleep "
            "0.05; done");
    EXPECT_EQ(End::kTimeOut, result.end);
    EXPECT_EQ("hello\ngoodbye\n", result.output);
}

TEST_F(HookProcessTest, OneThatWritesWithoutEndIsStoppedToo) {
    limits.time = Milliseconds(300);
    limits.grace = Milliseconds(200);
    EXPECT_EQ(End::kTimeOut, run("while :; do echo x; done").end);
}

TEST_F(HookProcessTest, WhatItLeavesBehindIsNotWaitedForAndGoesOn) {
    call.environment = {"PATH=/usr/bin:/bin"};
    const auto before = std::chrono::steady_clock::now();
    const HookResult result = run("sleep 100 & echo $!; exit 0");
    EXPECT_EQ(End::kExited, result.end);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
    const std::string child = result.output.substr(0, result.output.find('\n'));
    EXPECT_TRUE(isAlive(child));
    kill(std::atoi(child.c_str()), SIGKILL);
}

TEST_F(HookProcessTest, GivenACancelThenItEndsSoon) {
    cancelFd = eventfd(0, EFD_CLOEXEC);
    limits.grace = Milliseconds(200);
    std::thread canceller([&] {
        waitUntil([&] { return folder.dir.exists("started"); });
        eventfd_write(cancelFd, 1);
    });
    call.environment = {"PATH=/usr/bin:/bin"};
    const auto before = std::chrono::steady_clock::now();
    const HookResult result = run("touch " + folder.dir.file("started") + "; exec sleep 100");
    canceller.join();
    close(cancelFd);
    EXPECT_EQ(End::kCancelled, result.end);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
}

TEST_F(HookProcessTest, GivenACancelBeforeItBeginsThenNothingIsStarted) {
    cancelFd = eventfd(1, EFD_CLOEXEC);
    call.environment = {"PATH=/usr/bin:/bin"};
    const HookResult result = run("touch " + folder.dir.file("started"));
    close(cancelFd);
    EXPECT_EQ(End::kCancelled, result.end);
    EXPECT_FALSE(folder.dir.exists("started"));
}

TEST_F(HookProcessTest, WhatCannotStartSaysWhy) {
    call.arguments = {folder.dir.file("none")};
    const HookResult missing = runHook(call, limits, -1);
    EXPECT_EQ(End::kNotStarted, missing.end);
    EXPECT_EQ("cannot run " + folder.dir.file("none") + ": No such file or directory",
              missing.error);
    call.arguments = {folder.dir.write("text", "no program")};
    EXPECT_EQ("cannot run " + folder.dir.file("text") + ": Permission denied",
              runHook(call, limits, -1).error);
}

TEST_F(HookProcessTest, GivenAUserThenItRunsAsThatUserWithItsGroupsOnly) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can become another user";
    call.user.change = true;
    call.user.uid = 65534;
    call.user.gid = 65534;
    call.user.groups = {65534, 100};
    call.environment = {"PATH=/usr/bin:/bin"};
    EXPECT_EQ("65534 65534\n65534 100\n", run("echo $(id -u) $(id -ru); id -G").output);
}

// As below a unit that grants no such capability; of the calling thread alone.
bool dropCapKill() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    if (syscall(SYS_capget, &header, data) != 0) return false;
    data[0].effective &= ~(1U << CAP_KILL);
    data[0].permitted &= ~(1U << CAP_KILL);
    return syscall(SYS_capset, &header, data) == 0;
}

TEST_F(HookProcessTest, GivenAUserAndNoRightToSignalOthersThenTheTimeLimitHolds) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can become another user";
    call.user.change = true;
    call.user.uid = 65534;
    call.user.gid = 65534;
    limits.time = Milliseconds(1500);  // long enough for the shell to come so far
    limits.grace = Milliseconds(200);
    call.environment = {"PATH=/usr/bin:/bin"};
    bool dropped = false;
    HookResult result;
    std::thread([&] {
        dropped = dropCapKill();
        result = run("trap '' TERM; (trap '' TERM; exec sleep 30) & echo $!; wait");
    }).join();
    ASSERT_TRUE(dropped);
    EXPECT_EQ(End::kTimeOut, result.end);
    const std::string child = result.output.substr(0, result.output.find('\n'));
    ASSERT_NE("", child);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(child); })) << "process " << child;
}

TEST_F(HookProcessTest, ManyMayRunAtOnceInManyThreads) {
    const std::string script = folder.script("many", "cat");
    std::vector<std::thread> threads;
    std::vector<std::string> outputs(16);
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        threads.emplace_back([&, i] {
            HookCall one;
            one.arguments = {script};
            one.environment = {"PATH=/usr/bin:/bin"};
            one.input = "number " + std::to_string(i);
            outputs[i] = runHook(one, HookLimits(), -1).output;
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        EXPECT_EQ("number " + std::to_string(i), outputs[i]);
    }
}

}  // namespace
