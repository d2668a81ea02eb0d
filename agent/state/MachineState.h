// MachineState: a machine's storage as people see it: arrays with their members and the redundancy
// left, drives by slot, serial and WWN, enclosures, controllers. Made after each completed poll
// from the engine's tree (StateBuilder), written to state.json, read by every verb.
//
// Keys name an object for good: a drive by serial number or WWN, an array by its adapter and
// number, the rest by place. Words: state words are of the fixed list
//   normal degraded rebuilding checking queued offline failed missing spare predicted unused
//   unknown
//
// Plain values; any thread. Times in seconds since 1970-01-01 UTC, sizes in MB of 1024 * 1024
// bytes, 0 or -1 as noted for "not known". Texts from hardware are raw: make them safe when shown.
#ifndef AGENT_STATE_MACHINESTATE_H
#define AGENT_STATE_MACHINESTATE_H

#include <cstdint>
#include <string>
#include <vector>

struct TaskState {
    std::string kind;  // "rebuild", "resync", "check", "migrate", ...; "" for no task
    double percent = 0;
    bool waiting = false;           // for its turn, or paused
    std::int64_t startedAt = 0;     // first seen
    std::int64_t secondsLeft = -1;  // -1: not known
    double megabytesPerSecond = 0;  // 0: not known
};

struct MemberState {
    std::string drive;  // key; "" for a missing one
    std::string name;   // "sdb" or "drive 1:0:3"
    int slot = -1;      // in the array, -1: a spare, or not known
    std::string state;  // "active", "rebuilding", "failed", "spare", "missing"
};

struct ArrayState {
    std::string key;    // "array:0:127": adapter and number
    std::string name;   // "md127", or "array 0:1"
    std::string label;  // the user's name for it
    int adapter = 0;
    int number = 0;
    std::string level;  // "RAID 5"
    std::int64_t sizeMB = 0;
    std::string state;      // normal, degraded, rebuilding, checking, failed, offline, unknown
    int devices = 0;        // drives that it should have; 0 not known
    int working = 0;        // drives that hold its data now
    int spares = 0;         // drives that wait to help it
    int survives = -1;      // further drive failures that it surely survives; -1 not known
    int fullSurvives = -1;  // what it survives with every drive in order; -1 not known
    // Since when it has less redundancy than it should; 0: it has not.
    std::int64_t exposedSince = 0;
    int badStripes = 0;
    std::vector<MemberState> members;
    TaskState task;
};

struct DriveState {
    std::string key;     // "drive:<serial>", "drive:<wwn>", or "drive:at:1:0:3"
    std::string name;    // "drive 1:0:3"
    std::string osName;  // "sdb"; a label that moves
    int adapter = 0;
    int channel = 0;
    int device = 0;
    std::string enclosure;  // key of the enclosure that it sits in
    int slot = -1;          // counted as the enclosure counts
    std::string slotName;   // as the enclosure calls it, "SLOT 03", or "port 2"
    std::string vendor;
    std::string model;
    std::string serial;
    std::string wwn;
    std::string partNumber;
    std::string firmware;
    std::int64_t sizeMB = 0;
    std::string state;  // normal (a member), unused, spare, rebuilding, failed, missing, unknown
    bool predicted = false;  // it foretells its failure
    int temperature = -1;    // degrees Celsius; -1 not known, or below 0
    std::string array;       // key of the array that it belongs to
};

struct ElementState {
    std::string kind;   // "fan", "supply", "temperature"
    std::string name;   // "fan 2"
    std::string state;  // normal, failed, missing, unknown; "too hot"
    int value = -1;     // degrees Celsius, rpm; -1 not known, or below 0
};

struct EnclosureState {
    std::string key;
    std::string name;  // "enclosure 1:0:9"
    int adapter = 0;
    int channel = 0;
    int device = 0;
    std::string vendor;
    std::string model;
    std::string serial;
    std::string partNumber;
    std::string state;  // normal, degraded, failed
    int slots = 0;
    std::vector<ElementState> elements;
};

struct ControllerState {
    std::string key;  // "controller:<serial>", or by its place
    int number = 0;
    std::string name;  // as it calls itself
    std::string vendor;
    std::string serial;
    std::string pci;  // "bus-device-function"
    std::string driver;
    std::string firmware;
    std::string state;    // normal, failed, ...
    std::string battery;  // "" for none
    int temperature = -1;
};

struct PhyState {
    std::string place;  // "phy 1:0:3 0"
    std::string rate;   // "6.0 Gbit", "disabled", ...
    std::string owner;  // key of the drive or name of the controller
};

struct MachineState {
    std::string host;
    std::string source;         // "linux:/"
    std::int64_t polledAt = 0;  // the last completed poll; 0: none yet
    std::int64_t polls = 0;     // completed since the daemon started
    std::vector<ArrayState> arrays;
    std::vector<DriveState> drives;
    std::vector<EnclosureState> enclosures;
    std::vector<ControllerState> controllers;
    std::vector<PhyState> phys;

    const ArrayState* findArray(const std::string& key) const;
    const DriveState* findDrive(const std::string& key) const;
    const EnclosureState* findEnclosure(const std::string& key) const;
};

#endif  // AGENT_STATE_MACHINESTATE_H
