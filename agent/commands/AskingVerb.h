// AskingVerb: a verb that asks the daemon, or the files that it left.
//
//   class AckVerb : public AskingVerb { int work(const Context&, Ask&) override { ... } };
//
// Errors: Failure. Threads: one at a time.
#ifndef AGENT_COMMANDS_ASKINGVERB_H
#define AGENT_COMMANDS_ASKINGVERB_H

#include <cstdint>
#include <string>

#include "agent/commands/Verb.h"
#include "agent/daemon/Ask.h"
#include "agent/state/ObjectKeys.h"

class AskingVerb : public Verb {
public:
    // With an Agent for the configuration of this machine.
    int run(const Context& context) final;

    virtual int work(const Context& context, Ask& agent) = 0;

protected:
    // The one object that a person means. Of an object that is gone the key will do.
    static ObjectKey objectMeant(Ask& agent, const std::string& word);
    // Who sits at the terminal, also behind sudo.
    static std::string person();
    static std::int64_t now();
    // The number that somebody typed; Failure names `what` when it is none.
    static std::int64_t numberGiven(const char* what, const std::string& word);
};

#endif  // AGENT_COMMANDS_ASKINGVERB_H
