// Failure: why a command cannot go on, as one line for people, and the exit code that says so.
//
//   throw Failure(Failure::kBadUse, "no such folder: " + path + "; give the folder of a
//   recording");
//
// Thrown by anything below a command, caught once, where the program ends.
#ifndef AGENT_FAILURE_H
#define AGENT_FAILURE_H

#include <stdexcept>
#include <string>

class Failure : public std::runtime_error {
public:
    static constexpr int kDone = 0;    // exit codes of every verb
    static constexpr int kFailed = 1;  // the work itself failed
    static constexpr int kBadUse = 2;  // the command line asks for something that cannot be

    // `line` names the cause and, where there is one, the cure; without a line end.
    Failure(int exitCodeIN, const std::string& line)
        : std::runtime_error(line), exitCode(exitCodeIN) {}

    int exitCode;
};

#endif  // AGENT_FAILURE_H
