// Context: what every command works with: where its output goes, whom it tells what, and whether
// it shall stop. All borrowed; main() owns them.
#ifndef AGENT_CONTEXT_H
#define AGENT_CONTEXT_H

#include <functional>
#include <string>

#include "agent/EventText.h"

class Output;
class StopSignal;

struct Context {
    Output& out;             // what was asked for
    const StopSignal& stop;  // asked between two pieces of work
    // One line to the person at the terminal: what is missing, what goes on. Not for errors that
    // end a command; those are thrown as Failure.
    std::function<void(const std::string&)> note;
    EventText::Style style;       // of text output
    std::string configFile = {};  // named with --config; "" for the default one
};

#endif  // AGENT_CONTEXT_H
