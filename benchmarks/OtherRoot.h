// OtherRoot: runs a measurement on a thread for which a recorded tree is the whole machine, so that
// the source works as it does on a live one. Needs the right to change the root.
//
//   OtherRoot machine("/tmp/machine-24");
//   if (machine.possible()) nanoseconds = machine.run([&] { return measure(); });
#ifndef BENCHMARKS_OTHERROOT_H
#define BENCHMARKS_OTHERROOT_H

#include <functional>
#include <string>
#include <utility>

class OtherRoot {
public:
    explicit OtherRoot(std::string folder);

    bool possible() const { return allowed; }
    double run(const std::function<double()>& measure) const;

private:
    bool enter() const;

    std::string root;
    bool allowed;
};

#endif  // BENCHMARKS_OTHERROOT_H
