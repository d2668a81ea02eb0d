// kMeanings: catalogue/meanings.json, as the build put it into the program.
#ifndef AGENT_MEANINGS_H
#define AGENT_MEANINGS_H

extern const char* const kMeanings;

#endif  // AGENT_MEANINGS_H
