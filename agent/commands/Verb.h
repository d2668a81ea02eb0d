// Verb: one word of the command line: what it is called, its flags, and what it does.
//
//   class AckVerb : public Verb {
//       const char* name() const override { return "ack"; }
//       const char* purpose() const override { return "someone looks after an incident"; }
//       void declare(Flags& flags) override { flags.option("ID", id, "...").required(); }
//       int run(const Context& context) override { ... }
//   };
//
// A new verb is a class and one line in Verbs.cpp. --help, --no-color and --config are added by the
// command line. A verb with verbs of its own declares them as subcommands.
//
// Errors: Failure. Threads: one at a time.
#ifndef AGENT_COMMANDS_VERB_H
#define AGENT_COMMANDS_VERB_H

#include <memory>
#include <string>
#include <vector>

#include "agent/Context.h"
#include "agent/commands/Flags.h"

class Verb {
public:
    virtual ~Verb() = default;

    virtual const char* name() const = 0;
    virtual const char* purpose() const = 0;      // one line of help, begins in lower case
    virtual void declare(Flags& flags) = 0;       // they fill members of this object
    virtual int run(const Context& context) = 0;  // the exit code
    // The command line cannot be understood, as `why` says; the exit code.
    virtual int misused(const Context& context, const std::string& why) const;
};

// Every verb that is made this way, in the order of the help.
std::vector<std::unique_ptr<Verb>> allVerbs();

#endif  // AGENT_COMMANDS_VERB_H
