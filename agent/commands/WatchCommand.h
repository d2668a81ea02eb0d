// WatchCommand: `raidwatch watch`: runs the monitor and prints each event as it comes, until a stop
// is requested or the reader of the output goes; or, with `once`, one comparison with the stored
// snapshot.
//
// Errors: Failure. Threads: run() makes and joins the monitoring thread; call it from one thread.
#ifndef AGENT_COMMANDS_WATCHCOMMAND_H
#define AGENT_COMMANDS_WATCHCOMMAND_H

#include <string>

#include "agent/Context.h"
#include "agent/EventPrinter.h"

class EngineFolder;
class VantLib;

class WatchCommand {
public:
    struct Options {
        std::string source = "linux";
        EventPrinter::Form form = EventPrinter::Form::kText;
        bool once = false;
        std::string stateFolder;  // "": the engine's files lie beside its library
        std::string logFolder;    // "": the logs lie where the other files of the engine do
        std::string language;     // of the texts; "" as installed
    };

    explicit WatchCommand(const Options& optionsIN) : options(optionsIN) {}

    int run(const Context& context) const;

private:
    void watch(VantLib& lib, const EngineFolder& folder, const std::string& catalogue,
               const Context& context, EventPrinter& printer) const;
    void checkOnce(VantLib& lib, const EngineFolder& folder, const std::string& catalogue,
                   const Context& context, EventPrinter& printer) const;

    Options options;
};

#endif  // AGENT_COMMANDS_WATCHCOMMAND_H
