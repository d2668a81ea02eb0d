// ObjectKeys: which object an event is about, and which object a person means.
//
//   const ObjectKey key = objectOf(event, state);        // "drive:S7K2M9Q0", "drive 1:0:3"
//   const std::vector<ObjectKey> found = findObjects(state, "/dev/sdb");
//
// A person may say md0, /dev/sdb, a serial number, a WWN (with or without 0x), c1:e2:s4
// (controller, channel or enclosure, slot or device), 1:0:3, ld0, "array 0:127", 0:127, the "array
// 0" or "encl. 0:0:9" of a listing, or a key itself. Capitals do not matter. Pure functions; any
// thread.
#ifndef AGENT_STATE_OBJECTKEYS_H
#define AGENT_STATE_OBJECTKEYS_H

#include <string>
#include <vector>

#include "agent/state/MachineState.h"
#include "events/QELEvent.h"

struct ObjectKey {
    std::string key;
    std::string name;
};

// Of an object that the state does not (or no longer) hold the key is made of its place.
ObjectKey objectOf(const QELEvent& event, const MachineState& state);

// Exact matches only; several when the word is ambiguous, none when nothing has that identity.
std::vector<ObjectKey> findObjects(const MachineState& state, const std::string& wanted);

#endif  // AGENT_STATE_OBJECTKEYS_H
