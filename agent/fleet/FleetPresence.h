// FleetPresence: this agent's place in its fleet: it says that it lives, and it finds out when
// another machine lives under the same id.
//
// A machine has one key, <machine-id>.alive. Each beat replaces the value that our last beat wrote,
// and nothing else: the server compares. When somebody else has written meanwhile, it is
//
//   * an earlier life of this agent (its instance stands in our state folder): we go on from there;
//   * our own beat whose acknowledgement was lost (its random word is our last): the same;
//   * anybody else: a copy of this machine. The place is taken. Whoever finds it taken says so
//   under
//     <machine-id>.rival, sends no events (they wait in the spool), and looks again with each beat.
//     A holder that is not heard for three of its beats has gone, and the place is free.
//
//   FleetPresence presence(link, names, me, self);
//   presence.beat({host, polledAt, lastSequence});
//   if (presence.isTaken()) return presence.conflict();
//
// Ownership  Link, names and identity are borrowed. Threads: one at a time.
// Errors     None; problem() tells. A server that has no bucket, or lets us not write, keeps nobody
//            from sending events.
#ifndef AGENT_FLEET_FLEETPRESENCE_H
#define AGENT_FLEET_FLEETPRESENCE_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/fleet/FleetBeat.h"
#include "agent/fleet/FleetIdentity.h"
#include "agent/fleet/FleetLink.h"
#include "agent/fleet/FleetNames.h"

class FleetPresence {
public:
    static constexpr int kBeatsToLive = 3;  // so many may be missing

    // What it has to say.
    struct Said {
        std::string host;
        std::int64_t polledAt = 0;
        std::int64_t lastSequence = 0;
    };

    // `everyIN`: seconds between two beats.
    FleetPresence(FleetLink& linkIN, const FleetNames& namesIN, FleetIdentity& identityIN,
                  std::int64_t everyIN);

    // True when the place is ours now.
    bool beat(const Said& said);

    bool isOurs() const { return ours; }
    bool isTaken() const { return taken; }
    bool lacksBucket() const { return noBucket; }
    // Another machine with our id, in one line; "" for none. We may hold the place nevertheless.
    std::string conflict() const;
    const std::string& problem() const { return trouble; }  // of the last beat; "" for none

    // The same for somebody who only looks: whether `rival` says that two machines share the id.
    // `now` in milliseconds by the server's clock.
    static bool isAlive(const FleetBeat& beat, std::int64_t now);
    static std::string conflictText(const FleetBeat& other, const std::string& machine);

private:
    bool put(FleetBeat& mine);
    bool isSent(const std::string& beat) const;
    bool settle(FleetBeat& mine);
    void startAfresh();
    void lookForRival();

    FleetLink& link;
    const FleetNames& names;
    FleetIdentity& identity;
    const std::int64_t every;

    bool ours = false;
    std::uint64_t heldSince = 0;  // the revision by which the place became ours
    bool noBucket = false;
    bool known = true;              // `revision` is that of our own last beat, or of none at all
    std::uint64_t revision = 0;     // of the alive key
    bool taken = false;             // by somebody else, when last seen
    std::vector<std::string> sent;  // random words of ours that may stand there
    FleetBeat other;                // who else uses the id; instance "" for nobody
    std::uint64_t otherRevision = 0;
    std::int64_t otherSince = 0;  // when that revision was first seen, seconds
    std::string trouble;
};

#endif  // AGENT_FLEET_FLEETPRESENCE_H
