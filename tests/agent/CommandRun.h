// CommandRun: a whole command line inside the test, and what came of it.
//
//   const CommandRun ran = runCommand({"config", "check", "--config", file});
//   EXPECT_EQ(0, ran.exit);
#ifndef TESTS_AGENT_COMMANDRUN_H
#define TESTS_AGENT_COMMANDRUN_H

#include <string>
#include <vector>

#include "agent/CommandLine.h"
#include "agent/Failure.h"
#include "tests/agent/AgentFixture.h"

struct CommandRun {
    int exit = -1;
    std::string out;
    std::vector<std::string> notes;
    std::string failure;  // of the Failure that ended it; "" for none
};

inline CommandRun runCommand(const std::vector<std::string>& words) {
    KeptContext kept;
    std::vector<const char*> argv{"raidwatch"};
    for (const std::string& word : words) argv.push_back(word.c_str());
    CommandRun ran;
    try {
        ran.exit = CommandLine(kept.context, "0").run(static_cast<int>(argv.size()), argv.data());
    } catch (const Failure& e) {
        ran.exit = e.exitCode;
        ran.failure = e.what();
    }
    ran.out = kept.out.kept;
    ran.notes = kept.notes;
    return ran;
}

#endif  // TESTS_AGENT_COMMANDRUN_H
