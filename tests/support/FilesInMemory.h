// FilesInMemory: lets the temporary folders that are made in its scope lie in memory, where the
// system has a folder for that: thousands of small files would otherwise wait for the disk.
//
//   FilesInMemory inMemory;   // before the room
//   MonitorRoom room;
#ifndef TESTS_SUPPORT_FILESINMEMORY_H
#define TESTS_SUPPORT_FILESINMEMORY_H

#include <unistd.h>

#include <cstdlib>
#include <string>

class FilesInMemory {
public:
    FilesInMemory() {
        const char* usual = std::getenv("TMPDIR");
        wasSet = usual != nullptr;
        if (wasSet) before = usual;
        if (access("/dev/shm", W_OK) == 0) (void)setenv("TMPDIR", "/dev/shm", 1);
    }
    ~FilesInMemory() { (void)(wasSet ? setenv("TMPDIR", before.c_str(), 1) : unsetenv("TMPDIR")); }
    FilesInMemory(const FilesInMemory&) = delete;
    FilesInMemory& operator=(const FilesInMemory&) = delete;

private:
    bool wasSet = false;
    std::string before;
};

#endif  // TESTS_SUPPORT_FILESINMEMORY_H
