// SinkFactory: from the configuration of a sink to the sink. A new kind of sink is a class and one
// row in SinkFactory.cpp.
//
// Errors: Failure (bad use) that names file and line and the cure. Where a library of the sink is
// missing, the sink is made and says so to each record (UnusableSink). Any thread.
#ifndef AGENT_SINKS_SINKFACTORY_H
#define AGENT_SINKS_SINKFACTORY_H

#include <memory>
#include <string>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/Sink.h"
#include "agent/sinks/SinkPlaces.h"

std::unique_ptr<Sink> makeSink(const SinkSettings& settings);
// The same for a sink that may look into the daemon's files.
std::unique_ptr<Sink> makeSink(const SinkSettings& settings, const SinkPlaces& places);

// The kinds that this build knows, sorted.
std::vector<std::string> sinkTypes();

#endif  // AGENT_SINKS_SINKFACTORY_H
