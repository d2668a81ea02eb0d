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
    std::future<nlohmann::ordered_json> result;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        if (closed) throw stopping();
        orders.push_back({request, {}});
        result = orders.back().result.get_future();
    }
    wake();
    if (result.wait_for(kPatience) != std::future_status::ready) {
        throw Failure(Failure::kFailed,
                      "the daemon is busy and has not answered in time; look with raidwatch "
                      "status whether it was done");
    }
    return result.get();
}

void ChangeDesk::serve(const CarryOut& carryOut) {
    std::vector<Order> taken;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        taken.swap(orders);
    }
    for (Order& order : taken) {
        try {
            order.result.set_value(carryOut(order.request));
        } catch (...) {
            order.result.set_exception(std::current_exception());
        }
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
