#include "agent/spool/HighWater.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace {

constexpr std::size_t kLineSize = 128;

// "<sequence> <incident> <sequence> <incident>": a line half written does not agree with itself.
std::string lineOf(const HighWater::Marks& marks) {
    char line[kLineSize];
    std::snprintf(line, sizeof line,
                  "%020" PRId64 " %020" PRId64 " %020" PRId64 " %020" PRId64 "\n", marks.sequence,
                  marks.incident, marks.sequence, marks.incident);
    return line;
}

HighWater::Marks marksIn(int descriptor) {
    char line[kLineSize] = {};
    if (pread(descriptor, line, sizeof line - 1, 0) <= 0) return {};
    HighWater::Marks marks;
    HighWater::Marks again;
    const int found =
        std::sscanf(line, "%20" SCNd64 " %20" SCNd64 " %20" SCNd64 " %20" SCNd64, &marks.sequence,
                    &marks.incident, &again.sequence, &again.incident);
    const bool agree = found == 4 && marks.sequence == again.sequence &&
                       marks.incident == again.incident && marks.sequence >= 0 &&
                       marks.sequence <= HighWater::kMost && marks.incident >= 0 &&
                       marks.incident <= HighWater::kMost;
    return agree ? marks : HighWater::Marks();
}

}  // namespace

HighWater::Marks HighWater::read() const {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (descriptor < 0) return {};
    const Marks marks = marksIn(descriptor);
    close(descriptor);
    return marks;
}

void HighWater::raise(const Marks& marks) {
    if (marks.sequence <= known.sequence && marks.incident <= known.incident) return;
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (descriptor < 0) return;
    (void)flock(descriptor, LOCK_EX);  // goes with the descriptor
    const Marks before = marksIn(descriptor);
    const Marks after{std::max(before.sequence, marks.sequence),
                      std::max(before.incident, marks.incident)};
    const std::string line = lineOf(after);
    if (pwrite(descriptor, line.data(), line.size(), 0) == static_cast<ssize_t>(line.size())) {
        known = after;
        (void)fdatasync(descriptor);
    }
    close(descriptor);
}
