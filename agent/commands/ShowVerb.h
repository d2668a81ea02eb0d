// ShowVerb: `raidwatch show OBJECT`: everything about one array, drive, enclosure or controller,
// whatever it is called. Errors: Failure, when nothing or more than one thing is called so.
#ifndef AGENT_COMMANDS_SHOWVERB_H
#define AGENT_COMMANDS_SHOWVERB_H

#include <string>
#include <vector>

#include "agent/commands/Verb.h"

class ShowVerb : public Verb {
public:
    const char* name() const override { return "show"; }
    const char* purpose() const override { return "everything about one object"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    std::vector<std::string> object;  // its name, which may have several words
    std::string source;
    bool json = false;
};

#endif  // AGENT_COMMANDS_SHOWVERB_H
