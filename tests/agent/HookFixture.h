// What the tests of hooks share: a folder that every user can enter, with scripts in it.
#ifndef TESTS_AGENT_HOOKFIXTURE_H
#define TESTS_AGENT_HOOKFIXTURE_H

#include <sys/stat.h>

#include <string>

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

#endif  // TESTS_AGENT_HOOKFIXTURE_H
