#include "benchmarks/Contest.h"

#include <time.h>

#include <algorithm>
#include <utility>

namespace {

constexpr long kMostTimes = 1L << 24;

}  // namespace

void Contest::add(const std::string& name, Measure measure, double units) {
    contenders.push_back({name, std::move(measure), units, 0});
    last.push_back({name, 0, 0});
}

// The first measurement also warms up; it counts for nothing.
void Contest::calibrate(Contender& contender, double nanosecondsEach) {
    long times = 1;
    double took = contender.measure(times);
    while (took < nanosecondsEach / 4 && times < kMostTimes) {
        times *= 4;
        took = contender.measure(times);
    }
    const double wanted = static_cast<double>(times) * nanosecondsEach / std::max(took, 1.0);
    contender.times = std::clamp(static_cast<long>(wanted), 1L, kMostTimes);
}

void Contest::round(double nanosecondsEach) {
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        const std::size_t place = (first + i) % contenders.size();
        Contender& contender = contenders[place];
        if (contender.times == 0) calibrate(contender, nanosecondsEach);
        const double took = contender.measure(contender.times);
        last[place].nanoseconds = took / static_cast<double>(contender.times) / contender.units;
    }
    for (Result& result : last) result.ratio = last[0].nanoseconds / result.nanoseconds;
    first = (first + 1) % contenders.size();
}

double threadTime() {
    timespec now{};
    (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

Contest::Measure loop(std::function<void()> run) {
    return [run = std::move(run)](long times) {
        const double start = threadTime();
        for (long i = 0; i < times; ++i) run();
        return threadTime() - start;
    };
}

Contest::Measure prepared(std::function<void()> prepare, std::function<void()> run) {
    return [prepare = std::move(prepare), run = std::move(run)](long times) {
        double sum = 0;
        for (long i = 0; i < times; ++i) {
            prepare();
            const double start = threadTime();
            run();
            sum += threadTime() - start;
        }
        return sum;
    };
}
