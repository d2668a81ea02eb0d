// SmallDisk: a file system of two megabytes that a test can fill to the last byte, in a mount
// namespace of its own: whatever the test starts sees it, nobody else does.
//
//   SmallDisk disk;
//   if (!disk.isThere()) GTEST_SKIP() << SmallDisk::kRefused;
//   disk.fill();                     // nothing can be written any more
//   disk.makeRoom();
#ifndef TESTS_AGENT_FAULTS_SMALLDISK_H
#define TESTS_AGENT_FAULTS_SMALLDISK_H

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "tests/support/TempDir.h"

class SmallDisk {
public:
    static constexpr char kRefused[] =
        "NOT TESTED: this user may not mount a file system of its own (unshare, mount); run as "
        "root";

    SmallDisk() {
        there = unshare(CLONE_NEWNS) == 0 &&
                mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                mount("tmpfs", dir.folder().c_str(), "tmpfs", 0, "size=2m,mode=755") == 0;
    }
    ~SmallDisk() {
        if (there) (void)umount2(dir.folder().c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isThere() const { return there; }
    std::string file(const std::string& name) const { return dir.file(name); }

    // True when not one more block is free.
    bool fill() const {
        const int fd = open(filler().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        if (fd < 0) return false;
        const std::string block(4096, 'x');
        while (write(fd, block.data(), block.size()) > 0) {
        }
        const bool full = errno == ENOSPC;
        (void)close(fd);
        struct statvfs space {};
        return full && statvfs(dir.folder().c_str(), &space) == 0 && space.f_bavail == 0;
    }
    void makeRoom() const { std::filesystem::remove(filler()); }

    bool makeReadOnly() const {
        return mount("tmpfs", dir.folder().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "") == 0;
    }

private:
    std::string filler() const { return dir.file("filler"); }

    TempDir dir;
    bool there = false;
};

#endif  // TESTS_AGENT_FAULTS_SMALLDISK_H
