// HookProcess: runs one program and waits for it: with nothing of ours but what it is given, a
// bounded piece of its output kept, and a time limit that ends the whole process group.
//
//   HookCall call;
//   call.arguments = {"/etc/raidwatch/hooks/page", "drive:S7K2"};
//   call.environment = {"PATH=/usr/bin:/bin"};
//   call.input = json;
//   const HookResult result = runHook(call, HookLimits(), stopFd);
//
// The program starts in "/", in a process group of its own, with all signals as usual, and with no
// open file but 0, 1 and 2. The input is a file in memory, so it can be read or left alone. At the
// time limit the group gets SIGTERM, after the grace SIGKILL; to run and to end a program of
// another user takes CAP_SETUID and CAP_SETGID, not CAP_KILL. Programs that a hook leaves behind
// when it ends in time go on.
//
// Threads  Any number at once. Nobody else may wait for all children, or ignore SIGCHLD.
// Errors   In the result.
#ifndef AGENT_SINKS_HOOKPROCESS_H
#define AGENT_SINKS_HOOKPROCESS_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

// Whom a program runs as.
struct HookUser {
    bool change = false;  // false: as we are
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;
};

struct HookCall {
    std::vector<std::string> arguments;    // the program, from / on, then what it is told
    std::vector<std::string> environment;  // all of it: "NAME=value"
    std::string input;
    HookUser user;
};

struct HookLimits {
    std::chrono::milliseconds time{30000};
    std::chrono::milliseconds grace{2000};
    std::size_t output = 2000;  // bytes that are kept; the rest is read and dropped
};

struct HookResult {
    enum class End { kExited, kSignalled, kTimeOut, kCancelled, kNotStarted };

    End end = End::kNotStarted;
    int status = 0;      // exit status, or number of the signal
    std::string output;  // of both streams, raw
    bool cut = false;    // there was more
    std::string error;   // kNotStarted: why
};

// Ends early, as at the time limit, when `cancelFd` becomes readable; -1: never. Starts nothing
// when it is readable already.
HookResult runHook(const HookCall& call, const HookLimits& limits, int cancelFd);

#endif  // AGENT_SINKS_HOOKPROCESS_H
