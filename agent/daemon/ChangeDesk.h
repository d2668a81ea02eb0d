// ChangeDesk: where a server's thread leaves a change, and the pipeline's thread carries it out.
//
//   ChangeDesk desk([&] { pipelineWakesUp(); });
//   Requests requests(spool, &desk, stateFile);      // on the server's thread
//   desk.serve([&](const auto& request) { ... });    // on the pipeline's thread, in each turn
//
// change() returns when the change is complete, or throws a Failure of what carrying it out threw.
// A pipeline that does not come for kPatience is not waited for any longer; the change may still
// happen.
//
// No exception goes from thread to thread: who frees it last is decided inside the C++ library,
// where nobody can watch it.
//
// Threads  change() and close() from any; serve() on the pipeline's.
#ifndef AGENT_DAEMON_CHANGEDESK_H
#define AGENT_DAEMON_CHANGEDESK_H

#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/daemon/Requests.h"

class ChangeDesk : public Requests::Changes {
public:
    static constexpr std::chrono::seconds kPatience{15};

    explicit ChangeDesk(std::function<void()> wakeIN) : wake(std::move(wakeIN)) {}

    nlohmann::ordered_json change(const nlohmann::ordered_json& request) override;

    using CarryOut = std::function<nlohmann::ordered_json(const nlohmann::ordered_json&)>;
    void serve(const CarryOut& carryOut);
    bool hasWork() const;
    void close();  // who waits now or comes later is told that raidwatch is stopping

private:
    struct Outcome {
        nlohmann::ordered_json result;
        int exitCode = 0;     // of a failure; 0: there was none
        std::string trouble;  // its line
    };
    struct Order {
        nlohmann::ordered_json request;
        std::promise<Outcome> outcome;
    };

    const std::function<void()> wake;
    mutable std::mutex mutex;
    std::vector<Order> orders;  // guarded by `mutex`
    bool closed = false;        // guarded by `mutex`
};

#endif  // AGENT_DAEMON_CHANGEDESK_H
