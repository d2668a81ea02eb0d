#include "agent/fleet/FleetPresence.h"

#include <algorithm>
#include <utility>

#include "agent/Milliseconds.h"
#include "agent/SafeText.h"
#include "agent/spool/MachineId.h"
#include "util/Clock.h"

namespace {

constexpr std::size_t kMostSent = 100;

}  // namespace

FleetPresence::FleetPresence(FleetLink& linkIN, const FleetNames& namesIN,
                             FleetIdentity& identityIN, Self selfIN)
    : link(linkIN), names(namesIN), identity(identityIN), self(std::move(selfIN)) {}

bool FleetPresence::isAlive(const FleetBeat& beat, std::int64_t now) {
    return now - beat.at <= (kBeatsToLive * beat.every + 1) * 1000;
}

std::string FleetPresence::conflictText(const FleetBeat& other, const std::string& machine) {
    const std::string who = other.host.empty() ? "another machine" : safeText(other.host);
    return "two machines share the id " + machine + ": " + who + " (agent " +
           safeText(other.instance.substr(0, 8)) +
           ") has it too; on the copy stop raidwatch, remove machine-id in its state folder, start "
           "it again";
}

std::string FleetPresence::conflict() const {
    return other.instance.empty() ? std::string() : conflictText(other, identity.machine());
}

bool FleetPresence::beat(std::int64_t polledAt, std::int64_t lastSequence) {
    identity.begin();
    FleetBeat mine;
    mine.machine = identity.machine();
    mine.instance = identity.instance();
    mine.host = self.host;
    mine.version = self.version;
    mine.every = self.every;
    mine.polledAt = polledAt;
    mine.lastSequence = lastSequence;
    trouble.clear();
    noBucket = false;
    ours = (known && put(mine)) || (trouble.empty() && !noBucket && settle(mine));
    if (ours) lookForRival();
    return ours;
}

bool FleetPresence::isSent(const std::string& beat) const {
    return std::find(sent.begin(), sent.end(), beat) != sent.end();
}

// The next beat expects an empty place, and is told when that is wrong.
void FleetPresence::startAfresh() {
    known = true;
    revision = 0;
}

// True when it stands there now. False without `trouble`: somebody else has written.
bool FleetPresence::put(FleetBeat& mine) {
    mine.beat = randomUuid();
    sent.push_back(mine.beat);
    if (sent.size() > kMostSent) sent.erase(sent.begin());
    std::string error;
    switch (link.put(names.aliveBucket(), FleetNames::aliveKey(mine.machine), mine.json(),
                     &revision, error)) {
        case FleetLink::Put::kDone:
            sent = {mine.beat};
            taken = false;
            return known = true;
        case FleetLink::Put::kOther:
            return known = false;
        case FleetLink::Put::kNoBucket:
            noBucket = true;
            startAfresh();
            break;
        case FleetLink::Put::kFailed:
            known = false;  // it may have come through nevertheless
            break;
    }
    trouble = error;
    return false;
}

// Looks who has written, and takes the place if it may be ours.
bool FleetPresence::settle(FleetBeat& mine) {
    bool found = false;
    FleetLink::Entry entry;
    trouble = link.get(names.aliveBucket(), FleetNames::aliveKey(mine.machine), found, entry);
    if (!trouble.empty()) {
        startAfresh();  // a server without the bucket answers this question not at all
        return false;
    }
    revision = found ? entry.revision : 0;
    if (!found) return put(mine);
    FleetBeat there = FleetBeat::of(entry.value);
    there.at = entry.at;
    if (there.instance == mine.instance && !isSent(there.beat)) {
        // A machine that was copied while it ran: even this life has a double. Under another name
        // we take the place, and the double finds it taken.
        identity.beginAnew();
        mine.instance = identity.instance();
    }
    if (identity.isOwn(there.instance)) return put(mine);
    const std::int64_t now = Clock::current().now();
    if (other.instance.empty() || otherRevision != entry.revision || now < otherSince) {
        otherRevision = entry.revision;
        otherSince = now;
    }
    // Nobody is there any more.
    if (now - otherSince > kBeatsToLive * there.every) return put(mine);
    other = there;
    taken = true;
    mine.beat = randomUuid();
    std::string error;
    (void)link.put(names.aliveBucket(), FleetNames::rivalKey(mine.machine), mine.json(), nullptr,
                   error);  // the next beat says it again
    return false;
}

// The place is ours; does somebody else want it?
void FleetPresence::lookForRival() {
    bool found = false;
    FleetLink::Entry entry;
    const std::string wrong =
        link.get(names.aliveBucket(), FleetNames::rivalKey(identity.machine()), found, entry);
    other = FleetBeat();
    if (!wrong.empty() || !found) return;
    FleetBeat rival = FleetBeat::of(entry.value);
    rival.at = entry.at;
    if (isAlive(rival, nowMilliseconds()) && !identity.isOwn(rival.instance)) other = rival;
}
