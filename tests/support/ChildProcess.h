// inChild: runs a piece of a test in a process of its own, so that it may give up what the test
// program needs: memory, descriptors, the mount table.
//
//   inChild([] {
//       limit(RLIMIT_NOFILE, 10);
//       EXPECT_EQ(-1, open("/dev/null", O_RDONLY));
//   });
//
// Failures inside count. A child that does not end is ended after kChildSeconds and fails the test.
// A body that returns kRefused skips the test, with `reason`.
#ifndef TESTS_SUPPORT_CHILDPROCESS_H
#define TESTS_SUPPORT_CHILDPROCESS_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <string>

constexpr unsigned kChildSeconds = 120;

enum class ChildResult { kDone, kRefused };

inline void inChild(const std::function<ChildResult()>& body, const std::string& reason) {
    constexpr int kRefusedStatus = 77;
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(-1, child) << std::strerror(errno);
    if (child == 0) {
        alarm(kChildSeconds);
        ChildResult result = ChildResult::kDone;
        try {
            result = body();
        } catch (const std::exception& e) {  // or the child would go on with the other tests
            ADD_FAILURE() << "thrown in the child: " << e.what();
        }
        std::fflush(nullptr);
        if (result == ChildResult::kRefused) _exit(kRefusedStatus);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    if (WIFEXITED(status) && WEXITSTATUS(status) == kRefusedStatus) {
        GTEST_SKIP() << "NOT TESTED: " << reason;
    }
    ASSERT_FALSE(WIFSIGNALED(status)) << "ended by signal " << WTERMSIG(status)
                                      << (WTERMSIG(status) == SIGALRM ? ": it never ended" : "");
    EXPECT_EQ(0, WEXITSTATUS(status)) << "failed in the child, see above";
}

inline void inChild(const std::function<void()>& body) {
    inChild(
        [&] {
            body();
            return ChildResult::kDone;
        },
        "");
}

#endif  // TESTS_SUPPORT_CHILDPROCESS_H
