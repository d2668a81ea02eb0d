// EngineConfig: what the engine's own settings file, QELConfig.conf, says. The engine reads it by
// itself; this is for people.
//
//   const EngineConfig config = EngineConfig::read("/var/lib/raidwatch/engine/");
//
// A plain value; any thread. A file that cannot be used leaves the defaults and a problem.
#ifndef AGENT_SETTINGS_ENGINECONFIG_H
#define AGENT_SETTINGS_ENGINECONFIG_H

#include <string>
#include <vector>

struct EngineConfig {
    // The engine drops the oldest events when more than this wait; fewer are too few for a machine
    // with many drives.
    static constexpr int kGoodQueueSize = 2000;

    struct Value {
        std::string key;
        std::string value;
        bool set;  // in the file
    };

    std::string file;
    bool exists = false;
    std::vector<Value> values;  // all four, in a fixed order
    int queueSize = 200;        // that the engine takes from it
    std::string problem;        // "" or one line with the cure

    static EngineConfig read(const std::string& folder);  // ends in "/"
};

#endif  // AGENT_SETTINGS_ENGINECONFIG_H
