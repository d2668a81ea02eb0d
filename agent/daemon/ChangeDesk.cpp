#include "agent/daemon/ChangeDesk.h"

#include <exception>
#include <utility>

#include "agent/Failure.h"

namespace {

Failure stopping() {
    return Failure(Failure::kFailed, "raidwatch is stopping; try again when it runs");
}

}  // namespace

nlohmann::ordered_json ChangeDesk::change(const nlohmann::ordered_json& request) {
    std::future<Outcome> outcome;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        if (closed) throw stopping();
        orders.push_back({request, {}});
        outcome = orders.back().outcome.get_future();
    }
    wake();
    if (outcome.wait_for(kPatience) != std::future_status::ready) {
        throw Failure(Failure::kFailed,
                      "the daemon is busy and has not answered in time; look with raidwatch "
                      "status whether it was done");
    }
    Outcome known = outcome.get();
    if (known.exitCode != 0) throw Failure(known.exitCode, known.trouble);
    return std::move(known.result);
}

void ChangeDesk::serve(const CarryOut& carryOut) {
    std::vector<Order> taken;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        taken.swap(orders);
    }
    for (Order& order : taken) {
        Outcome outcome;
        try {
            outcome.result = carryOut(order.request);
        } catch (const Failure& e) {
            outcome.exitCode = e.exitCode;
            outcome.trouble = e.what();
        } catch (const std::exception& e) {
            outcome.exitCode = Failure::kFailed;
            outcome.trouble = e.what();
        }
        order.outcome.set_value(std::move(outcome));
    }
}

bool ChangeDesk::hasWork() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return !orders.empty();
}

void ChangeDesk::close() {
    {
        const std::lock_guard<std::mutex> guard(mutex);
        closed = true;
    }
    serve([](const nlohmann::ordered_json&) -> nlohmann::ordered_json { throw stopping(); });
}
