// MachineLock: how the engine's machine-wide lock stands. Every monitor on the machine takes one
// System V semaphore around each event; a monitor that is killed just then leaves it taken, and
// from then on every monitor waits for ever, also one that is being constructed. So the daemon
// looks before it makes a monitor.
//
//   const MachineLock::Diagnosis found = MachineLock::look();
//   if (found.state == MachineLock::State::kStuck) note(MachineLock::repair(pidLock));
//
// A lock counts as stuck only when its value is 0 and the process that took it is gone, or when it
// was made some time ago and never set free. A holder that lives is never touched, whoever it is.
//
// Threads  Any. Errors: see each call.
#ifndef AGENT_DAEMON_MACHINELOCK_H
#define AGENT_DAEMON_MACHINELOCK_H

#include <sys/types.h>

#include <cstdint>
#include <string>

class MachineLock {
public:
    enum class State {
        kAbsent,   // nobody has made it yet, or the engine does without it
        kFree,     // also while others take it and give it back, all the time
        kTaken,    // by a process that lives
        kStuck,    // by a process that is gone
        kUnknown,  // not ours to see, or held from a place that we cannot see
    };

    struct Diagnosis {
        State state = State::kAbsent;
        pid_t holder = 0;        // kTaken and kStuck; 0: never set free since it was made
        std::int64_t since = 0;  // kTaken and kStuck: seconds since 1970-01-01 UTC
        int waiting = 0;         // processes and threads in line for it
        std::string line;        // for people; names of programs are raw
    };

    // Changes nothing. Never throws.
    static Diagnosis look();

    // Sets a stuck lock free. `agentLock` is the open lock file of the agent, on which the caller
    // holds an exclusive flock(). Looks again itself; the step to free works only on a lock that
    // is taken at that moment.
    //
    // Returns the line to tell, always: a repair is never silent. "" when nothing was stuck.
    // Errors: Failure when the flock is not ours, or the system does not let us.
    static std::string repair(int agentLock);
};

#endif  // AGENT_DAEMON_MACHINELOCK_H
