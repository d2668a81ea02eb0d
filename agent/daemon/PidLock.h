// PidLock: one daemon per run folder. The file holds the number of the process that has the lock;
// the lock is the kernel's and goes with the process, so a file that was left behind says nothing.
// Only its owner can open it, because to lock a file for ever it is enough to read it.
//
//   const PidLock lock("/run/raidwatch/raidwatch.pid");   // Failure: "raidwatch runs already ..."
//
// Threads  Any. Errors: Failure, which names the process that has the lock.
#ifndef AGENT_DAEMON_PIDLOCK_H
#define AGENT_DAEMON_PIDLOCK_H

#include <string>

class PidLock {
public:
    explicit PidLock(const std::string& file);
    ~PidLock();  // empties the file and gives the lock back
    PidLock(const PidLock&) = delete;
    PidLock& operator=(const PidLock&) = delete;

    // Whether somebody holds it; also a daemon that has yet to open its sockets. False for who may
    // not look.
    static bool isHeld(const std::string& file);

    int descriptor() const { return fd; }  // on which the lock is held

private:
    int fd = -1;
};

#endif  // AGENT_DAEMON_PIDLOCK_H
