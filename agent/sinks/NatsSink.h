// NatsSink: all records of this machine into the stream of its fleet, and how it stands into a
// bucket beside it; docs/fleet.md has the setup, docs/formats/fleet.md what is written.
//
//   std::unique_ptr<Sink> sink = makeNatsSink(settings, {stateFile, stateFolder});
//
// A record is delivered when the server has acknowledged it as stored. It carries the id
// <machine-id>:<sequence>, by which the server drops repeats within its window and readers drop
// the rest. Where another machine holds this machine's place (FleetPresence), nothing is sent.
//
// An acknowledgement may say "I have that already". For a record that we may have sent before, that
// is as good. For one that was never sent by us it means that a copy of this machine has used its
// id: the record is stored under an id of its own, so that it is neither lost nor taken for the
// other one.
//
// Threads, ownership and errors as in Sink.h.
#ifndef AGENT_SINKS_NATSSINK_H
#define AGENT_SINKS_NATSSINK_H

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "agent/fleet/FleetAccess.h"
#include "agent/fleet/FleetIdentity.h"
#include "agent/fleet/FleetLink.h"
#include "agent/fleet/FleetPresence.h"
#include "agent/sinks/RecordWords.h"
#include "agent/sinks/Sink.h"
#include "agent/sinks/SinkPlaces.h"
#include "agent/state/MachineState.h"

class NatsSink : public Sink {
public:
    static constexpr std::int64_t kSummarySeconds = 3600;  // said again although nothing changed

    // Throws BadSinkSetting.
    NatsSink(const SinkSettings& settings, SinkPlaces placesIN, std::unique_ptr<FleetLink> linkIN);

    bool wants(const Record& record) const override;
    Answer deliver(const Record& record, const std::string& id) override;
    std::size_t window() const override { return access.window; }
    std::vector<Answer> deliverAll(const std::vector<Parcel>& parcels) override;
    void knowOpen(const std::vector<Incident>& incidents) override { open = incidents; }
    void keepOnly(const std::vector<Incident>& incidents) override { open = incidents; }
    void tick() override;
    void cancel() override { link->cancel(); }
    // Looks for stream, buckets and a copy of this machine; changes nothing.
    std::string problem() override;

private:
    FleetLink::Message messageOf(const Parcel& parcel);
    std::vector<Answer> publish(const std::vector<FleetLink::Message>& messages,
                                const std::vector<Parcel>& parcels);
    Answer answerTo(const FleetLink::Answer& said, const FleetLink::Message& message,
                    std::int64_t sequence);
    Answer keepApart(FleetLink::Message message);
    void beat();
    void say();
    bool makeAll(std::string& error);
    void readState();
    std::string ownHost() const;
    std::string hint(const std::string& error) const;
    std::string withRemarks(std::string text) const;

    const FleetAccess access;
    const SinkPlaces places;
    const RecordChoice choice;
    const std::unique_ptr<FleetLink> link;
    FleetIdentity identity;
    FleetPresence presence;

    std::vector<Incident> open;
    MachineState state;                        // as last read; polledAt 0: never
    std::map<std::string, DriveState> drives;  // all that we ever saw, by key
    std::set<std::int64_t> tried;              // sequences that this life sent, without an answer
    std::string beatTrouble;   // why how it stands could not be written, last time; "" for well
    std::int64_t readAt = -1;  // `state`, seconds
    std::int64_t nextBeat = 0;
    std::int64_t lastSequence = 0;  // of what we were given
    std::string lastSummary;        // that stands in the bucket
    std::int64_t summaryAt = 0;
};

// Throws LateLibrary::Missing where the module is not installed, and BadSinkSetting.
std::unique_ptr<Sink> makeNatsSink(const SinkSettings& settings, const SinkPlaces& places);

#endif  // AGENT_SINKS_NATSSINK_H
