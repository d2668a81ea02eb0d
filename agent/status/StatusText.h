// StatusText: the one screen of `raidwatch status`, for people: the verdict first, then arrays with
// the worst first, drives in trouble, open incidents, sinks. Trouble is never left out; of arrays
// in order twenty are named and the others counted.
//
//   out.write(statusText(seen, "OK: 3 arrays, 12 drives, all in order", now, style));
//
// Texts from hardware are made safe; lines keep to the width given. Pure; any thread.
#ifndef AGENT_STATUS_STATUSTEXT_H
#define AGENT_STATUS_STATUSTEXT_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/EventText.h"
#include "agent/incidents/Incident.h"
#include "agent/spool/Receipt.h"
#include "agent/state/MachineState.h"

// Everything that a look at the machine brings.
struct Seen {
    MachineState state;
    std::vector<Incident> incidents;  // open ones
    std::vector<SinkStatus> sinks;
    bool watched = false;  // a daemon runs; false: read once, or what was left behind
    std::string remark;    // what a reader must know about it; one sentence, or ""
};

// `headline` is the verdict, one or more words with a colon and a sentence.
std::string statusText(const Seen& seen, const std::string& headline, std::int64_t now,
                       const EventText::Style& style);

#endif  // AGENT_STATUS_STATUSTEXT_H
