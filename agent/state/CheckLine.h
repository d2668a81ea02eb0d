// CheckLine: the verdict as one line for a monitoring system, with performance data (Monitoring
// Plugins Development Guidelines):
//
//   RAID CRITICAL - md0 degraded, survives no further drive failure | arrays=3 degraded=1 ...
//
// One line whatever the hardware says: what would end the text or the line is replaced. Pure.
#ifndef AGENT_STATE_CHECKLINE_H
#define AGENT_STATE_CHECKLINE_H

#include <cstdint>
#include <string>

#include "agent/state/MachineState.h"
#include "agent/state/Verdict.h"

std::string checkLine(const MachineState& state, const Verdict& found, std::int64_t now);

#endif  // AGENT_STATE_CHECKLINE_H
