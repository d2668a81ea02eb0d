// MachineId: a random UUID that names this machine in every message, in a small file of its own.
//
//   const std::string id = readOrMakeMachineId(folder + "/machine-id");
//
// Of several processes that make it at once, one wins and all return its id. A file that holds no
// UUID is replaced. Errors: std::system_error. Any thread.
#ifndef AGENT_SPOOL_MACHINEID_H
#define AGENT_SPOOL_MACHINEID_H

#include <string>

std::string randomUuid();  // of version 4, small letters

std::string readMachineId(const std::string& file);  // "" when there is none, or no UUID in it
std::string readOrMakeMachineId(const std::string& file);

#endif  // AGENT_SPOOL_MACHINEID_H
