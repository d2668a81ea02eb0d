// ScenarioCommand: `raidwatch scenario check FILE` and `raidwatch scenario play FILE`: is a
// scenario file in order, and what would a monitor say to it? Errors: Failure.
#ifndef AGENT_COMMANDS_SCENARIOCOMMAND_H
#define AGENT_COMMANDS_SCENARIOCOMMAND_H

#include <string>

#include "agent/Context.h"
#include "agent/EventPrinter.h"

class ScenarioCommand {
public:
    enum class Verb { kCheck, kPlay };

    struct Options {
        Verb verb = Verb::kCheck;
        std::string file;
        EventPrinter::Form form = EventPrinter::Form::kText;
        double pace = 0;  // seconds of real time between two steps
        std::string language;
    };

    explicit ScenarioCommand(const Options& optionsIN) : options(optionsIN) {}

    int run(const Context& context) const;

private:
    int check(const Context& context) const;
    int play(const Context& context) const;

    Options options;
};

#endif  // AGENT_COMMANDS_SCENARIOCOMMAND_H
