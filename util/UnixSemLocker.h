// UnixSemLocker: a counting semaphore inside one process.
//
// Threads  Any thread may call anything; construction and destruction belong to one.
// Units    Milliseconds.
// Errors   None are reported; a value that no semaphore can hold makes one that is always taken.
//
//   UnixSemLocker slots(2);
//   if (slots.getLockWithTimeout(50)) { ...; slots.releaseLock(); }
#ifndef UTIL_UNIXSEMLOCKER_H
#define UTIL_UNIXSEMLOCKER_H

#include <semaphore.h>

#include <cstdint>

#include "util/SemLocker.h"

class UnixSemLocker : public SemLocker {
public:
    explicit UnixSemLocker(long value);
    UnixSemLocker(const UnixSemLocker&) = delete;
    UnixSemLocker& operator=(const UnixSemLocker&) = delete;

    // Waits, also across signals.
    void getLock() override;
    void releaseLock() override;

    // Tries once per millisecond and sleeps 1 ms after each failed try, the last one too.
    bool getLockWithTimeout(long milliseconds) override;

    ~UnixSemLocker() override;

private:
    sem_t semaphore = {};
    std::int32_t initialValue;
};

#endif  // UTIL_UNIXSEMLOCKER_H
