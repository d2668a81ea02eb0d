// Ask: whom a verb asks and whom it tells to change something. In service that is the Agent; tests
// put a spool in its place.
//
// Errors: Failure with what was answered. Threads: one at a time.
#ifndef AGENT_DAEMON_ASK_H
#define AGENT_DAEMON_ASK_H

#include <nlohmann/json_fwd.hpp>

class Ask {
public:
    virtual ~Ask() = default;

    // The result alone; see docs/formats/control.md for both.
    virtual nlohmann::ordered_json ask(const nlohmann::ordered_json& request) = 0;
    virtual nlohmann::ordered_json change(const nlohmann::ordered_json& request) = 0;
};

#endif  // AGENT_DAEMON_ASK_H
