#include "agent/commands/Verb.h"

#include "agent/commands/CaptureVerb.h"
#include "agent/commands/CheckVerb.h"
#include "agent/commands/ConfigVerb.h"
#include "agent/commands/DoctorVerb.h"
#include "agent/commands/ExplainVerb.h"
#include "agent/commands/ListVerb.h"
#include "agent/commands/LocateVerb.h"
#include "agent/commands/ReplayVerb.h"
#include "agent/commands/RunVerb.h"
#include "agent/commands/ScenarioVerb.h"
#include "agent/commands/ShowVerb.h"
#include "agent/commands/StatusVerb.h"
#include "agent/commands/WatchVerb.h"

std::vector<std::unique_ptr<Verb>> allVerbs() {
    std::vector<std::unique_ptr<Verb>> verbs;
    verbs.push_back(std::make_unique<RunVerb>());
    verbs.push_back(std::make_unique<StatusVerb>());
    verbs.push_back(std::make_unique<ListVerb>());
    verbs.push_back(std::make_unique<ShowVerb>());
    verbs.push_back(std::make_unique<CheckVerb>());
    verbs.push_back(std::make_unique<WatchVerb>());
    verbs.push_back(std::make_unique<ExplainVerb>());
    verbs.push_back(std::make_unique<LocateVerb>());
    verbs.push_back(std::make_unique<DoctorVerb>());
    verbs.push_back(std::make_unique<ConfigVerb>());
    verbs.push_back(std::make_unique<ReplayVerb>());
    verbs.push_back(std::make_unique<CaptureVerb>());
    verbs.push_back(std::make_unique<ScenarioVerb>());
    return verbs;
}
