// sataPortName: "port 3" of a drive on a SATA controller, as the messages name it; "" for any other
// drive. Ports are numbered through all SATA channels of a controller, in the order of the list.
//
// Pure; any thread.
#ifndef AGENT_SATAPORT_H
#define AGENT_SATAPORT_H

#include <string>

#include "storlib/HardDrive.h"

std::string sataPortName(const HardDrive& drive);

#endif  // AGENT_SATAPORT_H
