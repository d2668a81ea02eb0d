#include "agent/commands/Verb.h"

#include "agent/commands/ConfigVerb.h"

std::vector<std::unique_ptr<Verb>> allVerbs() {
    std::vector<std::unique_ptr<Verb>> verbs;
    verbs.push_back(std::make_unique<ConfigVerb>());
    return verbs;
}
