#include "util/Clock.h"

#include <time.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

namespace {

constexpr std::size_t kCtimeSize = 26;    // fixed by ctime_r, with line feed and terminator
constexpr std::size_t kCtimeLength = 24;  // of these, what is text

class SystemClock : public Clock {
public:
    std::int64_t now() override { return std::time(nullptr); }

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
    // ctime() follows a changed time zone, ctime_r() alone does not.
    tzset();
    char line[kCtimeSize];
    if (ctime_r(&when, line) == nullptr) return std::string(kCtimeLength, '-');
    return std::string(line, kCtimeLength);
}
