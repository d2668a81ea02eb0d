// HookStyle: what a hook is told of a record, and how: in our own way, or as mdadm or smartd would
// tell it, so that scripts written for those run unchanged. docs/formats/sinks.md has the tables.
//
//   raidwatch   arguments: id, object key, severity; JSON on standard input
//   mdadm       arguments: EVENT DEVICE [COMPONENT], as `mdadm --monitor --program` gives them
//   smartd      no arguments, the variables of smartd's -M exec with <nomailer>
//
// Every style has the RAIDWATCH_* variables. All texts are safe (SafeText) and free of NUL.
// Pure functions; any thread.
#ifndef AGENT_SINKS_HOOKSTYLE_H
#define AGENT_SINKS_HOOKSTYLE_H

#include <string>
#include <vector>

#include "agent/sinks/RecordWords.h"
#include "agent/spool/Record.h"
#include "agent/state/MachineState.h"

enum class HookStyle { kRaidwatch, kMdadm, kSmartd };

HookStyle hookStyle(const std::string& word);  // of "raidwatch", "mdadm", "smartd"

// The devices that a record is about, by the names that scripts know.
struct HookDevices {
    std::string array;     // "/dev/md0"; "array 1:0" where the system has no name for it; ""
    std::string drive;     // "/dev/sdb"; "drive 1:0:3"; ""
    bool isSpare = false;  // the drive was a spare, and its array lacks nothing
};

// `state` may be null: then arrays are known by their own records only.
HookDevices hookDevices(const Record& record, const MachineState* state);

// Whether this style has words for the record. A notice of a test always has.
bool hookWants(HookStyle style, RecordChoice choice, const Record& record);

// What follows the command.
std::vector<std::string> hookArguments(HookStyle style, const Record& record, const std::string& id,
                                       const HookDevices& devices);
// "NAME=value"
std::vector<std::string> hookVariables(HookStyle style, const Record& record, const std::string& id,
                                       const HookDevices& devices);
// For the standard input.
std::string hookInput(HookStyle style, const Record& record, const std::string& id);

#endif  // AGENT_SINKS_HOOKSTYLE_H
