// BadSinkSetting: a Failure (bad use) that says in which file and line which sink cannot be, and
// what to do.
//
//   throw BadSinkSetting(settings, "url is missing; say url = \"https://...\"");
#ifndef AGENT_SINKS_BADSINKSETTING_H
#define AGENT_SINKS_BADSINKSETTING_H

#include <string>

#include "agent/Failure.h"
#include "agent/settings/AgentSettings.h"

class BadSinkSetting : public Failure {
public:
    BadSinkSetting(const SinkSettings& settings, const std::string& causeAndCure)
        : Failure(Failure::kBadUse, (settings.where.empty() ? "" : settings.where + ": ") +
                                        "sink \"" + settings.name + "\": " + causeAndCure) {}
};

#endif  // AGENT_SINKS_BADSINKSETTING_H
