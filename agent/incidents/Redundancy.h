// Redundancy: how many more drive failures an array surely survives, whichever drives fail. Pure
// arithmetic on RAID levels (SNIA DDF levels; md's near layout for RAID 10). Any thread.
#ifndef AGENT_INCIDENTS_REDUNDANCY_H
#define AGENT_INCIDENTS_REDUNDANCY_H

#include <string>

// Of an array of `devices` drives with `working` of them in order. `level` is an EnumRaidLevel,
// `copies` of each block for RAID 1E and 10 (0: two). -1 when it cannot be known; 0 when one more
// failure may lose data; a level without redundancy survives none. Spares that have not taken over
// do not count.
int survivesFailures(int level, int devices, int working, int copies = 0);

// What it survives when every drive is in order.
int fullRedundancy(int level, int devices, int copies = 0);

// "survives 1 more drive failure", "survives no further drive failure"; "" when it is not known.
std::string survivesText(int survives);

#endif  // AGENT_INCIDENTS_REDUNDANCY_H
