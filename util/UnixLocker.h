// UnixLocker: one lock for the whole machine.
//
// Every object of this class, in every process, whatever its type and suffix, takes the same
// System V semaphore (key 54321), so all of them exclude one another. That is intended: monitors
// of different vendors' adapters on one machine take turns.
//
// Ownership  The semaphore set outlives object and process, as a lock between processes must. So
//            does the empty file "/StorLock<type><suffix>"; its stream is never closed.
// Threads    Any.
// Errors     A process that dies while holding the lock leaves it taken. Failures of construction
//            are written to standard error ("File open failed:", "key for lock unavailable:", "set
//            value for semaphore failed:") and leave an object that locks nothing, or, after the
//            last of them, a lock that stays taken until some process releases it.
//
//   UnixLocker lock(kAdapterGeneric, "QEL-1234");
//   lock.getLock();
//   ...
//   lock.releaseLock();
#ifndef UTIL_UNIXLOCKER_H
#define UTIL_UNIXLOCKER_H

#include <cstdint>

#include "storlib/EnumAdapterType.h"
#include "util/Locker.h"

class UnixLocker : public Locker {
public:
    // A null suffix is left out.
    //
    // A set that is new is made free, unless errno holds EEXIST on entry: that is taken to mean
    // that the set is somebody else's, who makes it free. A caller that wants a usable lock
    // therefore clears errno first.
    UnixLocker(EnumAdapterType type, const char* suffix);

    // Waits, also across signals. Does nothing without a semaphore.
    void getLock() override;
    void releaseLock() override;

private:
    // Identifier of the semaphore set. Below 1 means no lock: 0, the first set of a fresh IPC
    // namespace, counts as none too.
    std::int32_t identifier = 0;
};

#endif  // UTIL_UNIXLOCKER_H
