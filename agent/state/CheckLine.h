// CheckLine: what `raidwatch check` prints for a monitoring system: one line in the form of the
// monitoring plug-ins, with numbers behind the bar:
//
//   RAID CRITICAL - 1 array degraded: md0 survives no further drive failure | arrays=3 degraded=1
//   rebuilding=0 offline=0 drives=12 failed=1 predicted=0 spares=1 incidents=1 acknowledged=0
//   survives=0 poll_age=3s;;300                                             (all on one line)
//
// "survives" is the least that any array survives, "rebuild" the percentage of the task that is
// furthest behind; both are left out when nothing is known, "poll_age" before the first poll.
// Whatever hardware calls itself, the line stays one line with one bar.
//
// Pure function; any thread.
#ifndef AGENT_STATE_CHECKLINE_H
#define AGENT_STATE_CHECKLINE_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/incidents/Incident.h"
#include "agent/state/MachineState.h"
#include "agent/state/Verdict.h"

// Without its line end.
std::string checkLine(const Verdict& verdict, const MachineState& state,
                      const std::vector<Incident>& open, std::int64_t now, std::int64_t staleAfter);

#endif  // AGENT_STATE_CHECKLINE_H
