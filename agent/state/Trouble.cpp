#include "agent/state/Trouble.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr const char* kWorstFirst[] = {"failed",    "offline",    "missing", "too hot",  "degraded",
                                       "predicted", "rebuilding", "unknown", "checking", "queued"};

}  // namespace

std::size_t troubleRank(const std::string& state) {
    const auto* const found = std::find(std::begin(kWorstFirst), std::end(kWorstFirst), state);
    return static_cast<std::size_t>(found - std::begin(kWorstFirst));
}

bool isInOrder(const std::string& state) { return troubleRank(state) == std::size(kWorstFirst); }

std::string shownState(const DriveState& drive) {
    const bool isGone = drive.state == "failed" || drive.state == "missing";
    return drive.predicted && !isGone ? "predicted" : drive.state;
}
