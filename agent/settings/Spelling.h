// Spelling: which known word was meant.
//
//   suggestion("tmeout", {"type", "timeout"}, "")     // "; did you mean timeout?"
//
// Pure functions; any thread.
#ifndef AGENT_SETTINGS_SPELLING_H
#define AGENT_SETTINGS_SPELLING_H

#include <string>
#include <vector>

// "; did you mean WORD?" for the one that is nearest, `otherwise` when none is near.
std::string suggestion(const std::string& written, const std::vector<std::string>& known,
                       const std::string& otherwise);

#endif  // AGENT_SETTINGS_SPELLING_H
