// Agent: how a verb speaks to the daemon, or, where none runs, to the files that it left.
//
//   Agent agent(settings);
//   const nlohmann::ordered_json events = agent.ask({{"do", "events"}, {"limit", 50}});
//
// Reading: the read-only socket; without a daemon the spool, if we may read it. Changing
// (`change`): the control socket; without a daemon acknowledgements and silences go to the spool
// directly, the rest needs the daemon. `askFiles` reads what a daemon that does not answer left.
//
// Errors   Failure: no daemon ("raidwatch is not running; start it with ..."), not permitted (which
//          group to join), or what the daemon answered. Threads: one at a time.
#ifndef AGENT_DAEMON_AGENT_H
#define AGENT_DAEMON_AGENT_H

#include <chrono>
#include <string>

#include <nlohmann/json.hpp>

#include "agent/daemon/Ask.h"
#include "agent/settings/AgentSettings.h"

class Agent : public Ask {
public:
    static constexpr std::chrono::seconds kPatience{30};

    // Waits so long for an answer of the daemon.
    explicit Agent(const AgentSettings& settingsIN, std::chrono::seconds patienceIN = kPatience)
        : settings(settingsIN), patience(patienceIN) {}

    nlohmann::ordered_json ask(const nlohmann::ordered_json& request) override;
    nlohmann::ordered_json change(const nlohmann::ordered_json& request) override;
    nlohmann::ordered_json askFiles(const nlohmann::ordered_json& request) const;
    bool isRunning() const;  // somebody answers on the read-only socket

private:
    AgentSettings settings;
    std::chrono::seconds patience;
};

#endif  // AGENT_DAEMON_AGENT_H
