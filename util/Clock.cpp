#include "util/Clock.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <mutex>

namespace {

constexpr std::size_t kCtimeSize = 26;    // fixed by ctime_r, with line feed and terminator
constexpr std::size_t kCtimeLength = 24;  // of these, what is text

class SystemClock : public Clock {
public:
    std::int64_t now() override {
#ifdef SYS_clock_gettime64
        // Where time_t has 32 bits, std::time() has no answer from 2038 on.
        struct {
            std::int64_t seconds;
            std::int64_t nanoseconds;
        } time{};
        if (syscall(SYS_clock_gettime64, CLOCK_REALTIME_COARSE, &time) == 0) return time.seconds;
#endif
        return std::time(nullptr);
    }

    void sleepSeconds(unsigned seconds) override {
        // Against an absolute time, so that a stream of signals cannot stretch the sleep.
        timespec end{};
        clock_gettime(CLOCK_MONOTONIC, &end);
        end.tv_sec += static_cast<std::time_t>(seconds);
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
        }
    }
};

std::atomic<Clock*> inUse{nullptr};  // null: the machine's

}  // namespace

Clock& Clock::system() {
    // Never destroyed: threads of the host may still ask for the time while the process ends.
    static auto* const clock = new SystemClock;
    return *clock;
}

Clock& Clock::current() {
    Clock* const clock = inUse.load(std::memory_order_acquire);
    return clock != nullptr ? *clock : system();
}

Clock* Clock::set(Clock* clock) {
    Clock* const before = inUse.exchange(clock, std::memory_order_acq_rel);
    return before != nullptr ? before : &system();
}

std::string Clock::text(std::time_t when) {
    Text line;
    write(when, line);
    return line;
}

void Clock::write(std::time_t when, Text& line) {
    static_assert(sizeof(line) == kCtimeLength + 1, "the text and its NUL");
    // ctime() follows a changed time zone, ctime_r() alone does not. The zone's data is locked
    // inside the C library, where a race detector does not see it.
    static std::mutex zone;
    const std::lock_guard<std::mutex> guard(zone);
    tzset();
    char whole[kCtimeSize];
    if (ctime_r(&when, whole) == nullptr) std::memset(whole, '-', kCtimeLength);
    std::memcpy(line, whole, kCtimeLength);
    line[kCtimeLength] = '\0';
}
