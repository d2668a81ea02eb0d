// Contest: lets this system and its peers do the same work turn by turn.
//
//   Contest contest;
//   contest.add("ours", loop([&] { catalogue.get(key); }));
//   contest.add("ifstream", loop([&] { scan(file, key); }));
//   contest.round();                    // each for a few milliseconds, in rotating order
//   contest.results()[1].ratio;         // time of the first over time of this one
//
// Ratios are formed inside a round, so that a machine that slows down for a while slows both. The
// first contender is always ours; a ratio below 1 means that ours is faster.
#ifndef BENCHMARKS_CONTEST_H
#define BENCHMARKS_CONTEST_H

#include <functional>
#include <string>
#include <vector>

class Contest {
public:
    // Does the work so many times; nanoseconds that count.
    using Measure = std::function<double(long times)>;

    struct Result {
        std::string name;
        double nanoseconds = 0;  // per unit of work
        double ratio = 0;        // ours over this one, 1 for ours
    };

    // `units`: how many units of work one time is, for contenders of different size.
    void add(const std::string& name, Measure measure, double units = 1);
    // Each contender for at least so long; the first round finds out how often that is.
    void round(double nanosecondsEach);
    const std::vector<Result>& results() const { return last; }

private:
    struct Contender {
        std::string name;
        Measure measure;
        double units;
        long times;
    };

    static void calibrate(Contender& contender, double nanosecondsEach);

    std::vector<Contender> contenders;
    std::vector<Result> last;
    std::size_t first = 0;  // whose turn it is to begin
};

// Work that can be repeated as it is.
Contest::Measure loop(std::function<void()> run);
// Work that uses up what `prepare` makes; preparing does not count.
Contest::Measure prepared(std::function<void()> prepare, std::function<void()> run);

// Processor time of this thread, in nanoseconds: on a busy machine other programs do not count.
double threadTime();

// Keeps the compiler from leaving work out.
inline void keep(const void* pointer) { __asm__ volatile("" : : "g"(pointer) : "memory"); }

#endif  // BENCHMARKS_CONTEST_H
