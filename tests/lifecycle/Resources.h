// Resources: what this process holds at one moment, and what it has left on the machine.
//
//   const Resources before = Resources::now();
//   ...
//   const Resources after = Resources::settled(before.threads);
//   after.descriptors - before.descriptors
//
// Heap is what is in use by malloc's own count; under a sanitizer or valgrind it reads 0, because
// those bring their own malloc.
#ifndef TESTS_LIFECYCLE_RESOURCES_H
#define TESTS_LIFECYCLE_RESOURCES_H

#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

struct Resources {
    long heapBytes = 0;
    long residentBytes = 0;
    long descriptors = 0;
    long threads = 0;
    long semaphoreSets = 0;  // of this IPC namespace
    long sharedMemory = 0;   // segments of this IPC namespace

    static Resources now() {
        Resources found;
        const struct mallinfo2 heap = mallinfo2();
        found.heapBytes = static_cast<long>(heap.uordblks + heap.hblkhd);
        found.residentBytes = 1024 * statusLine("VmRSS:");
        found.threads = statusLine("Threads:");
        found.descriptors = filesIn("/proc/self/fd");
        found.semaphoreSets = linesOf("/proc/sysvipc/sem") - 1;  // a headline
        found.sharedMemory = linesOf("/proc/sysvipc/shm") - 1;
        return found;
    }

    // The same when no more than so many threads are left: one that was joined is counted until the
    // system has put it away. Waits for that for some seconds at most.
    static Resources settled(long threadsLeft) {
        constexpr unsigned kMicroseconds = 10000;
        for (int tries = 0; statusLine("Threads:") > threadsLeft && tries < 500; ++tries) {
            (void)usleep(kMicroseconds);
        }
        return now();
    }

private:
    static long statusLine(const std::string& name) {
        std::ifstream status("/proc/self/status");
        for (std::string line; std::getline(status, line);) {
            if (line.compare(0, name.size(), name) != 0) continue;
            long value = 0;
            std::istringstream(line.substr(name.size())) >> value;
            return value;
        }
        return -1;
    }

    static long filesIn(const std::string& folder) {
        long count = 0;
        std::error_code ignored;
        for (auto entry = std::filesystem::directory_iterator(folder, ignored);
             entry != std::filesystem::directory_iterator(); entry.increment(ignored)) {
            ++count;
        }
        return count;
    }

    static long linesOf(const std::string& file) {
        std::ifstream in(file);
        long count = 0;
        for (std::string line; std::getline(in, line);) ++count;
        return count;
    }
};

#endif  // TESTS_LIFECYCLE_RESOURCES_H
