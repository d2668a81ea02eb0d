// BackOff: how long to wait after failed tries: twice as long each time up to a limit, and a little
// more or less each time, so that many machines do not come back at the same moment.
//
//   BackOff backOff(5, 900, random);
//   next = now + backOff.wait(tries);       // 5, 10, 20 ... 900 seconds, each 75 to 125 %
//
// Threads  As any value. Units: seconds. Errors: none.
#ifndef AGENT_SINKS_BACKOFF_H
#define AGENT_SINKS_BACKOFF_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <utility>

class BackOff {
public:
    using Random = std::function<double()>;  // from 0 up to but without 1

    BackOff(std::int64_t firstIN, std::int64_t longestIN, Random randomIN)
        : first(std::max<std::int64_t>(firstIN, 1)),
          longest(std::max(longestIN, first)),
          random(std::move(randomIN)) {}

    // After `tries` failed ones, from 1 on. At least 1 second.
    std::int64_t wait(int tries) const {
        std::int64_t base = first;
        for (int i = 1; i < tries && base < longest; ++i) base *= 2;
        base = std::min(base, longest);
        const double varied = static_cast<double>(base) * (0.75 + 0.5 * random());
        return std::max<std::int64_t>(1, std::llround(varied));
    }

    // No wait is longer.
    std::int64_t limit() const { return longest + longest / 4 + 1; }

private:
    std::int64_t first;
    std::int64_t longest;
    Random random;
};

#endif  // AGENT_SINKS_BACKOFF_H
