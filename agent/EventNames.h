// EventNames: the words for the numbers in an event.
#ifndef AGENT_EVENTNAMES_H
#define AGENT_EVENTNAMES_H

#include <string>

class QELEvent;

// "adapter", "array", "logicalDrive", "physicalDrive", "enclosure", "fan", "powerSupply",
// "system"; "unknown" for any other number.
std::string objectTypeWord(int objectType);

// "ERROR", "WARNING", "INFO", "TASK", "PROGRESS", "DETAIL", "ALL"; "LEVEL n" beyond, "" not set.
std::string severityWord(int severity);

// What an event is about, short enough for a column, numbers as `raidwatch list` shows them:
// "adapter 1", "array 127", "drive 1:0:3" (adapter, channel, device), "fan 2 1:0:9", "".
std::string objectPlace(const QELEvent& event);

// True for the generic companions (299, 399, 499) that follow the event which says what happened.
bool isCompanion(int code);

#endif  // AGENT_EVENTNAMES_H
