// hostName: what this machine calls itself, of letters, digits, "-", "." and "_" only, so that it
// fits into addresses and labels; "localhost" when it has no such name. Any thread.
#ifndef AGENT_SINKS_HOSTNAME_H
#define AGENT_SINKS_HOSTNAME_H

#include <string>

std::string hostName();

#endif  // AGENT_SINKS_HOSTNAME_H
