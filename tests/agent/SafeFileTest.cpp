#include "agent/SafeFile.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "agent/FastClock.h"
#include "tests/support/TempDir.h"

namespace {

TEST(SafeFile, ADamagedFileGetsANameThatTellsWhenAndThatNothingHas) {
    const FastClock clock(1763703012);
    const TempDir dir;
    const std::string file = dir.file("spool.db");
    const std::string first = file + ".damaged-20251121-053012";
    EXPECT_EQ(first, asideName(file));
    dir.write("spool.db.damaged-20251121-053012", "");
    EXPECT_EQ(first + "-2", asideName(file));
    std::filesystem::create_symlink("nowhere", first + "-2");
    EXPECT_EQ(first + "-3", asideName(file));
}

TEST(SafeFile, WhatCannotBeWrittenSaysWhy) {
    const TempDir dir;
    dir.write("plain", "");
    const std::pair<std::string, int> places[] = {{"missing/file", ENOENT},
                                                  {"plain/file", ENOTDIR}};
    for (const auto& [place, reason] : places) {
        try {
            writeSafely(dir.file(place), "text");
            ADD_FAILURE() << place << " was written";
        } catch (const std::system_error& e) {
            EXPECT_EQ(reason, e.code().value()) << e.what();
            EXPECT_EQ(0u, std::string(e.what()).find("cannot write " + dir.file(place)));
        }
    }
}

TEST(SafeFile, TheModeOfASocketIsSetAndOfNothingElse) {
    const TempDir dir;
    const std::string file = dir.file("a.sock");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, file.c_str(), file.size() + 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(0, bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    EXPECT_TRUE(setSocketMode(file, 0666)) << std::strerror(errno);
    struct stat info {};
    ASSERT_EQ(0, stat(file.c_str(), &info));
    EXPECT_EQ(0666u, info.st_mode & 07777);
    (void)close(fd);

    // Somebody who may write to the folder has put a link in its place.
    const std::string secret = dir.write("secret", "x");
    ASSERT_EQ(0, chmod(secret.c_str(), 0600));
    std::filesystem::create_symlink(secret, dir.file("link"));
    for (const std::string& other : {dir.file("link"), secret}) {
        EXPECT_FALSE(setSocketMode(other, 0666)) << other;
        EXPECT_EQ(ENOTSOCK, errno);
    }
    ASSERT_EQ(0, stat(secret.c_str(), &info));
    EXPECT_EQ(0600u, info.st_mode & 07777);
    EXPECT_FALSE(setSocketMode(dir.file("none"), 0666));
    EXPECT_EQ(ENOENT, errno);
}

}  // namespace
