// StorageWords: the words for what the storage library has numbers for. One row says both how a
// list for people calls a state, and how state.json and everything that reads it does.
//
//   driveWord(kDriveFailed)     "failed"     in state.json; "unknown" for a number without a word
//   listedDriveWord(kDriveFailed)   "FAILED"     in `raidwatch list`; there "state 3"
//
// Pure; any thread.
#ifndef AGENT_STORAGEWORDS_H
#define AGENT_STORAGEWORDS_H

#include <string>

std::string driveWord(int state);
std::string arrayWord(int state);

std::string listedDriveWord(int state);
std::string listedArrayWord(int state);

std::string raidLevelWord(int level);  // "RAID 5"; "level 12" for one without a word

#endif  // AGENT_STORAGEWORDS_H
