// Sink: one way to tell somebody. Each configured sink has a worker of its own (SinkWorker), which
// hands it the records of the spool one after the other, remembers how far it came, tries again
// with growing waits, and gives up on a record that is too old.
//
//   class FileSink : public Sink { Answer deliver(const Record& record, ...) override; ... };
//
// Threads    All calls come from the one worker thread, but for cancel().
// Ownership  The record is borrowed for the call.
// Errors     An Answer, never an exception; one safe line for people.
#ifndef AGENT_SINKS_SINK_H
#define AGENT_SINKS_SINK_H

#include <cstddef>
#include <string>
#include <vector>

#include "agent/incidents/Incident.h"
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

// One record with its id, as a sink gets several of them at once.
struct Parcel {
    const Record* record = nullptr;
    std::string id;
};

class Sink {
public:
    virtual ~Sink() = default;

    // Whether this kind of sink is for the record at all: people get notices, machines get events
    // or both. The worker applies the configured filter as well. Notices of a test are not asked
    // for: they always come.
    virtual bool wants(const Record& record) const = 0;

    // `id` is "<machine-id>:<sequence>", the same at every try. Returns within the sink's time
    // limit.
    virtual Answer deliver(const Record& record, const std::string& id) = 0;

    // How many records it can work on side by side. The worker hands over that many at once.
    virtual std::size_t window() const { return 1; }

    // As deliver(), for 1 to window() records in the order of the spool; one answer for each. What
    // is delivered behind a record that must wait is remembered and not handed over again. Several
    // records may take several time limits.
    virtual std::vector<Answer> deliverAll(const std::vector<Parcel>& parcels) {
        std::vector<Answer> answers;
        answers.reserve(parcels.size());
        for (const Parcel& parcel : parcels) answers.push_back(deliver(*parcel.record, parcel.id));
        return answers;
    }

    // Once, before the first tick(): the open incidents that the sink was told of by an agent
    // before this one.
    virtual void knowOpen(const std::vector<Incident>& incidents) { (void)incidents; }

    // About once a minute: all incidents that are open now. Some end without a notice, and whoever
    // still speaks of those should stop.
    virtual void keepOnly(const std::vector<Incident>& incidents) { (void)incidents; }

    // Called about every second between deliveries, for sinks that must speak up by themselves
    // (Alertmanager wants open alerts again and again).
    virtual void tick() {}

    // From any thread: the agent stops, so a delivery under way should come back soon with kRetry.
    // Those that cannot are waited for, up to their time limit.
    virtual void cancel() {}

    // Whether it could deliver now, for `doctor`: "" or one line with what is wrong and the cure.
    virtual std::string problem() { return std::string(); }
};

#endif  // AGENT_SINKS_SINK_H
