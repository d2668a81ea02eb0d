// ScenarioWords: how complaints about a scenario file speak of names.
#ifndef STORLIB_SOURCES_SCENARIOWORDS_H
#define STORLIB_SOURCES_SCENARIOWORDS_H

#include <string>
#include <vector>

namespace ScenarioWords {

std::string quoted(const std::string& text);

// "; did you mean "drives"?" when a name is a slip of the finger away, else what there is.
std::string suggestion(const std::string& given, const std::vector<std::string>& names);

}  // namespace ScenarioWords

#endif  // STORLIB_SOURCES_SCENARIOWORDS_H
