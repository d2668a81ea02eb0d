// WatchVerb: `raidwatch watch`: runs the monitor and prints each event as it comes, until a stop
// is requested or the reader of the output goes; or, with `once`, one comparison with the stored
// snapshot.
//
// Errors: Failure. Threads: run() makes and joins the monitoring thread; call it from one thread.
#ifndef AGENT_COMMANDS_WATCHVERB_H
#define AGENT_COMMANDS_WATCHVERB_H

#include <string>

#include "agent/commands/CommonFlags.h"
#include "agent/commands/Verb.h"

class EngineFolder;
class VantLib;

class WatchVerb : public Verb {
public:
    const char* name() const override { return "watch"; }
    const char* purpose() const override {
        return "print each event as it happens, until interrupted";
    }
    void declare(Flags& flags) override;
    int run(const Context& context) override;

private:
    struct Options {
        std::string source = "linux";
        bool once = false;
        std::string stateFolder;  // "": the engine's files lie beside its library
        std::string logFolder;    // "": the logs lie where the other files of the engine do
        std::string language;     // of the texts; "" as installed
    };

    void watch(VantLib& lib, const EngineFolder& folder, const std::string& catalogue,
               const Context& context, EventPrinter& printer) const;
    void checkOnce(VantLib& lib, const EngineFolder& folder, const std::string& catalogue,
                   const Context& context, EventPrinter& printer) const;

    Options options;
    FormFlags form;
};

#endif  // AGENT_COMMANDS_WATCHVERB_H
