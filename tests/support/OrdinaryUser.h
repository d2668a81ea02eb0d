// asOrdinaryUser: runs `body` as somebody who may not read and write everything, in a process of
// its own where this one is root's. Failures inside count; without an ordinary user to become the
// test is skipped, and says so.
//
//   asOrdinaryUser([&] { EXPECT_EQ("", reader.text("/sys/secret")); });
#ifndef TESTS_SUPPORT_ORDINARYUSER_H
#define TESTS_SUPPORT_ORDINARYUSER_H

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

inline void asOrdinaryUser(const std::function<void()>& body) {
    if (geteuid() != 0) {
        body();
        return;
    }
    constexpr unsigned kNobody = 65534;
    constexpr int kRefused = 77;
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) {
            _exit(kRefused);
        }
        body();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == kRefused) GTEST_SKIP() << "NOT TESTED: there is no ordinary user";
    EXPECT_EQ(0, WEXITSTATUS(status)) << "failed as an ordinary user, see above";
}

#endif  // TESTS_SUPPORT_ORDINARYUSER_H
