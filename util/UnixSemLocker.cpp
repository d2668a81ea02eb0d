#include "util/UnixSemLocker.h"

#include <cerrno>

#include "storlib/MilliSleep.h"

UnixSemLocker::UnixSemLocker(long value) : initialValue(static_cast<std::int32_t>(value)) {
    constexpr int kThisProcessOnly = 0;
    // A failure leaves the zeroed semaphore, which is a taken one.
    (void)sem_init(&semaphore, kThisProcessOnly, static_cast<unsigned>(initialValue));
}

UnixSemLocker::~UnixSemLocker() {
    (void)sem_destroy(&semaphore);  // nothing is left to be done about a failure
}

void UnixSemLocker::getLock() {
    while (sem_wait(&semaphore) == -1 && errno == EINTR) {
    }
}

void UnixSemLocker::releaseLock() {
    (void)sem_post(&semaphore);  // fails only at a count that no holder can reach
}

bool UnixSemLocker::getLockWithTimeout(long milliseconds) {
    const auto tries = static_cast<std::int32_t>(milliseconds);
    for (std::int32_t i = 0; i < tries; ++i) {
        if (sem_trywait(&semaphore) == 0) return true;
        MilliSleep(1);
    }
    return false;
}
