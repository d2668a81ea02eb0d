// RunFolder: where daemon and verbs meet: the names of sockets, state file, lock and spool.
//
// Plain values; any thread.
#ifndef AGENT_DAEMON_RUNFOLDER_H
#define AGENT_DAEMON_RUNFOLDER_H

#include <string>

#include "agent/settings/AgentSettings.h"

class RunFolder {
public:
    explicit RunFolder(const AgentSettings& settings) : folder(settings.runFolder) {}

    std::string controlSocket() const { return folder + "/control.sock"; }  // changes; 0660
    std::string readSocket() const { return folder + "/read.sock"; }        // questions; 0666
    std::string stateFile() const { return folder + "/state.json"; }
    std::string lockFile() const { return folder + "/raidwatch.pid"; }

    static std::string spoolFile(const AgentSettings& settings) {
        return settings.stateFolder + "/spool.db";
    }
    // The state as of some minutes before the daemon ended; the next one remembers by it.
    static std::string lastStateFile(const AgentSettings& settings) {
        return settings.stateFolder + "/last-state.json";
    }
    // What the charts of the page show of the last two days.
    static std::string temperatureFile(const AgentSettings& settings) {
        return settings.stateFolder + "/temperatures.json";
    }

private:
    std::string folder;
};

#endif  // AGENT_DAEMON_RUNFOLDER_H
