// SinkRule: which records one sink is told of, as its configuration says.
//
// A notice of a test passes every filter, so that a test proves the road and not the filter. A test
// record whose object is "sink:NAME" is for that sink alone.
//
//   if (passesRule(settings, record)) ...
//
// Pure functions; any thread.
#ifndef AGENT_SINKS_SINKRULE_H
#define AGENT_SINKS_SINKRULE_H

#include <string>

#include "agent/settings/AgentSettings.h"
#include "agent/spool/Record.h"

// The object of a test record that is meant for one sink: "sink:NAME".
std::string testObject(const std::string& sink);

// A test record that is meant for another sink.
bool isTestOfAnother(const SinkSettings& settings, const Record& record);

// A notice that must arrive whatever the sink's filter says.
bool isTestNotice(const Record& record);

// Severity, object (its name or its key) and code all fit. A record without a code fits no list of
// codes.
bool passesFilter(const SinkFilter& filter, const Record& record);

// `pattern` against the whole of `text`: * is any run of characters, ? is any one byte. Capitals
// do not matter.
bool matchesPattern(const std::string& pattern, const std::string& text);

#endif  // AGENT_SINKS_SINKRULE_H
