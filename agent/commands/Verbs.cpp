#include "agent/commands/Verb.h"

#include "agent/commands/AckVerb.h"
#include "agent/commands/ConfigVerb.h"
#include "agent/commands/DiffVerb.h"
#include "agent/commands/DrillVerb.h"
#include "agent/commands/EventsVerb.h"
#include "agent/commands/IncidentsVerb.h"
#include "agent/commands/RunVerb.h"
#include "agent/commands/SilenceVerb.h"
#include "agent/commands/TestVerb.h"

std::vector<std::unique_ptr<Verb>> allVerbs() {
    std::vector<std::unique_ptr<Verb>> verbs;
    verbs.push_back(std::make_unique<ConfigVerb>());
    verbs.push_back(std::make_unique<RunVerb>());
    verbs.push_back(std::make_unique<EventsVerb>());
    verbs.push_back(std::make_unique<IncidentsVerb>());
    verbs.push_back(std::make_unique<AckVerb>());
    verbs.push_back(std::make_unique<UnackVerb>());
    verbs.push_back(std::make_unique<SilenceVerb>());
    verbs.push_back(std::make_unique<DiffVerb>());
    verbs.push_back(std::make_unique<TestVerb>());
    verbs.push_back(std::make_unique<DrillVerb>());
    return verbs;
}
