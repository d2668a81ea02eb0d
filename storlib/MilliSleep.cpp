#include "storlib/MilliSleep.h"

#include <cerrno>
#include <ctime>

// Until a moment and not for a time: a remaining time is rounded up at each interruption, so under
// steady signals a sleep would never end.
void MilliSleep(long milliseconds) {
    if (milliseconds <= 0) return;
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += static_cast<time_t>(milliseconds / 1000);
    end.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
    if (end.tv_nsec >= 1000000000L) {
        end.tv_nsec -= 1000000000L;
        ++end.tv_sec;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}
