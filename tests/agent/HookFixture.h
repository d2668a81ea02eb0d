// What the tests of hooks share: a folder that every user can enter, with scripts in it, and a
// machine with an array.
#ifndef TESTS_AGENT_HOOKFIXTURE_H
#define TESTS_AGENT_HOOKFIXTURE_H

#include <sys/stat.h>

#include <string>

#include "agent/state/MachineState.h"
#include "tests/support/TempDir.h"

class HookFolder {
public:
    HookFolder() { chmod(dir.folder().c_str(), 0755); }

    // A shell script, executable; its path.
    std::string script(const std::string& name, const std::string& lines) const {
        const std::string path = dir.write(name, "#!/bin/sh\n" + lines + "\n");
        chmod(path.c_str(), 0755);
        return path;
    }

    TempDir dir;
};

// One array of three drives, so many of which work, and one of these drives.
inline MachineState machine(int working) {
    MachineState state;
    DriveState drive;
    drive.key = "drive:S7K2M9Q0";
    drive.osName = "sdb";
    drive.array = "array:0:127";
    state.drives.push_back(drive);
    ArrayState array;
    array.key = "array:0:127";
    array.name = "md127";
    array.devices = 3;
    array.working = working;
    state.arrays.push_back(array);
    return state;
}

#endif  // TESTS_AGENT_HOOKFIXTURE_H
