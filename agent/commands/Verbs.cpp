#include "agent/commands/Verb.h"

#include "agent/commands/ConfigVerb.h"
#include "agent/commands/RunVerb.h"

std::vector<std::unique_ptr<Verb>> allVerbs() {
    std::vector<std::unique_ptr<Verb>> verbs;
    verbs.push_back(std::make_unique<ConfigVerb>());
    verbs.push_back(std::make_unique<RunVerb>());
    return verbs;
}
