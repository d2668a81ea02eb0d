// SinkPlaces: the daemon's files that some sinks look into.
#ifndef AGENT_SINKS_SINKPLACES_H
#define AGENT_SINKS_SINKPLACES_H

#include <string>

struct SinkPlaces {
    std::string stateFile;    // the machine as last seen; "" for none
    std::string stateFolder;  // with the machine's id; "" for none
};

#endif  // AGENT_SINKS_SINKPLACES_H
