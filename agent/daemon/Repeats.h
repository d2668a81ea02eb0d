// Repeats: which events of a comparison with the stored snapshot are in the spool already.
//
// Events are usually spooled together with the snapshot that shows their cause, and then nothing is
// found twice. A poll that takes very long, or breaks off, is the exception: what it had raised
// by then is spooled before its snapshot. The engine that starts again from the older snapshot
// finds those differences a second time.
//
//   Repeats repeats;
//   repeats.add(object, event, poll);             // spooled before its snapshot
//   const std::vector<bool> known = repeats.find(found);
//   repeats.clear();                              // the snapshot has caught up
//
// An event is a repeat when a record with the same contents is among the last ones of its object
// and everything that was spooled of the object after that is found again too. Otherwise the
// object has changed in between (failed, normal, failed), and the event is news. In doubt an event
// is news: told twice is better than not told. Each record explains one event.
//
// Threads  One at a time. Errors: none.
#ifndef AGENT_DAEMON_REPEATS_H
#define AGENT_DAEMON_REPEATS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "events/QELEvent.h"

class Repeats {
public:
    // `poll` that raised it; 0: before this start of the daemon.
    void add(const std::string& object, const QELEvent& event, std::int64_t poll);

    struct Found {
        const QELEvent* event = nullptr;  // borrowed for the call
        std::string object;               // key
        bool atStart = false;
        std::int64_t poll = 0;
    };
    // One answer per event: true for a repeat, which is then used up.
    std::vector<bool> find(const std::vector<Found>& events);

    void clear() { known.clear(); }
    bool empty() const { return known.empty(); }

private:
    struct Known {
        std::string fingerprint;
        std::int64_t poll = 0;
    };

    std::map<std::string, std::vector<Known>> known;  // by object, oldest first
};

#endif  // AGENT_DAEMON_REPEATS_H
