// RecordPrinter: records of the spool as they are shown to people, or one JSON object per line.
//
// As text, events of code 406 are left out unless everything is asked for, as EventPrinter does,
// and an event that only a test or a drill made says so. Errors: those of Output.
#ifndef AGENT_COMMANDS_RECORDPRINTER_H
#define AGENT_COMMANDS_RECORDPRINTER_H

#include <nlohmann/json_fwd.hpp>

#include "agent/Context.h"
#include "agent/EventText.h"

class RecordPrinter {
public:
    enum class Form { kText, kTextAll, kJson };

    RecordPrinter(const Context& contextIN, Form formIN)
        : context(contextIN), form(formIN), text(contextIN.style) {}

    void print(const nlohmann::ordered_json& record);

    int shown() const { return printed; }
    // A note about what was left out, if anything was.
    void tellMuted() const;

private:
    const Context& context;
    Form form;
    EventText text;
    int printed = 0;
    int muted = 0;
};

#endif  // AGENT_COMMANDS_RECORDPRINTER_H
