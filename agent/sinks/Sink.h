// Sink: one way to tell somebody. Each configured sink has a worker of its own (SinkWorker), which
// hands it the records of the spool one after the other, remembers how far it came, tries again
// with growing waits, and gives up on a record that is too old.
//
//   class FileSink : public Sink { Answer deliver(const Record& record) override; ... };
//
// Threads    All calls come from the one worker thread.
// Ownership  The record is borrowed for the call.
// Errors     An Answer, never an exception; one safe line for people.
#ifndef AGENT_SINKS_SINK_H
#define AGENT_SINKS_SINK_H

#include <string>

#include "agent/spool/Record.h"

struct Answer {
    enum class Kind {
        kDelivered,
        kRetry,    // not now: the other side is away or busy
        kRefused,  // never: it will not take this record; given up at once
    };

    Kind kind = Kind::kDelivered;
    std::string text;  // what the other side said: "250 Ok: queued as 4F1A"
};

class Sink {
public:
    virtual ~Sink() = default;

    // Whether this kind of sink is for the record at all: people get notices, machines get events
    // or both. The worker applies the configured filter as well.
    virtual bool wants(const Record& record) const = 0;

    // `id` is "<machine-id>:<sequence>", the same at every try. Returns within the sink's time
    // limit.
    virtual Answer deliver(const Record& record, const std::string& id) = 0;

    // Called about every second between deliveries, for sinks that must speak up by themselves
    // (Alertmanager wants open alerts again and again).
    virtual void tick() {}

    // Whether it could deliver now, for `doctor`: "" or one line with what is wrong and the cure.
    virtual std::string problem() { return std::string(); }
};

#endif  // AGENT_SINKS_SINK_H
