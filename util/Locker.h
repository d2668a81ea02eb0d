// Locker: what every lock can do.
//
// No lock here is reentrant: a holder that takes it again blocks.
//
// Ownership  Never deleted through this class: the machine-wide lock outlives its object, so its
//            destructor is not virtual, and this one is out of reach.
#ifndef UTIL_LOCKER_H
#define UTIL_LOCKER_H

class Locker {
public:
    virtual void getLock() = 0;
    virtual void releaseLock() = 0;

protected:
    Locker() = default;
    ~Locker() = default;
    Locker(const Locker&) = default;
    Locker& operator=(const Locker&) = default;
};

#endif  // UTIL_LOCKER_H
