#include "storlib/MilliSleep.h"

#include <cerrno>
#include <ctime>

void MilliSleep(long milliseconds) {
    if (milliseconds <= 0) return;
    timespec left{};
    left.tv_sec = static_cast<time_t>(milliseconds / 1000);
    left.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}
