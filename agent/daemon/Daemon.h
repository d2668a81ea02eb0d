// Daemon: `raidwatch run`: puts the parts together in the order in which they need each other,
// keeps the pipeline turning on the calling thread, and takes everything down again.
//
//   settings -> lock of the run folder -> machine-wide lock of the engine -> spool -> snapshot ->
//   sinks -> monitor -> sockets -> "ready"
//
// The lock comes first of what touches the disk: what follows may repair. The sinks have their
// places in the spool before the first event comes.
//
// A FULL DISK  The daemon starts all the same: while the spool cannot be opened for want of room it
//         watches, keeps what it finds in memory (WaitingRoom), and says so in journal, status and
//         state.json. As soon as there is room it goes on as ever.
//
// SIGHUP  The configuration is read again, whole. When anything in it is wrong, the old one stays
//         in force, and journal, status and state.json say so.
// SIGTERM, SIGINT  The monitor stops after the poll under way; what it found is spooled; sinks
//         finish the delivery under way. Their places are kept.
//
// Threads  run() on the main thread; it becomes the pipeline, and returns when all threads have
//          ended. Errors: Failure when it cannot start; from then on problems are told and
//          survived.
#ifndef AGENT_DAEMON_DAEMON_H
#define AGENT_DAEMON_DAEMON_H

#include <chrono>
#include <string>

#include "agent/Context.h"

class Daemon {
public:
    struct Options {
        std::string configFile;             // "": the default one, which need not exist
        std::string source;                 // "": as configured
        bool once = false;                  // one comparison, told to everybody, then the end
        std::chrono::seconds patience{60};  // with `once`: for the reading and for the sinks
        double pace = 1;                    // see PacedClock
    };

    explicit Daemon(const Options& optionsIN) : options(optionsIN) {}

    int run(const Context& context) const;

private:
    Options options;
};

#endif  // AGENT_DAEMON_DAEMON_H
