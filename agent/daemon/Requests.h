// Requests: what the daemon does for the other verbs. One JSON object in, one out:
//
//   {"do": "events", "object": "drive:S7K2M9Q0", "since": 1763700000000}
//   {"ok": true, "result": [...]}      or      {"ok": false, "error": "one line", "exit": 1}
//
// docs/formats/control.md lists them. Without a daemon a verb that only reads opens the spool
// itself and asks the same code, so there is one road to each answer (see Agent).
//
// Read requests work on the spool alone. Requests that change something go through Changes, which
// the daemon implements on its pipeline thread.
//
// Threads  One at a time per object. Errors: in the answer.
#ifndef AGENT_DAEMON_REQUESTS_H
#define AGENT_DAEMON_REQUESTS_H

#include <string>

#include <nlohmann/json_fwd.hpp>

class Spool;

class Requests {
public:
    // What only the running daemon can do. Each call is complete when it returns.
    class Changes {
    public:
        virtual ~Changes() = default;
        virtual nlohmann::ordered_json change(const nlohmann::ordered_json& request) = 0;
    };

    // `changes` may be null: nothing can be changed (read-only socket, no daemon). Both borrowed.
    Requests(Spool& spoolIN, Changes* changesIN, std::string stateFileIN);

    // Never throws; text in and out is one line of JSON without a line end.
    std::string answer(const std::string& request);

private:
    nlohmann::ordered_json result(const nlohmann::ordered_json& request);

    Spool& spool;
    Changes* changes;
    std::string stateFile;
};

#endif  // AGENT_DAEMON_REQUESTS_H
