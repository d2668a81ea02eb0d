// OfflineChanges: acknowledgements and silences while no daemon runs: straight into the spool. The
// daemon finds them there when it starts.
//
// Threads  One at a time. Ownership: the spool is borrowed. Errors: Failure, SpoolError.
#ifndef AGENT_DAEMON_OFFLINECHANGES_H
#define AGENT_DAEMON_OFFLINECHANGES_H

#include <nlohmann/json.hpp>

#include "agent/daemon/Requests.h"
#include "agent/settings/AgentSettings.h"

class OfflineChanges : public Requests::Changes {
public:
    OfflineChanges(Spool& spoolIN, const AgentSettings& settingsIN)
        : spool(spoolIN), settings(settingsIN) {}

    // The rest needs the daemon.
    static bool canDo(const nlohmann::ordered_json& request);

    nlohmann::ordered_json change(const nlohmann::ordered_json& request) override;

private:
    Spool& spool;
    const AgentSettings settings;
};

#endif  // AGENT_DAEMON_OFFLINECHANGES_H
