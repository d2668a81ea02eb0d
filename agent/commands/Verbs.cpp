#include "agent/commands/Verb.h"

#include "agent/Failure.h"
#include "agent/commands/AckVerb.h"
#include "agent/commands/CaptureVerb.h"
#include "agent/commands/CheckVerb.h"
#include "agent/commands/ConfigVerb.h"
#include "agent/commands/DiffVerb.h"
#include "agent/commands/DoctorVerb.h"
#include "agent/commands/DrillVerb.h"
#include "agent/commands/EventsVerb.h"
#include "agent/commands/ExplainVerb.h"
#include "agent/commands/FleetVerb.h"
#include "agent/commands/IncidentsVerb.h"
#include "agent/commands/ListVerb.h"
#include "agent/commands/LocateVerb.h"
#include "agent/commands/ReplayVerb.h"
#include "agent/commands/RunVerb.h"
#include "agent/commands/ScenarioVerb.h"
#include "agent/commands/ShowVerb.h"
#include "agent/commands/SilenceVerb.h"
#include "agent/commands/StatusVerb.h"
#include "agent/commands/TestVerb.h"
#include "agent/commands/WatchVerb.h"

int Verb::misused(const Context&, const std::string& why) const {
    throw Failure(Failure::kBadUse, why);
}

std::vector<std::unique_ptr<Verb>> allVerbs() {
    std::vector<std::unique_ptr<Verb>> verbs;
    verbs.push_back(std::make_unique<RunVerb>());
    verbs.push_back(std::make_unique<StatusVerb>());
    verbs.push_back(std::make_unique<ListVerb>());
    verbs.push_back(std::make_unique<ShowVerb>());
    verbs.push_back(std::make_unique<CheckVerb>());
    verbs.push_back(std::make_unique<WatchVerb>());
    verbs.push_back(std::make_unique<EventsVerb>());
    verbs.push_back(std::make_unique<IncidentsVerb>());
    verbs.push_back(std::make_unique<AckVerb>());
    verbs.push_back(std::make_unique<UnackVerb>());
    verbs.push_back(std::make_unique<SilenceVerb>());
    verbs.push_back(std::make_unique<DiffVerb>());
    verbs.push_back(std::make_unique<ExplainVerb>());
    verbs.push_back(std::make_unique<LocateVerb>());
    verbs.push_back(std::make_unique<FleetVerb>());
    verbs.push_back(std::make_unique<DoctorVerb>());
    verbs.push_back(std::make_unique<TestVerb>());
    verbs.push_back(std::make_unique<DrillVerb>());
    verbs.push_back(std::make_unique<ConfigVerb>());
    verbs.push_back(std::make_unique<ReplayVerb>());
    verbs.push_back(std::make_unique<CaptureVerb>());
    verbs.push_back(std::make_unique<ScenarioVerb>());
    return verbs;
}
