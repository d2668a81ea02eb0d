// CommandLine: from the words of a command line to the command that they ask for.
//
//   return CommandLine(context).run(argc, argv);
//
// Prints help and version as what was asked for. Errors: Failure (bad use, one line that names the
// cure) and whatever the command throws. Threads: one at a time.
#ifndef AGENT_COMMANDLINE_H
#define AGENT_COMMANDLINE_H

#include "agent/Context.h"

class CommandLine {
public:
    // `version` is printed by --version; borrowed.
    CommandLine(const Context& contextIN, const char* versionIN)
        : context(contextIN), version(versionIN) {}

    // Returns the exit code.
    int run(int argc, const char* const* argv);

private:
    Context context;
    const char* version;
};

#endif  // AGENT_COMMANDLINE_H
