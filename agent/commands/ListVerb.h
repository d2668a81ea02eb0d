// ListVerb: `raidwatch list [KIND]`: the storage of this machine as it is now: all of it as the
// controllers show it, or a table of one kind of object. Errors: Failure.
#ifndef AGENT_COMMANDS_LISTVERB_H
#define AGENT_COMMANDS_LISTVERB_H

#include <string>

#include "agent/commands/Verb.h"

class ListVerb : public Verb {
public:
    const char* name() const override { return "list"; }
    const char* purpose() const override { return "print the storage configuration as it is now"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    void printTree(const Context& context) const;
    void printKind(const Context& context) const;

    std::string kind;  // "" for everything
    std::string source;
    bool json = false;
};

#endif  // AGENT_COMMANDS_LISTVERB_H
