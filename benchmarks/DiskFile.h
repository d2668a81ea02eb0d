// DiskFile: a file on a disk, where an installed catalogue and a stored configuration lie, and gone
// with the object. It is read from the page cache: that is what both sides are measured with.
#ifndef BENCHMARKS_DISKFILE_H
#define BENCHMARKS_DISKFILE_H

#include <unistd.h>

#include <fstream>
#include <string>

class DiskFile {
public:
    DiskFile(const std::string& name, const std::string& contents)
        : path("/var/tmp/qel-" + name + "-" + std::to_string(getpid())) {
        std::ofstream(path, std::ios::binary) << contents;
    }
    ~DiskFile() { (void)unlink(path.c_str()); }
    DiskFile(const DiskFile&) = delete;
    DiskFile& operator=(const DiskFile&) = delete;

    const std::string& name() const { return path; }

private:
    std::string path;
};

#endif  // BENCHMARKS_DISKFILE_H
