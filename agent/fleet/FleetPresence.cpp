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
                             FleetIdentity& identityIN, std::int64_t everyIN)
    : link(linkIN), names(namesIN), identity(identityIN), every(everyIN) {}

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
    const bool nobody = other.instance.empty() && !taken;
    return nobody ? std::string() : conflictText(other, identity.machine());
}

bool FleetPresence::beat(const Said& said) {
    identity.begin();
    FleetBeat mine;
    mine.machine = identity.machine();
    mine.instance = identity.instance();
    mine.host = said.host;
    mine.version = QEL_VERSION;
    mine.every = every;
    mine.polledAt = said.polledAt;
    mine.lastSequence = said.lastSequence;
    trouble.clear();
    noBucket = false;
    const bool before = ours;
    ours = (known && put(mine)) || (trouble.empty() && !noBucket && settle(mine));
    if (ours && !before) heldSince = revision;
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
    if (!taken || otherRevision != entry.revision || now < otherSince) {
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
    // An earlier life of ours may have said so before. What was said since the place is ours, even
    // by an instance that we know, comes from the machine that we are a copy of.
    const bool isOurs = rival.instance == identity.instance() ||
                        (entry.revision <= heldSince && identity.isOwn(rival.instance));
    if (!isOurs && isAlive(rival, nowMilliseconds())) other = rival;
}
