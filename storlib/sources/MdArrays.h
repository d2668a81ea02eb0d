// MdArrays: the arrays of the md driver, from /sys/block/mdN/md and /proc/mdstat, and what they
// mean. Reading and judging are kept apart: read() collects, the rest are pure functions.
//
//   std::vector<MdArray> arrays = MdArrays::read(reader, mdstat, devices, Depth::kTree);
//   for (const MdArray& array : arrays) ld->state = MdArrays::state(array);
//
// Attributes lie at times, so that no state is taken from one of them alone:
//   - a drive that was pulled stays "in_sync" until something is written: a member counts only
//     while its block device is there;
//   - a device name is given again: a member's device is the one at the place that md/dev-X/block
//     names, and only while that device says that the array holds it;
//   - array_state reads "clean" for an array that lacks members;
//   - a member that another one has replaced reads "faulty" although nothing is wrong with it, and
//     so does, for a moment, one whose bad blocks are being written down (it stays "in_sync");
//   - the first build of a raid5 is a recovery onto its last member and reads "degraded";
//   - a resynchronisation that waits for the first write shows in mdstat only.
#ifndef STORLIB_SOURCES_MDARRAYS_H
#define STORLIB_SOURCES_MDARRAYS_H

#include <cstdint>
#include <string>
#include <vector>

#include "storlib/ArrayMember.h"
#include "storlib/StorEnums.h"
#include "storlib/sources/MdStat.h"

class SysfsReader;

// A name below /sys/block and the place that it leads to.
struct BlockName {
    std::string name;  // "sda"
    std::string path;  // "/sys/devices/pci0000:00/.../block/sda"
};

// One member of an array, as md lists it.
struct MdMember {
    std::string name;       // the name that it had when it joined, "sda1"
    std::string blockPath;  // where its block device was then; "" when not known
    bool faulty = false;
    bool inSync = false;
    bool spare = false;
    bool journal = false;
    bool wantsReplacement = false;
    bool isReplacement = false;
    bool writeError = false;
    int slot = -1;
    int number = -1;              // from mdstat
    std::int64_t errors = 0;      // read errors that were corrected
    std::int64_t badSectors = 0;  // sectors in its list of bad blocks
    bool gone = false;            // no such device any more
    bool retired = false;         // faulty only because another member took its place

    bool works() const { return !gone && inSync; }  // data can be had from it
    bool rebuilds() const { return !gone && !faulty && !inSync && !journal && slot >= 0; }
    bool idles() const { return !gone && !faulty && !inSync && !journal && slot < 0; }
};

struct MdArray {
    std::string name;  // "md127"
    std::string path;  // ".../block/md127"
    unsigned int minor = 0;
    std::string level;  // "" while it is inactive
    std::string arrayState;
    std::string metadata;  // read only while the level is not known
    int disks = -1;
    int degraded = -1;
    int layout = 0;               // read only for raid10
    std::string action;           // sync_action; "" when there is none
    std::string lastAction;       // last_sync_action
    std::int64_t mismatches = 0;  // mismatch_cnt, read only after a check
    std::int64_t sectors = 0;
    unsigned int uniqueID = 0;
    std::string waiting;        // DELAYED, PENDING: from mdstat
    std::string statOperation;  // what runs or waits, from mdstat
    int statPercent = 0;
    int statWorking = -1;
    bool listedInactive = false;
    bool wasWhole = false;  // it was seen whole, or with a lost member: no first build any more
    std::vector<MdMember> members;
};

// What an array does, for the task list.
struct MdTask {
    EnumTaskType type = kTaskNone;
    EnumTaskStatus status = kTaskRunning;
    int percent = 0;
};

namespace MdArrays {

// How much is read: what can change from one look to the next, or also what a tree shows.
enum class Depth { kLook, kTree };

// All arrays, in the order of their minor numbers. `devices` are the names below /sys/block.
// `before` is the look before this one, if there was one: an array whose members are still the same
// ones needs no list of them.
std::vector<MdArray> read(SysfsReader& reader, const MdStat& mdstat,
                          const std::vector<BlockName>& devices, Depth depth,
                          const std::vector<MdArray>& before = {});

// The task of one array, read afresh; `array` says what mdstat showed.
MdTask task(SysfsReader& reader, const MdArray& array);

// "recover", "resync", "check", "repair", "reshape" while it runs or waits; else "".
std::string operation(const MdArray& array);

// Carries on what only somebody who has watched the array can know.
void remember(const MdArray& before, MdArray& now);

bool isContainer(const MdArray& array);  // holds arrays of a firmware's format, is none itself
// Members that lack: what md counts, and those whose device is gone though md has not noticed.
int missing(const MdArray& array);
bool hasEnough(const MdArray& array);  // the data can still be had
bool isFirstBuild(const MdArray& array);
EnumLogicalDeviceState state(const MdArray& array);
EnumRaidLevel raidLevel(const MdArray& array);
int badStripes(const MdArray& array);
EnumPhysicalDeviceState memberState(const MdArray& array, const MdMember& member);
int copies(const MdArray& array);  // of each block, for raid10; 0 for other levels
// Who belongs to it, by slot, then who has none; a slot without a drive is there as missing. The
// addresses are left open.
std::vector<ArrayMember> roles(const MdArray& array);

}  // namespace MdArrays

#endif  // STORLIB_SOURCES_MDARRAYS_H
