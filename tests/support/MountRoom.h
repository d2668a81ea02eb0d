// MountRoom: runs a piece of a test in a child process with a mount table of its own, so that a
// full disk and a folder that nobody may write to, root included, can be staged.
//
//   inMountRoom([] {
//       MonitorRoom room;
//       SmallDisk disk(room.dir.folder(), 64);   // kilobytes; empty, hides what the folder held
//       disk.fillUp(8);                          // until 8 kilobytes are left
//       disk.setReadOnly(true);                  // fails while a file on it is open for writing
//   });
//
// Where the system does not allow such a room the test is skipped with the reason.
#ifndef TESTS_SUPPORT_MOUNTROOM_H
#define TESTS_SUPPORT_MOUNTROOM_H

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <utility>

#include "tests/support/ChildProcess.h"

inline void inMountRoom(const std::function<void()>& body) {
    inChild(
        [&] {
            if (unshare(CLONE_NEWNS) != 0) return ChildResult::kRefused;
            if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
                return ChildResult::kRefused;
            }
            body();
            return ChildResult::kDone;
        },
        "this user may not have a mount table of its own (unshare -m); run as root");
}

class SmallDisk {
public:
    SmallDisk(std::string mountPoint, int kilobytes) : folder(std::move(mountPoint)) {
        const std::string size = "size=" + std::to_string(kilobytes) + "k";
        EXPECT_EQ(0, mount("none", folder.c_str(), "tmpfs", 0, size.c_str()))
            << std::strerror(errno);
    }
    ~SmallDisk() { (void)umount2(folder.c_str(), MNT_DETACH); }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    void setReadOnly(bool on) const {
        const unsigned long flags = MS_REMOUNT | MS_BIND | (on ? MS_RDONLY : 0);
        ASSERT_EQ(0, mount("none", folder.c_str(), nullptr, flags, nullptr))
            << std::strerror(errno);
    }

    // Takes all of the disk but so many kilobytes, a multiple of 4.
    void fillUp(int kilobytesLeft) const {
        const std::string filler = folder + "filler";
        {
            std::ofstream out(filler, std::ios::binary | std::ios::app);
            const std::string block(1024, 'x');
            while (out << block << std::flush) {
            }
        }
        const auto size = static_cast<std::int64_t>(std::filesystem::file_size(filler));
        ASSERT_GE(size, 1024 * kilobytesLeft);
        ASSERT_EQ(0, truncate(filler.c_str(), static_cast<off_t>(size - 1024 * kilobytesLeft)));
    }

    void makeRoom() const { std::filesystem::remove(folder + "filler"); }

private:
    std::string folder;
};

#endif  // TESTS_SUPPORT_MOUNTROOM_H
