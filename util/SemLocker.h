// SemLocker: a lock that can also be asked for with a time limit.
#ifndef UTIL_SEMLOCKER_H
#define UTIL_SEMLOCKER_H

#include "util/Locker.h"

class SemLocker : public Locker {
public:
    // True when the lock was taken within about that many milliseconds. 0 or less tries nothing.
    virtual bool getLockWithTimeout(long milliseconds) = 0;
    virtual ~SemLocker() = default;
};

#endif  // UTIL_SEMLOCKER_H
