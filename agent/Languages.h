// Languages: the catalogues that are installed beside each other, one per language.
//
//   Languages::catalogue("de")   the path of RaidNLS.de.properties
//   Languages::catalogue("")     the installed RaidNLS.properties
//
// Errors: Failure (bad use) for a language that is not installed; the line names those that are.
#ifndef AGENT_LANGUAGES_H
#define AGENT_LANGUAGES_H

#include <string>
#include <vector>

namespace Languages {

// "" takes the shipped default. May itself be "" when no catalogue is installed at all.
std::string catalogue(const std::string& language);
// Codes of the installed languages, in order: "de", "es", ...; "en" stands for the default.
std::vector<std::string> installed();

}  // namespace Languages

#endif  // AGENT_LANGUAGES_H
