// What every fuzz target needs: a folder in memory, a quick way to write a file, a promise that is
// checked, and a knife for binary input.
//
//   extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
//       fuzz::put(fuzz::inRoom("a.xml"), fuzz::textOf(data, size));
//       fuzz::must(readable("a.xml"), "a file that was written can be read");
//       return 0;
//   }
//
// One process, one thread, one room; the room goes when the process ends in order.
#ifndef FUZZ_SUPPORT_FUZZ_H
#define FUZZ_SUPPORT_FUZZ_H

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/TempDir.h"

namespace fuzz {

// Ends the process, so that the input is kept, when what always holds does not hold.
inline void must(bool holds, const std::string& promise) {
    if (holds) return;
    std::fprintf(stderr, "broken promise: %s\n", promise.c_str());
    std::abort();
}

// A folder of this process. In memory unless TMPDIR names another place: thousands of files are
// written in a second.
inline const TempDir& room() {
    static const TempDir* dir = [] {
        if (access("/dev/shm", W_OK) == 0) (void)setenv("TMPDIR", "/dev/shm", 0);
        static const TempDir made;
        return &made;
    }();
    return *dir;
}

inline std::string inRoom(const std::string& name) { return room().file(name); }

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

// Writes a whole file; an existing one is emptied first.
inline void put(const std::string& file, const std::string& contents) {
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const bool good = fd >= 0 && ::write(fd, contents.data(), contents.size()) ==
                                     static_cast<ssize_t>(contents.size());
    if (fd >= 0) (void)::close(fd);
    must(good, "the room can be written to: " + file);
}

// Cuts the input into numbers and texts; what is not there any more is 0 or "".
class Knife {
public:
    Knife(const std::uint8_t* data, std::size_t size) : at(data), end(data + size) {}

    bool empty() const { return at == end; }
    std::uint8_t byte() { return at == end ? std::uint8_t{0} : *at++; }
    unsigned two() {
        const unsigned high = byte();
        return high << 8 | byte();
    }
    std::string text(std::size_t length) {
        length = std::min(length, static_cast<std::size_t>(end - at));
        const std::string cut = textOf(at, length);
        at += length;
        return cut;
    }
    std::string shortText() { return text(byte()); }  // behind its length
    std::string rest() { return text(static_cast<std::size_t>(end - at)); }

private:
    const std::uint8_t* at;
    const std::uint8_t* end;
};

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_FUZZ_H
